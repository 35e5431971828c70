// MD5 through its six calls.
#include "platform/crypto.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "platform/platform.h"

namespace varnel::platform {
namespace {

std::string Hex(const std::uint8_t* bytes, std::size_t size) {
  std::string text;
  char pair[3];
  for (std::size_t i = 0; i < size; ++i) {
    std::snprintf(pair, sizeof pair, "%02x", bytes[i]);
    text += pair;
  }
  return text;
}

class Md5Hash : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(CryptoPort().CryptAcquireContextW(&provider_, kProvRsaFull, kCryptVerifyContext));
    ASSERT_TRUE(CryptoPort().CryptCreateHash(provider_, kCalgMd5, &hash_));
  }
  void TearDown() override {
    EXPECT_TRUE(CryptoPort().CryptDestroyHash(hash_));
    EXPECT_TRUE(CryptoPort().CryptReleaseContext(provider_));
  }

  void Add(std::string_view text) {
    EXPECT_TRUE(CryptoPort().CryptHashData(hash_, text.data(), static_cast<std::uint32_t>(text.size())));
  }
  std::string Value() {
    std::uint8_t digest[16] = {};
    std::uint32_t size = sizeof digest;
    EXPECT_TRUE(CryptoPort().CryptGetHashParam(hash_, kHpHashVal, digest, &size));
    EXPECT_EQ(size, 16u);
    return Hex(digest, sizeof digest);
  }

  HCRYPTPROV provider_ = 0;
  HCRYPTHASH hash_ = 0;
};

TEST_F(Md5Hash, OfNoDataIsTheKnownValue) {
  EXPECT_EQ(Value(), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST_F(Md5Hash, OfAShortTextIsTheKnownValue) {
  Add("message digest");
  EXPECT_EQ(Value(), "f96b697d7cb7938d525a2f31aaf161d0");
}

TEST_F(Md5Hash, OfATextLongerThanABlockIsTheKnownValue) {
  Add("12345678901234567890123456789012345678901234567890123456789012345678901234567890");
  EXPECT_EQ(Value(), "57edf4a22be3c955ac49da2e2107b67a");
}

TEST_F(Md5Hash, DoesNotDependOnHowTheDataIsCut) {
  const std::string text(1000, 'a');
  for (std::size_t at = 0, step = 1; at < text.size(); at += step, ++step) {
    Add(std::string_view(text).substr(at, step));
  }
  EXPECT_EQ(Value(), "cabe45dcc9ae5b66ba86600cca6b8ba8");
}

TEST_F(Md5Hash, ThatHasGivenItsValueGivesItAgainAndTakesNoMoreData) {
  Add("abc");
  EXPECT_EQ(Value(), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(Value(), "900150983cd24fb0d6963f7d28e17f72");
  SystemPort().SetLastError(0);
  EXPECT_FALSE(CryptoPort().CryptHashData(hash_, "d", 1));
  EXPECT_EQ(SystemPort().GetLastError(), 0x8009000Cu);
}

TEST_F(Md5Hash, TellsTheRoomThatItsValueNeeds) {
  std::uint32_t size = 0;
  EXPECT_TRUE(CryptoPort().CryptGetHashParam(hash_, kHpHashVal, nullptr, &size));
  EXPECT_EQ(size, 16u);
  std::uint8_t digest[15];
  size = sizeof digest;
  EXPECT_FALSE(CryptoPort().CryptGetHashParam(hash_, kHpHashVal, digest, &size));
  EXPECT_EQ(SystemPort().GetLastError(), kErrorMoreData);
  EXPECT_EQ(size, 16u);
}

TEST(Crypto, AnUnknownAlgorithmIsRefused) {
  HCRYPTPROV provider = 0;
  HCRYPTHASH hash = 0;
  ASSERT_TRUE(CryptoPort().CryptAcquireContextW(&provider, kProvRsaFull, kCryptVerifyContext));
  EXPECT_FALSE(CryptoPort().CryptCreateHash(provider, 0x1234, &hash));
  EXPECT_EQ(SystemPort().GetLastError(), 0x80090008u);
  EXPECT_TRUE(CryptoPort().CryptReleaseContext(provider));
}

}  // namespace
}  // namespace varnel::platform

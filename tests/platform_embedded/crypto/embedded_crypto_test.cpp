#include "platform/embedded/crypto/embedded_crypto.h"

#include <gtest/gtest.h>

#include "platform/embedded/core/handle_table.h"

namespace varnel::embedded {
namespace {

using platform::kErrorInvalidHandle;

class CryptoHandles : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(crypto_.CryptAcquireContextW(&provider_, platform::kProvRsaFull, platform::kCryptVerifyContext));
    ASSERT_TRUE(crypto_.CryptCreateHash(provider_, platform::kCalgMd5, &hash_));
  }
  void TearDown() override {
    crypto_.CryptDestroyHash(hash_);
    crypto_.CryptReleaseContext(provider_);
  }
  static bool FailsWith(bool result, std::uint32_t error) {
    const bool right = !result && LastError() == error;
    SetLastError(0);
    return right;
  }

  EmbeddedCrypto crypto_;
  platform::HCRYPTPROV provider_ = 0;
  platform::HCRYPTHASH hash_ = 0;
};

TEST_F(CryptoHandles, OneOfAnotherKindOrAClosedOneAnswers6) {
  std::uint32_t size = 16;
  std::uint8_t digest[16];
  platform::HCRYPTHASH none = 0;
  EXPECT_TRUE(FailsWith(crypto_.CryptHashData(provider_, "x", 1), kErrorInvalidHandle));
  EXPECT_TRUE(
      FailsWith(crypto_.CryptGetHashParam(provider_, platform::kHpHashVal, digest, &size), kErrorInvalidHandle));
  EXPECT_TRUE(FailsWith(crypto_.CryptCreateHash(hash_, platform::kCalgMd5, &none), kErrorInvalidHandle));
  EXPECT_TRUE(FailsWith(crypto_.CryptDestroyHash(provider_), kErrorInvalidHandle));
  EXPECT_TRUE(FailsWith(crypto_.CryptReleaseContext(hash_), kErrorInvalidHandle));
  EXPECT_TRUE(crypto_.CryptDestroyHash(hash_));
  EXPECT_TRUE(FailsWith(crypto_.CryptDestroyHash(hash_), kErrorInvalidHandle));
  EXPECT_TRUE(FailsWith(crypto_.CryptHashData(hash_, "x", 1), kErrorInvalidHandle));
}

TEST_F(CryptoHandles, AnotherProviderTypeIsRefused) {
  platform::HCRYPTPROV provider = 0;
  EXPECT_TRUE(FailsWith(crypto_.CryptAcquireContextW(&provider, 24, 0), 0x80090017));
}

TEST_F(CryptoHandles, AnotherParameterOfAHashIsRefused) {
  std::uint32_t size = 16;
  std::uint8_t digest[16];
  EXPECT_TRUE(FailsWith(crypto_.CryptGetHashParam(hash_, 99, digest, &size), 0x8009000A));
}

TEST_F(CryptoHandles, AHashWhoseValueDidNotFitCanStillTakeData) {
  std::uint32_t size = 1;
  std::uint8_t digest[16];
  EXPECT_TRUE(
      FailsWith(crypto_.CryptGetHashParam(hash_, platform::kHpHashVal, digest, &size), platform::kErrorMoreData));
  EXPECT_TRUE(crypto_.CryptHashData(hash_, "x", 1));
}

}  // namespace
}  // namespace varnel::embedded

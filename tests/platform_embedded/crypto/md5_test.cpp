#include "platform/embedded/crypto/md5.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

namespace varnel::embedded {
namespace {

std::string Hex(const Md5::Digest& digest) {
  std::string text;
  char pair[3];
  for (const std::uint8_t byte : digest) {
    std::snprintf(pair, sizeof pair, "%02x", byte);
    text += pair;
  }
  return text;
}

void Add(std::string_view text, Md5* md5) {
  md5->Update({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

std::string Md5Of(std::string_view text) {
  Md5 md5;
  Add(text, &md5);
  return Hex(md5.Value());
}

TEST(Md5Digest, GivesTheValuesThatItsDefinitionLists) {
  EXPECT_EQ(Md5Of(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(Md5Of("a"), "0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(Md5Of("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(Md5Of("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(Md5Of("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
  EXPECT_EQ(Md5Of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
            "d174ab98d277d9f5a5611c2c9f419d9f");
  EXPECT_EQ(Md5Of("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(Md5Digest, IsRightAroundTheEndsOfBlocks) {
  // Of 'a' repeated, as another program gives them.
  const std::pair<std::size_t, const char*> rows[] = {
      {55, "ef1772b6dff9a122358552954ad0df65"},  {56, "3b0c8ac703f828b04c6c197006d17218"},
      {57, "652b906d60af96844ebd21b674f35e93"},  {63, "b06521f39153d618550606be297466d5"},
      {64, "014842d480b571495a4a0363793f7367"},  {65, "c743a45e0d2e6a95cb859adae0248435"},
      {119, "8a7bd0732ed6a28ce75f6dabc90e1613"}, {120, "5f61c0ccad4cac44c75ff505e1f1e537"},
      {128, "e510683b3f5ffe4093d021808bc6ff70"}, {1000, "cabe45dcc9ae5b66ba86600cca6b8ba8"},
  };
  for (const auto& [count, digest] : rows) EXPECT_EQ(Md5Of(std::string(count, 'a')), digest) << count;
}

TEST(Md5Digest, CanBeAskedForBetweenTwoPieces) {
  Md5 md5;
  Add("message", &md5);
  EXPECT_EQ(Hex(md5.Value()), Md5Of("message"));
  Add(" digest", &md5);
  EXPECT_EQ(Hex(md5.Value()), Md5Of("message digest"));
}

}  // namespace
}  // namespace varnel::embedded

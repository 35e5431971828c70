#include "formats/text_encoding.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>

namespace varnel::formats {
namespace {

constexpr const char* kReplacement = "\xEF\xBF\xBD";

TEST(TextEncoding, KeepsTextOfEveryLengthOfCodeBothWays) {
  const std::u16string wide = u"a\u00E9\u4E2D\U0001F600z";
  const std::string narrow = "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80z";
  EXPECT_EQ(Utf16ToUtf8(wide), narrow);
  EXPECT_EQ(Utf8ToUtf16(narrow), wide);
  EXPECT_EQ(ToValidUtf8(narrow), narrow);
}

TEST(TextEncoding, ALoneSurrogateBecomesTheReplacementCharacter) {
  const std::u16string high_alone = {u'a', 0xD83D, u'b'};
  const std::u16string low_alone = {0xDE00, u'b'};
  const std::u16string high_at_the_end = {u'a', 0xD83D};
  EXPECT_EQ(Utf16ToUtf8(high_alone), std::string("a") + kReplacement + "b");
  EXPECT_EQ(Utf16ToUtf8(low_alone), std::string(kReplacement) + "b");
  EXPECT_EQ(Utf16ToUtf8(high_at_the_end), std::string("a") + kReplacement);
}

TEST(TextEncoding, ReadsBytesInBothOrdersAndMarksAnOddLastByte) {
  constexpr std::array<std::byte, 5> little = {std::byte{'a'}, std::byte{0}, std::byte{0x2D}, std::byte{0x4E},
                                               std::byte{7}};
  constexpr std::array<std::byte, 4> big = {std::byte{0}, std::byte{'a'}, std::byte{0x4E}, std::byte{0x2D}};
  EXPECT_EQ(Utf16BytesToUtf8(little), std::string("a\xE4\xB8\xAD") + kReplacement);
  EXPECT_EQ(Utf16BytesToUtf8(big, ByteOrder::kBig), "a\xE4\xB8\xAD");
}

TEST(TextEncoding, EachByteThatIsNotUtf8BecomesOneReplacementCharacter) {
  const std::string bad[] = {"\x80", "\xC0", "\xC3", "\xFF", "\xF5"};
  for (const std::string& text : bad) EXPECT_EQ(ToValidUtf8(text), kReplacement) << static_cast<int>(text[0] & 0xFF);
  EXPECT_EQ(ToValidUtf8("a\xE4\xB8z"), std::string("a") + kReplacement + kReplacement + "z");
}

TEST(TextEncoding, OverlongFormsSurrogatesAndCodesBeyondTheLastAreNotValid) {
  const std::string three = std::string(kReplacement) + kReplacement + kReplacement;
  EXPECT_EQ(ToValidUtf8("\xE0\x80\x80"), three);
  EXPECT_EQ(ToValidUtf8("\xED\xA0\x80"), three);
  EXPECT_EQ(ToValidUtf8("\xF4\x90\x80\x80"), three + kReplacement);
}

}  // namespace
}  // namespace varnel::formats

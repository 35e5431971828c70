// Conversion between UTF-8 and UTF-16.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/platform.h"

namespace varnel::platform {
namespace {

constexpr std::uint32_t kMbErrInvalidChars = 0x8;
constexpr std::uint32_t kWcErrInvalidChars = 0x80;

std::u16string ToWide(std::string_view text, std::uint32_t flags = 0) {
  char16_t buffer[64];
  const auto size =
      SystemPort().MultiByteToWideChar(kCpUtf8, flags, text.data(), static_cast<std::int32_t>(text.size()), buffer, 64);
  return std::u16string(buffer, static_cast<std::size_t>(size));
}

std::string ToNarrow(std::u16string_view text, std::uint32_t flags = 0) {
  char buffer[64];
  const auto size =
      SystemPort().WideCharToMultiByte(kCpUtf8, flags, text.data(), static_cast<std::int32_t>(text.size()), buffer, 64);
  return std::string(buffer, static_cast<std::size_t>(size));
}

TEST(TextConversion, CharactersOfEachLengthGoBothWays) {
  const std::u16string wide = u"a\u00E4\u20AC\U0001F600";
  const std::string narrow = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
  EXPECT_EQ(ToWide(narrow), wide);
  EXPECT_EQ(ToNarrow(wide), narrow);
}

TEST(TextConversion, ALengthOfMinusOneTakesTheTextWithItsNul) {
  char16_t wide[8];
  EXPECT_EQ(SystemPort().MultiByteToWideChar(kCpUtf8, 0, "abc", -1, wide, 8), 4);
  EXPECT_EQ(std::u16string(wide), u"abc");
  char narrow[8];
  EXPECT_EQ(SystemPort().WideCharToMultiByte(kCpUtf8, 0, u"abc", -1, narrow, 8), 4);
  EXPECT_EQ(std::string(narrow), "abc");
}

TEST(TextConversion, ACountedLengthAddsNoNul) {
  char16_t wide[8] = u"xxxxxxx";
  EXPECT_EQ(SystemPort().MultiByteToWideChar(kCpUtf8, 0, "abc", 3, wide, 8), 3);
  EXPECT_EQ(std::u16string(wide), u"abcxxxx");
}

TEST(TextConversion, ACapacityOf0AsksForTheNumberNeeded) {
  EXPECT_EQ(SystemPort().MultiByteToWideChar(kCpUtf8, 0, "a\xF0\x9F\x98\x80", -1, nullptr, 0), 4);
  EXPECT_EQ(SystemPort().WideCharToMultiByte(kCpUtf8, 0, u"a\U0001F600", -1, nullptr, 0), 6);
}

TEST(TextConversion, TooLittleRoomGives0And122) {
  char16_t wide[3];
  SystemPort().SetLastError(0);
  EXPECT_EQ(SystemPort().MultiByteToWideChar(kCpUtf8, 0, "abc", -1, wide, 3), 0);
  EXPECT_EQ(SystemPort().GetLastError(), kErrorInsufficientBuffer);
  char narrow[3];
  SystemPort().SetLastError(0);
  EXPECT_EQ(SystemPort().WideCharToMultiByte(kCpUtf8, 0, u"abc", -1, narrow, 3), 0);
  EXPECT_EQ(SystemPort().GetLastError(), kErrorInsufficientBuffer);
}

TEST(TextConversion, RoomForExactlyTheTextIsEnough) {
  char16_t wide[3];
  EXPECT_EQ(SystemPort().MultiByteToWideChar(kCpUtf8, 0, "abc", 3, wide, 3), 3);
  char narrow[3];
  EXPECT_EQ(SystemPort().WideCharToMultiByte(kCpUtf8, 0, u"abc", 3, narrow, 3), 3);
}

TEST(TextConversion, ATextOfNoCharactersIsAWrongArgument) {
  char16_t wide[3];
  SystemPort().SetLastError(0);
  EXPECT_EQ(SystemPort().MultiByteToWideChar(kCpUtf8, 0, "", 0, wide, 3), 0);
  EXPECT_EQ(SystemPort().GetLastError(), kErrorInvalidParameter);
  char narrow[3];
  SystemPort().SetLastError(0);
  EXPECT_EQ(SystemPort().WideCharToMultiByte(kCpUtf8, 0, u"", 0, narrow, 3), 0);
  EXPECT_EQ(SystemPort().GetLastError(), kErrorInvalidParameter);
}

TEST(TextConversion, ByteThatStartsNothingBecomesAReplacementCharacter) {
  EXPECT_EQ(ToWide("a\xFF"
                   "b"),
            u"a\uFFFDb");
  EXPECT_EQ(ToWide("a\x80"
                   "b"),
            u"a\uFFFDb");
}

TEST(TextConversion, ASequenceCutShortBecomesOneReplacementCharacter) {
  EXPECT_EQ(ToWide("a\xE2\x82"
                   "b"),
            u"a\uFFFDb");
  EXPECT_EQ(ToWide("a\xF0\x9F\x98"), u"a\uFFFD");
}

TEST(TextConversion, ALoneSurrogateBecomesAReplacementCharacter) {
  const char16_t high[] = {u'a', 0xD83D, u'b'};
  const char16_t low[] = {u'a', 0xDE00, u'b'};
  EXPECT_EQ(ToNarrow({high, 3}),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(ToNarrow({low, 3}),
            "a\xEF\xBF\xBD"
            "b");
}

TEST(TextConversion, TextThatIsNotValidIsRefusedWith1113WhereTheFlagsSaySo) {
  SystemPort().SetLastError(0);
  EXPECT_EQ(ToWide("a\xFF", kMbErrInvalidChars), u"");
  EXPECT_EQ(SystemPort().GetLastError(), kErrorNoUnicodeTranslation);
  const char16_t high[] = {u'a', 0xD83D};
  SystemPort().SetLastError(0);
  EXPECT_EQ(ToNarrow({high, 2}, kWcErrInvalidChars), "");
  EXPECT_EQ(SystemPort().GetLastError(), kErrorNoUnicodeTranslation);
}

TEST(TextConversion, ValidTextPassesTheStrictFlags) {
  EXPECT_EQ(ToWide("\xC3\xA4", kMbErrInvalidChars), u"\u00E4");
  EXPECT_EQ(ToNarrow(u"\u00E4", kWcErrInvalidChars), "\xC3\xA4");
}

TEST(TextConversion, TheSystemsOwnCodePageTakesPlainText) {
  char16_t wide[8];
  EXPECT_EQ(SystemPort().MultiByteToWideChar(kCpAcp, 0, "abc", -1, wide, 8), 4);
  char narrow[8];
  EXPECT_EQ(SystemPort().WideCharToMultiByte(kCpAcp, 0, u"abc", -1, narrow, 8), 4);
}

TEST(TextConversion, AnUnknownCodePageIsAWrongArgument) {
  char16_t wide[8];
  SystemPort().SetLastError(0);
  EXPECT_EQ(SystemPort().MultiByteToWideChar(12345, 0, "abc", -1, wide, 8), 0);
  EXPECT_EQ(SystemPort().GetLastError(), kErrorInvalidParameter);
}

}  // namespace
}  // namespace varnel::platform

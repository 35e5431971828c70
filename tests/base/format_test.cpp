#include "base/format.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace varnel {
namespace {

template <typename... Args>
std::u16string Wide(WideFormat<Args...> format, const Args&... args) {
  char16_t text[512];
  EXPECT_EQ(FormatTo(text, 512, Unchecked(format.text()), args...), kStatusOk);
  return text;
}

template <typename... Args>
std::string Narrow(NarrowFormat<Args...> format, const Args&... args) {
  char text[512];
  EXPECT_EQ(FormatTo(text, 512, Unchecked(format.text()), args...), kStatusOk);
  return text;
}

TEST(Format, PrintsATextWithoutConversionsAsItStands) {
  EXPECT_EQ(Wide(u"plain\r\n"), u"plain\r\n");
}

TEST(Format, InAWideFormatTheSmallSIsWideAndTheLargeOneNarrow) {
  EXPECT_EQ(Wide(u"%s|%S", u"wide", "narrow"), u"wide|narrow");
}

TEST(Format, InANarrowFormatItIsTheOtherWayRound) {
  EXPECT_EQ(Narrow("%s|%S", "narrow", u"wide"), "narrow|wide");
}

TEST(Format, WhatTheNarrowSideLacksBecomesAQuestionMark) {
  EXPECT_EQ(Narrow("%S", u"\u20AC!"), "?!");
}

TEST(Format, PrintsIntegersOfEachSize) {
  EXPECT_EQ(Wide(u"%d %u %ld %lu", -5, 5u, -7, 7u), u"-5 5 -7 7");
  EXPECT_EQ(Wide(u"%I64d %llu", std::int64_t{-1}, std::numeric_limits<std::uint64_t>::max()),
            u"-1 18446744073709551615");
  EXPECT_EQ(Wide(u"%d", std::numeric_limits<std::int32_t>::min()), u"-2147483648");
}

TEST(Format, HexadecimalTakesTheSizeOfItsConversion) {
  EXPECT_EQ(Wide(u"%x %X", 0xABCDu, 0xABCDu), u"abcd ABCD");
  EXPECT_EQ(Wide(u"0x%08X", 0x57u), u"0x00000057");
  EXPECT_EQ(Wide(u"%x", -1), u"ffffffff");
  EXPECT_EQ(Narrow("0x%I64X", std::uint64_t{0x1DC94FFFFFFFFFF}), "0x1DC94FFFFFFFFFF");
  EXPECT_EQ(Narrow("0x%llX", std::uint64_t{0}), "0x0");
  EXPECT_EQ(Narrow("%016I64X", std::uint64_t{0xF0}), "00000000000000F0");
  EXPECT_EQ(Wide(u"%#x %#x", 0xAu, 0u), u"0xa 0");
}

TEST(Format, TheShortPrefixCutsToSixteenBits) {
  EXPECT_EQ(Narrow("%hu", 0x1FFFF), "65535");
  EXPECT_EQ(Narrow("%hd", 0xFFFF), "-1");
  EXPECT_EQ(Wide(u"%02hd|%04hd", std::uint16_t{5}, std::uint16_t{2026}), u"05|2026");
}

TEST(Format, KeepsWidthsFillAndSides) {
  EXPECT_EQ(Wide(u"[%5d][%-5d][%05d]", -42, -42, -42), u"[  -42][-42  ][-0042]");
  EXPECT_EQ(Wide(u"[%5s][%-5s][%.2s]", u"ab", u"ab", u"abc"), u"[   ab][ab   ][ab]");
  EXPECT_EQ(Wide(u"[%.3d][%+d][% d]", 7, 7, 7), u"[007][+7][ 7]");
  EXPECT_EQ(Wide(u"%03d", 1234), u"1234");
}

TEST(Format, PrintsCharactersAndPercentSigns) {
  EXPECT_EQ(Wide(u"%c%c 100%%", u'A', 'b'), u"Ab 100%");
}

TEST(Format, PrintsFloatsWithoutALocale) {
  EXPECT_EQ(Narrow("%f %lf", 1.5, -0.25), "1.500000 -0.250000");
  EXPECT_EQ(Narrow("%.2f", 2.675f), "2.67");
  EXPECT_EQ(Narrow("%f", 1e300).size(), 308u);
  EXPECT_EQ(Narrow("[%8.1f][%-8.1f][%08.1f]", -1.25, -1.25, -1.25), "[    -1.2][-1.2    ][-00001.2]");
}

TEST(Format, PrintsPointersInSixteenDigits) {
  EXPECT_EQ(Wide(u"%p", reinterpret_cast<void*>(0xBEEF)), u"000000000000BEEF");
}

TEST(Format, ANullTextIsTold) {
  EXPECT_EQ(Wide(u"%s", static_cast<const char16_t*>(nullptr)), u"(null)");
}

TEST(Format, AnArgumentThatIsNotThereIsAQuestionMark) {
  char16_t text[64];
  EXPECT_EQ(FormatTo(text, 64, Unchecked(u"%s failed(0x%x)"), u"Name"), kStatusOk);
  EXPECT_EQ(std::u16string(text), u"Name failed(0x?)");
}

TEST(Format, AnArgumentOfAnotherKindIsAQuestionMark) {
  char16_t text[64];
  EXPECT_EQ(FormatTo(text, 64, Unchecked(u"%s %d"), 5, u"text"), kStatusOk);
  EXPECT_EQ(std::u16string(text), u"? ?");
}

TEST(Format, AnUnknownConversionPrintsAsItStands) {
  char16_t text[64];
  EXPECT_EQ(FormatTo(text, 64, Unchecked(u"100%k %d%"), 5), kStatusOk);
  EXPECT_EQ(std::u16string(text), u"100%k 5%");
}

TEST(Format, WhatDoesNotFitIsCutAndTold) {
  char16_t text[6] = {};
  EXPECT_EQ(FormatTo(text, 6, u"%s", u"123456"), kStatusInsufficientBuffer);
  EXPECT_EQ(std::u16string(text), u"12345");
  EXPECT_EQ(FormatTo(text, 6, u"%s", u"12345"), kStatusOk);
  EXPECT_EQ(FormatTo(text, 6, u"%d%c", 1234, 'x'), kStatusOk);
  EXPECT_EQ(FormatTo(text, 6, u"%8d", 1), kStatusInsufficientBuffer);
  EXPECT_EQ(std::u16string(text), u"     ");
}

TEST(Format, ACapacityOfNothingOrTooMuchIsInvalidAndTouchesNothing) {
  char16_t text[2] = {u'a', u'b'};
  EXPECT_EQ(FormatTo(text, 0, u"x"), kStatusInvalidArgument);
  EXPECT_EQ(FormatTo(text, std::size_t{0x80000000}, u"x"), kStatusInvalidArgument);
  EXPECT_EQ(text[0], u'a');
}

TEST(Format, TellsTheLengthWritten) {
  char text[16];
  std::size_t length = 99;
  EXPECT_EQ(FormatArgumentsTo(text, 16, "abc", {}, &length), kStatusOk);
  EXPECT_EQ(length, 3u);
}

TEST(Format, ConversionsAreCheckedAgainstTypesWhileTheyCompile) {
  const auto takes = [](const char16_t* conversion_text, FormatArgumentClass argument, std::size_t size) {
    FormatConversion conversion;
    ParseFormatConversion(conversion_text, &conversion);
    return ConversionTakes<char16_t>(conversion, argument, size);
  };
  EXPECT_TRUE(takes(u"s", FormatArgumentClass::kWideText, 8));
  EXPECT_FALSE(takes(u"s", FormatArgumentClass::kNarrowText, 8));
  EXPECT_TRUE(takes(u"S", FormatArgumentClass::kNarrowText, 8));
  EXPECT_FALSE(takes(u"d", FormatArgumentClass::kInteger, 8)) << "64 bits need their own prefix";
  EXPECT_TRUE(takes(u"I64d", FormatArgumentClass::kInteger, 8));
  EXPECT_FALSE(takes(u"llX", FormatArgumentClass::kInteger, 4));
  EXPECT_FALSE(takes(u"d", FormatArgumentClass::kDouble, 8));
  EXPECT_FALSE(takes(u"f", FormatArgumentClass::kInteger, 4));
}

}  // namespace
}  // namespace varnel

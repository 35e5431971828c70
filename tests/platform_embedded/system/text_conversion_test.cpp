#include "platform/embedded/system/text_conversion.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/embedded/core/handle_table.h"

namespace varnel::embedded {
namespace {

std::u16string Wide(std::string_view text) {
  char16_t buffer[64];
  const auto size = Utf8ToWide(65001, 0, text.data(), static_cast<std::int32_t>(text.size()), buffer, 64);
  return std::u16string(buffer, static_cast<std::size_t>(size));
}

TEST(NarrowText, WhatCantGoOnIsReplacedUpToTheFirstByteThatCould) {
  EXPECT_EQ(Wide("\xC0\x80"), u"\uFFFD\uFFFD");            // overlong
  EXPECT_EQ(Wide("\xE0\x80\x80"), u"\uFFFD\uFFFD\uFFFD");  // overlong
  EXPECT_EQ(Wide("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");  // a surrogate
  EXPECT_EQ(Wide("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(Wide("\xF5"), u"\uFFFD");
  EXPECT_EQ(Wide("\xF0\x9F\x98"), u"\uFFFD");
  EXPECT_EQ(Wide("\xE2\x82\xE2\x82\xAC"), u"\uFFFD\u20AC");
}

TEST(NarrowText, TheEdgesOfEachLengthAreKept) {
  EXPECT_EQ(Wide("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"), u"\x7F\x80\u07FF\u0800\uFFFF");
  EXPECT_EQ(Wide("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), u"\U00010000\U0010FFFF");
}

TEST(NarrowText, EveryNameOfTheSystemsCodePageMeansUtf8) {
  for (const std::uint32_t page : {0u, 1u, 2u, 3u, 65001u}) {
    char16_t buffer[4];
    EXPECT_EQ(Utf8ToWide(page, 0, "\xC3\xA4", 2, buffer, 4), 1) << page;
    EXPECT_EQ(buffer[0], u'\u00E4');
  }
}

TEST(NarrowText, UnknownFlagsAnswer1004) {
  char16_t wide[4];
  EXPECT_EQ(Utf8ToWide(65001, 1, "a", 1, wide, 4), 0);
  EXPECT_EQ(LastError(), 1004u);
  SetLastError(0);
  char narrow[4];
  EXPECT_EQ(WideToUtf8(65001, 0x400, u"a", 1, narrow, 4), 0);
  EXPECT_EQ(LastError(), 1004u);
}

TEST(NarrowText, WrongArgumentsAnswer87) {
  char16_t wide[4];
  const auto refused = [](std::int32_t result) {
    const bool right = result == 0 && LastError() == platform::kErrorInvalidParameter;
    SetLastError(0);
    return right;
  };
  SetLastError(0);
  EXPECT_TRUE(refused(Utf8ToWide(65001, 0, nullptr, 1, wide, 4)));
  EXPECT_TRUE(refused(Utf8ToWide(65001, 0, "a", -2, wide, 4)));
  EXPECT_TRUE(refused(Utf8ToWide(65001, 0, "a", 1, nullptr, 4)));
  EXPECT_TRUE(refused(Utf8ToWide(65001, 0, "a", 1, wide, -1)));
}

TEST(NarrowText, ACharacterThatDoesNotFitWholeIsNotWrittenAtAll) {
  char narrow[] = {'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(WideToUtf8(65001, 0, u"a\u20AC", 2, narrow, 3), 0);
  EXPECT_EQ(LastError(), platform::kErrorInsufficientBuffer);
  EXPECT_EQ(std::string(narrow, 5), "axxxx");
}

}  // namespace
}  // namespace varnel::embedded

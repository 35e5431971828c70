#include "platform/embedded/core/casefold.h"

#include <gtest/gtest.h>

#include "platform/embedded/core/casefold_table.h"

namespace varnel::embedded {
namespace {

struct Pair {
  char16_t lower;
  char16_t upper;
};

TEST(CaseFold, LettersOfManyScriptsBecomeTheirUpperCase) {
  for (const Pair& pair : {Pair{u'a', u'A'}, Pair{u'z', u'Z'}, Pair{u'\u00E4', u'\u00C4'}, Pair{u'\u00FF', u'\u0178'},
                           Pair{u'\u0101', u'\u0100'}, Pair{u'\u03C9', u'\u03A9'}, Pair{u'\u03C2', u'\u03A3'},
                           Pair{u'\u0436', u'\u0416'}, Pair{u'\u0451', u'\u0401'}, Pair{u'\u0561', u'\u0531'},
                           Pair{u'\u1F80', u'\u1F88'}, Pair{u'\uFF41', u'\uFF21'}}) {
    EXPECT_EQ(FoldUpper(pair.lower), pair.upper) << std::hex << static_cast<int>(pair.lower);
    EXPECT_EQ(FoldUpper(pair.upper), pair.upper) << std::hex << static_cast<int>(pair.upper);
  }
}

TEST(CaseFold, NothingBeyondAsciiBecomesAnAsciiLetter) {
  for (int unit = 0x80; unit <= 0xFFFF; ++unit) {
    EXPECT_GE(FoldUpper(static_cast<char16_t>(unit)), 0x80) << std::hex << unit;
  }
}

TEST(CaseFold, WhatHasNoSingleUpperCaseStaysAsItIs) {
  for (const char16_t unit : {u'\0', u'0', u'\\', u'_', u'\u00DF', u'\u00B5', u'\u0131', u'\u017F', u'\u0149',
                              u'\u4E00', char16_t{0xD83D}, char16_t{0xDE00}, u'\uFFFF'}) {
    EXPECT_EQ(FoldUpper(unit), unit) << std::hex << static_cast<int>(unit);
  }
}

TEST(CaseFold, FoldingTwiceChangesNothingMore) {
  for (int unit = 0; unit <= 0xFFFF; ++unit) {
    const char16_t once = FoldUpper(static_cast<char16_t>(unit));
    EXPECT_EQ(FoldUpper(once), once) << std::hex << unit;
  }
}

TEST(CaseFold, RunsAreSortedAndApart) {
  int last = -1;
  for (const CaseRun& run : kCaseRuns) {
    EXPECT_GT(static_cast<int>(run.first), last);
    EXPECT_GE(run.last, run.first);
    last = run.last;
  }
}

TEST(CaseFold, TextsKeepTheirLength) {
  EXPECT_EQ(FoldUpper(std::u16string_view(u"Stra\u00DFe \U0001F600")), u"STRA\u00DFE \U0001F600");
  EXPECT_EQ(FoldUpper(std::u16string_view()), u"");
}

TEST(CaseFold, EqualityLooksPastCaseOnly) {
  EXPECT_TRUE(EqualFolded(u"KeyWords", u"KEYWORDS"));
  EXPECT_TRUE(EqualFolded(u"", u""));
  EXPECT_FALSE(EqualFolded(u"KeyWords", u"KeyWord"));
  EXPECT_FALSE(EqualFolded(u"a_", u"a-"));
}

TEST(CaseFold, OrderIsThatOfTheFoldedUnitsAndShorterComesFirst) {
  EXPECT_LT(CompareFolded(u"alpha", u"BETA"), 0);
  EXPECT_EQ(CompareFolded(u"Alpha", u"aLPHA"), 0);
  EXPECT_GT(CompareFolded(u"alpha1", u"Alpha"), 0);
  // '_' stands behind the capital letters and before the small ones; folded, "a" comes before it.
  EXPECT_LT(CompareFolded(u"a", u"_"), 0);
}

}  // namespace
}  // namespace varnel::embedded

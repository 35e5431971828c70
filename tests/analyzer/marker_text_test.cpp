#include "analyzer/marker_text.h"

#include <gtest/gtest.h>

namespace varnel {
namespace {

using List = std::vector<std::u16string>;

List Parsed(std::u16string_view text) {
  List list;
  ParseMarkerText(text, &list);
  return list;
}

TEST(MarkerText, OneLineForEachEntryInOrder) {
  EXPECT_EQ(Parsed(u"\uFEFFAAAA\r\nBBBB\r\n"), (List{u"AAAA", u"BBBB"}));
}

TEST(MarkerText, TheMarkAloneIsAnEmptyList) {
  EXPECT_EQ(Parsed(u"\uFEFF"), List{});
  EXPECT_EQ(Parsed(u""), List{});
}

TEST(MarkerText, ReadsWithoutAByteOrderMark) {
  EXPECT_EQ(Parsed(u"AAAA\r\n"), List{u"AAAA"});
}

TEST(MarkerText, ReadsLfAndCrAsLineEnds) {
  EXPECT_EQ(Parsed(u"A\nB\rC\n\rD\r\n"), (List{u"A", u"B", u"C", u"D"}));
}

TEST(MarkerText, SkipsBlankLines) {
  EXPECT_EQ(Parsed(u"\uFEFF\r\n\r\nA\r\n\r\n\nB\r\n\r\n"), (List{u"A", u"B"}));
}

TEST(MarkerText, SkipsStrayMarksAndZerosInsideALine) {
  EXPECT_EQ(Parsed(u"A\uFEFFB\r\n\uFEFF\r\nC" + std::u16string(1, u'\0') + u"D\r\n"), (List{u"AB", u"CD"}));
}

TEST(MarkerText, TakesALastLineWithoutItsEnd) {
  EXPECT_EQ(Parsed(u"\uFEFFA\r\nB"), (List{u"A", u"B"}));
}

TEST(MarkerText, TakesALineThatIsNoIdentity) {
  EXPECT_EQ(Parsed(u"not an identity\r\n"), List{u"not an identity"});
}

TEST(MarkerText, AnEntryIsWrittenWithCrAndLf) {
  EXPECT_EQ(MarkerLine(u"AB"), u"AB\r\n");
  EXPECT_EQ(MarkerLine(u""), u"\r\n");
}

}  // namespace
}  // namespace varnel

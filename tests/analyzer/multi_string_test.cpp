#include "analyzer/multi_string.h"

#include <gtest/gtest.h>

namespace varnel {
namespace {

using List = std::vector<std::u16string>;

template <std::size_t N>
std::u16string Stored(const char16_t (&text)[N]) {
  return {text, N - 1};
}

List Decoded(std::u16string_view stored) {
  List list;
  DecodeMultiString(stored, &list);
  return list;
}

TEST(MultiString, EachEntryHasItsZeroAndTheLastOneMore) {
  EXPECT_EQ(EncodeMultiString({u"AB", u"C"}), Stored(u"AB\0C\0\0"));
}

TEST(MultiString, AnEmptyListIsOneZeroAndReadsBackEmpty) {
  EXPECT_EQ(EncodeMultiString({}), Stored(u"\0"));
  EXPECT_EQ(Decoded(EncodeMultiString({})), List{});
}

TEST(MultiString, AListReadsBackAsItWas) {
  const List list{u"0123456789ABCDEF0123456789ABCDEF", u"x", u"FEDCBA9876543210FEDCBA9876543210"};
  EXPECT_EQ(Decoded(EncodeMultiString(list)), list);
}

TEST(MultiString, EndsAtTheFirstEmptyText) {
  EXPECT_EQ(Decoded(Stored(u"A\0\0B\0\0")), List{u"A"});
  EXPECT_EQ(Decoded(Stored(u"\0A\0\0")), List{});
}

TEST(MultiString, TheLastTextNeedsNoZero) {
  EXPECT_EQ(Decoded(Stored(u"A\0B")), (List{u"A", u"B"}));
  EXPECT_EQ(Decoded(Stored(u"A\0")), List{u"A"});
  EXPECT_EQ(Decoded(u""), List{});
}

}  // namespace
}  // namespace varnel

#include "base/text.h"

#include <gtest/gtest.h>

#include <string>

namespace varnel {
namespace {

std::u16string Appended(const char16_t* path, const char16_t* more) {
  char16_t buffer[kMaxPath];
  CopyText(buffer, kMaxPath, path);
  EXPECT_TRUE(PathAppendW(buffer, more));
  return buffer;
}

TEST(PathAppend, PutsOneBackslashBetween) {
  EXPECT_EQ(Appended(u"C:\\a", u"b"), u"C:\\a\\b");
  EXPECT_EQ(Appended(u"C:\\a\\", u"b"), u"C:\\a\\b");
  EXPECT_EQ(Appended(u"C:\\a", u"\\b"), u"C:\\a\\b");
  EXPECT_EQ(Appended(u"SOFTWARE\\KelvoCLSID", u"{0}"), u"SOFTWARE\\KelvoCLSID\\{0}");
}

TEST(PathAppend, ToAnEmptyPathNoneIsAdded) {
  EXPECT_EQ(Appended(u"", u"b"), u"b");
}

TEST(PathAppend, ADriveRootedOrUncPathReplaces) {
  EXPECT_EQ(Appended(u"C:\\a", u"D:\\b"), u"D:\\b");
  EXPECT_EQ(Appended(u"C:\\a", u"\\\\server\\share"), u"\\\\server\\share");
}

TEST(PathAppend, WhatDoesNotFitEmptiesThePath) {
  const std::u16string folder(250, u'a');
  char16_t buffer[kMaxPath];
  CopyText(buffer, kMaxPath, folder.c_str());
  EXPECT_TRUE(PathAppendW(buffer, u"12345678"));
  EXPECT_EQ(TextLength(buffer), 259u);
  CopyText(buffer, kMaxPath, folder.c_str());
  EXPECT_FALSE(PathAppendW(buffer, u"123456789"));
  EXPECT_EQ(buffer[0], 0);
  EXPECT_FALSE(PathAppendW(buffer, nullptr));
  EXPECT_FALSE(PathAppendW(nullptr, u"a"));
}

TEST(StrStr, FindsTheFirstPlace) {
  const char16_t* const text = u"abcabc";
  EXPECT_EQ(StrStrW(text, u"ca"), text + 2);
  EXPECT_EQ(StrStrW(text, u"abc"), text);
  EXPECT_EQ(StrStrW(text, u"abcabcd"), nullptr);
  EXPECT_EQ(StrStrW(text, u""), nullptr);
  EXPECT_EQ(StrStrW(nullptr, u"a"), nullptr);
}

TEST(CopyText, CutsToItsCapacityAndSaysSo) {
  char16_t out[4];
  EXPECT_TRUE(CopyText(out, 4, u"abc"));
  EXPECT_FALSE(CopyText(out, 4, u"abcd"));
  EXPECT_EQ(std::u16string(out), u"abc");
  EXPECT_FALSE(CopyText(out, 0, u""));
}

TEST(CompareTextNoCase, FoldsAsciiLetters) {
  EXPECT_EQ(CompareTextNoCase(u"KWDTempTrace", u"kwdtemptrace"), 0);
  EXPECT_LT(CompareTextNoCase(u"a", u"B"), 0);
  EXPECT_GT(CompareTextNoCase(u"ab", u"A"), 0);
  EXPECT_EQ(CompareTextNoCase(u"abcX", u"ABCy", 3), 0);
  EXPECT_NE(CompareTextNoCase(u"abcX", u"ABCy", 4), 0);
}

TEST(GuidText, IsBracedAndUpperCase) {
  const GUID guid = {0x4A234956, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
  char16_t wide[kGuidTextCapacity];
  char narrow[kGuidTextCapacity];
  GuidToText(guid, wide);
  GuidToText(guid, narrow);
  EXPECT_EQ(std::u16string(wide), u"{4A234956-2B7D-4221-BADF-12593BD342A8}");
  EXPECT_EQ(std::string(narrow), "{4A234956-2B7D-4221-BADF-12593BD342A8}");
}

}  // namespace
}  // namespace varnel

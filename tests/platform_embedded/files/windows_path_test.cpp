#include "platform/embedded/files/windows_path.h"

#include <gtest/gtest.h>

#include "platform/types.h"

namespace varnel::embedded {
namespace {

std::uint32_t ErrorOf(std::u16string_view text) {
  WindowsPath path;
  return ParseWindowsPath(text, &path);
}

std::u16string Full(std::u16string_view text) {
  WindowsPath path;
  EXPECT_EQ(ParseWindowsPath(text, &path), 0u);
  return path.Text();
}

TEST(WindowsPath, BothSeparatorsAndSeveralOfThemPartNames) {
  EXPECT_EQ(Full(u"c:/a\\\\b//c"), u"C:\\a\\b\\c");
}

TEST(WindowsPath, DotsAreWalkedAndNeverAboveTheRoot) {
  EXPECT_EQ(Full(u"C:\\a\\.\\b\\..\\c"), u"C:\\a\\c");
  EXPECT_EQ(Full(u"C:\\..\\..\\a"), u"C:\\a");
  EXPECT_EQ(Full(u"C:\\a\\.."), u"C:\\");
}

TEST(WindowsPath, ARelativePathStandsBelowTheSystemFolder) {
  EXPECT_EQ(Full(u"file"), u"C:\\Windows\\System32\\file");
  EXPECT_EQ(Full(u"C:file"), u"C:\\Windows\\System32\\file");
  EXPECT_EQ(Full(u"D:file"), u"D:\\file");
  EXPECT_EQ(Full(u"\\file"), u"C:\\file");
  EXPECT_EQ(Full(u".."), u"C:\\Windows");
}

TEST(WindowsPath, DotsAndBlanksAtTheEndOfTheLastNameGo) {
  EXPECT_EQ(Full(u"C:\\a. . "), u"C:\\a");
  EXPECT_EQ(Full(u"C:\\a.b."), u"C:\\a.b");
}

TEST(WindowsPath, OneDotBehindANameOnTheWayGoes) {
  EXPECT_EQ(Full(u"C:\\a.\\b"), u"C:\\a\\b");
  EXPECT_EQ(ErrorOf(u"C:\\a..\\b"), platform::kErrorInvalidName);
  EXPECT_EQ(ErrorOf(u"C:\\a \\b"), platform::kErrorInvalidName);
}

TEST(WindowsPath, ASeparatorAtTheEndAsksForAFolder) {
  for (const char16_t* text : {u"C:\\a\\", u"C:\\", u"C:\\a\\.", u"C:\\a\\..."}) {
    WindowsPath path;
    EXPECT_EQ(ParseWindowsPath(text, &path), 0u);
    EXPECT_TRUE(path.ends_in_separator);
  }
  WindowsPath path;
  EXPECT_EQ(ParseWindowsPath(u"C:\\a", &path), 0u);
  EXPECT_FALSE(path.ends_in_separator);
}

TEST(WindowsPath, NamesOfDevicesCantBeInWhateverCaseOrEnding) {
  for (const char16_t* name : {u"NUL", u"con", u"Aux.txt", u"PRN .x", u"COM1", u"lpt9.log", u"COM\u00B9", u"CONIN$"}) {
    EXPECT_FALSE(IsFileName(name));
    EXPECT_EQ(ErrorOf(u"C:\\" + std::u16string(name) + u"\\x"), platform::kErrorInvalidName);
  }
  for (const char16_t* name : {u"NULL", u"COM", u"COM10", u"COM0", u"xNUL", u"LPTX"}) EXPECT_TRUE(IsFileName(name));
}

TEST(WindowsPath, CharactersThatCantBeInANameAnswer123) {
  for (const char16_t unit : std::u16string(u"<>:\"|?*\x01\x1F")) {
    EXPECT_EQ(ErrorOf(std::u16string(u"C:\\a") + unit + u"b"), platform::kErrorInvalidName);
  }
}

TEST(WindowsPath, AStreamOfAFileAnswers123) {
  EXPECT_EQ(ErrorOf(u"C:\\file:stream"), platform::kErrorInvalidName);
}

TEST(WindowsPath, ALoneSurrogateCantBeInAName) {
  const char16_t lone[] = {u'a', 0xD800, u'b', 0};
  EXPECT_FALSE(IsFileName(lone));
  EXPECT_TRUE(IsFileName(u"a\U0001F600"));
}

TEST(WindowsPath, ANameHas1To255Characters) {
  EXPECT_TRUE(IsFileName(std::u16string(255, u'n')));
  EXPECT_FALSE(IsFileName(std::u16string(256, u'n')));
  EXPECT_FALSE(IsFileName(u""));
}

TEST(WindowsPath, APathHasUpTo259CharactersUnlessItsPrefixLiftsThat) {
  const std::u16string folder = u"C:\\" + std::u16string(200, u'n') + u"\\";
  EXPECT_EQ(ErrorOf(folder + std::u16string(259 - folder.size(), u'n')), 0u);
  EXPECT_EQ(ErrorOf(folder + std::u16string(260 - folder.size(), u'n')), platform::kErrorPathNotFound);
  EXPECT_EQ(ErrorOf(u"\\\\?\\" + folder + std::u16string(200, u'n')), 0u);
}

TEST(WindowsPath, APathWithThePrefixIsTakenAsItStands) {
  EXPECT_EQ(Full(u"\\\\?\\C:\\a\\b"), u"C:\\a\\b");
  EXPECT_EQ(ErrorOf(u"\\\\?\\C:\\a\\..\\b"), platform::kErrorInvalidName);
  EXPECT_EQ(ErrorOf(u"\\\\?\\C:\\a/b"), platform::kErrorInvalidName);
  EXPECT_EQ(ErrorOf(u"\\\\?\\C:\\a."), platform::kErrorInvalidName);
}

TEST(WindowsPath, ServersDevicesAndNothingAreNoPlaceOnAMachine) {
  EXPECT_EQ(ErrorOf(u"\\\\server\\share\\file"), 53u);
  EXPECT_EQ(ErrorOf(u"\\\\.\\PhysicalDrive0"), platform::kErrorFileNotFound);
  EXPECT_EQ(ErrorOf(u""), platform::kErrorPathNotFound);
}

struct Fit {
  const char16_t* pattern;
  const char16_t* name;
  bool fits;
};

TEST(NamePattern, FitsNamesAsTheFileSystemDoes) {
  const Fit rows[] = {
      {u"*", u"anything", true},
      {u"*.*", u"nodot", true},
      {u"*.", u"nodot", true},
      {u"*.", u"a.b", false},
      {u"*.txt", u"a.TXT", true},
      {u"*.txt", u"a.txt.b", false},
      {u"a*b*c", u"aXbYc", true},
      {u"a*b*c", u"aXbY", false},
      {u"?", u"ab", false},
      {u"??", u"a", true},
      {u"a?.txt", u"a.txt", true},
      {u"a?.txt", u"ab.txt", true},
      {u"a?.txt", u"abc.txt", false},
      {u"a.*", u"a", true},
      {u"a.*", u"a.b", true},
      {u"a.*", u"ab", false},
      {u"\u00E4*", u"\u00C4b", true},
      {u"*a*a*a*a*b", u"aaaaaaaaaaaaaaaa", false},
      {u"file.txt", u"FILE.txt", true},
      {u"*.t?t", u"x.tat", true},
      {u"???.*", u"ab.c", true},
  };
  for (const Fit& row : rows) {
    EXPECT_EQ(MatchesPattern(row.name, row.pattern), row.fits) << &row - rows;
  }
}

}  // namespace
}  // namespace varnel::embedded

// Searches in a folder.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "temp_folder.h"

namespace varnel::platform {
namespace {

class FindFile : public ::testing::Test {
 protected:
  std::vector<std::u16string> Find(std::u16string_view pattern) {
    std::vector<std::u16string> names;
    WIN32_FIND_DATAW data{};
    ForgetError();
    const HANDLE find = FilesPort().FindFirstFileW((folder_ / pattern).c_str(), &data);
    if (find == kInvalidHandleValue) return names;
    do {
      names.emplace_back(data.cFileName);
    } while (FilesPort().FindNextFileW(find, &data));
    EXPECT_EQ(LastError(), kErrorNoMoreFiles);
    EXPECT_TRUE(FilesPort().FindClose(find));
    return names;
  }

  TempFolder folder_;
};

using Names = std::vector<std::u16string>;

TEST_F(FindFile, ListsDotAndDotDotFirstAndThenInTheOrderOfUpperCasedNames) {
  for (const char16_t* name : {u"b", u"A", u"_", u"a1", u"C"}) WriteText(folder_ / name, "x");
  EXPECT_EQ(Find(u"*"), (Names{u".", u"..", u"A", u"a1", u"b", u"C", u"_"}));
}

TEST_F(FindFile, AnEmptyFolderHasItsTwoDotsOnly) {
  EXPECT_EQ(Find(u"*"), (Names{u".", u".."}));
}

TEST_F(FindFile, StarAndQuestionMarkStandForCharacters) {
  for (const char16_t* name : {u"one.txt", u"two.txt", u"three.txt", u"one.etl"}) WriteText(folder_ / name, "x");
  EXPECT_EQ(Find(u"*.txt"), (Names{u"one.txt", u"three.txt", u"two.txt"}));
  EXPECT_EQ(Find(u"???.txt"), (Names{u"one.txt", u"two.txt"}));
  EXPECT_EQ(Find(u"ONE.*"), (Names{u"one.etl", u"one.txt"}));
  EXPECT_EQ(Find(u"t*e*"), (Names{u"three.txt"}));
}

TEST_F(FindFile, StarDotStarFitsNamesWithoutADotToo) {
  WriteText(folder_ / u"plain", "x");
  WriteText(folder_ / u"with.dot", "x");
  EXPECT_EQ(Find(u"*.*"), (Names{u".", u"..", u"plain", u"with.dot"}));
}

TEST_F(FindFile, ANameWithoutMarksFindsThatOneFile) {
  WriteText(folder_ / u"File", "12345");
  WIN32_FIND_DATAW data{};
  const HANDLE find = FilesPort().FindFirstFileW((folder_ / u"fILE").c_str(), &data);
  ASSERT_NE(find, kInvalidHandleValue);
  EXPECT_EQ(std::u16string(data.cFileName), u"File");
  EXPECT_EQ(data.nFileSizeLow, 5u);
  EXPECT_EQ(data.nFileSizeHigh, 0u);
  EXPECT_EQ(data.dwFileAttributes, kFileAttributeArchive);
  EXPECT_NE(ToUint64(data.ftLastWriteTime), 0u);
  EXPECT_NE(ToUint64(data.ftCreationTime), 0u);
  EXPECT_FALSE(FilesPort().FindNextFileW(find, &data));
  EXPECT_EQ(LastError(), kErrorNoMoreFiles);
  EXPECT_TRUE(FilesPort().FindClose(find));
}

TEST_F(FindFile, FoldersAreMarkedAsSuch) {
  EXPECT_TRUE(FilesPort().CreateDirectoryW((folder_ / u"sub").c_str()));
  WIN32_FIND_DATAW data{};
  const HANDLE find = FilesPort().FindFirstFileW((folder_ / u"s*").c_str(), &data);
  ASSERT_NE(find, kInvalidHandleValue);
  EXPECT_EQ(data.dwFileAttributes & kFileAttributeDirectory, kFileAttributeDirectory);
  EXPECT_TRUE(FilesPort().FindClose(find));
}

TEST_F(FindFile, NothingThatFitsAnswers2AndAMissingFolder3) {
  EXPECT_EQ(Find(u"none*"), Names{});
  EXPECT_EQ(LastError(), kErrorFileNotFound);
  EXPECT_EQ(Find(u"none"), Names{});
  EXPECT_EQ(LastError(), kErrorFileNotFound);
  EXPECT_EQ(Find(u"none\\*"), Names{});
  EXPECT_EQ(LastError(), kErrorPathNotFound);
}

TEST_F(FindFile, AFileThatGoesWhileTheSearchRunsDoesNotEndIt) {
  for (const char16_t* name : {u"a", u"b", u"c"}) WriteText(folder_ / name, "x");
  WIN32_FIND_DATAW data{};
  const HANDLE find = FilesPort().FindFirstFileW((folder_ / u"*").c_str(), &data);
  ASSERT_NE(find, kInvalidHandleValue);
  EXPECT_TRUE(FilesPort().DeleteFileW((folder_ / u"b").c_str()));
  std::u16string last;
  while (FilesPort().FindNextFileW(find, &data)) last = data.cFileName;
  EXPECT_EQ(last, u"c");
  EXPECT_TRUE(FilesPort().FindClose(find));
}

}  // namespace
}  // namespace varnel::platform

// Names and times of files.
#include "platform/files.h"

#include <gtest/gtest.h>

#include <string>

#include "temp_folder.h"

namespace varnel::platform {
namespace {

using FileNames = FileTest;
using FileTimesTest = FileTest;

TEST_F(FileNames, AreKeptAsWrittenAndFoundWithoutRegardToCase) {
  WriteText(folder_ / u"Gr\u00F6\u00DFe.Txt", "x");
  EXPECT_EQ(ReadText(folder_ / u"gR\u00D6\u00DFE.tXT"), "x");
  WIN32_FIND_DATAW data{};
  const HANDLE find = FilesPort().FindFirstFileW((folder_ / u"GR*").c_str(), &data);
  ASSERT_NE(find, kInvalidHandleValue);
  EXPECT_EQ(std::u16string(data.cFileName), u"Gr\u00F6\u00DFe.Txt");
  EXPECT_TRUE(FilesPort().FindClose(find));
}

TEST_F(FileNames, MayBePartedByEitherSeparator) {
  EXPECT_EQ(FilesPort().CreateFolders((folder_ / u"a").c_str()), kErrorSuccess);
  WriteText(folder_ / u"a/file", "x");
  EXPECT_EQ(ReadText(folder_ / u"a\\file"), "x");
  EXPECT_EQ(ReadText(folder_ / u"a\\\\file"), "x");
}

TEST_F(FileNames, OneDotIsTheFolderAndTwoTheOneAbove) {
  EXPECT_EQ(FilesPort().CreateFolders((folder_ / u"a").c_str()), kErrorSuccess);
  WriteText(folder_ / u"file", "x");
  EXPECT_EQ(ReadText(folder_ / u".\\a\\..\\file"), "x");
}

TEST_F(FileNames, DotsAndBlanksAtTheEndAreDropped) {
  WriteText(folder_ / u"file. . ", "x");
  EXPECT_EQ(ReadText(folder_ / u"file"), "x");
  EXPECT_EQ(ReadText(folder_ / u"file..."), "x");
}

TEST_F(FileNames, CharactersThatNoNameHasAnswer123) {
  for (const char16_t* name : {u"a*b", u"a?b", u"a<b", u"a>b", u"a|b", u"a\"b"}) {
    EXPECT_EQ(OpenError(folder_ / name, kGenericWrite, kCreateAlways), kErrorInvalidName);
    ForgetError();
    EXPECT_EQ(Attributes(folder_ / name), kInvalidFileAttributes);
    EXPECT_EQ(LastError(), kErrorInvalidName);
  }
}

TEST_F(FileNames, AnEmptyPathAnswers3) {
  EXPECT_EQ(OpenError(u"", kGenericRead, kOpenExisting), kErrorPathNotFound);
  ForgetError();
  EXPECT_FALSE(FilesPort().CreateDirectoryW(u""));
  EXPECT_EQ(LastError(), kErrorPathNotFound);
}

TEST_F(FileNames, ADriveThatIsNotThereAnswers3) {
  EXPECT_EQ(OpenError(u"Q:\\file", kGenericRead, kOpenExisting), kErrorPathNotFound);
}

TEST_F(FileTimesTest, AreSetAndReadInHundredsOfNanoseconds) {
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead | kGenericWrite, 0, kCreateNew);
  const FILETIME creation = ToFileTime(131000000001234567);
  const FILETIME access = ToFileTime(132000000001234567);
  const FILETIME write = ToFileTime(133000000001234567);
  EXPECT_TRUE(FilesPort().SetFileTime(file, &creation, &access, &write));
  FILETIME times[3] = {};
  EXPECT_TRUE(FilesPort().GetFileTime(file, &times[0], &times[1], &times[2]));
  EXPECT_EQ(ToUint64(times[1]), ToUint64(access));
  EXPECT_EQ(ToUint64(times[2]), ToUint64(write));
  EXPECT_TRUE(FilesPort().GetFileTime(file, nullptr, nullptr, nullptr));
  CloseFile(file);
}

TEST_F(FileTimesTest, OfANewFileAreAboutNow) {
  FILETIME before{};
  SystemPort().GetSystemTimeAsFileTime(&before);
  const HANDLE file = OpenFile(folder_ / u"file", kGenericWrite, 0, kCreateNew);
  FILETIME creation{};
  FILETIME write{};
  EXPECT_TRUE(FilesPort().GetFileTime(file, &creation, nullptr, &write));
  constexpr std::uint64_t kTwoSeconds = 20000000;  // the host's clock ticks less finely than ours
  EXPECT_GE(ToUint64(creation) + kTwoSeconds, ToUint64(before));
  EXPECT_GE(ToUint64(write) + kTwoSeconds, ToUint64(before));
  CloseFile(file);
}

TEST_F(FileTimesTest, CantBeSetThroughAHandleForReading) {
  WriteText(folder_ / u"file", "x");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead, 0);
  const FILETIME time = ToFileTime(131000000000000000);
  ForgetError();
  EXPECT_FALSE(FilesPort().SetFileTime(file, nullptr, nullptr, &time));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  CloseFile(file);
}

}  // namespace
}  // namespace varnel::platform

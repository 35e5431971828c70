// Files and folders by name and by handle.
#include "platform/files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "temp_folder.h"

namespace varnel::platform {
namespace {

constexpr std::uint32_t kShareAll = kFileShareRead | kFileShareWrite | kFileShareDelete;

std::uint32_t Attributes(const std::u16string& path) {
  return FilesPort().GetFileAttributesW(path.c_str());
}

std::uint32_t OpenError(const std::u16string& path, std::uint32_t access, std::uint32_t disposition) {
  ForgetError();
  const HANDLE file = OpenFile(path, access, kShareAll, disposition);
  if (file == kInvalidHandleValue) return LastError();
  const std::uint32_t error = LastError();
  CloseFile(file);
  return error;
}

class FileTest : public ::testing::Test {
 protected:
  TempFolder folder_;
};
using CreateFile = FileTest;
using OpenedFile = FileTest;
using FileAttributes = FileTest;
using Folders = FileTest;
using DeletedFile = FileTest;
using CopiedFile = FileTest;
using MovedFile = FileTest;
using FileNames = FileTest;
using FileTimesTest = FileTest;

TEST_F(CreateFile, AMissingFileAnswers2AndAMissingFolder3) {
  EXPECT_EQ(OpenError(folder_ / u"none", kGenericRead, kOpenExisting), kErrorFileNotFound);
  EXPECT_EQ(OpenError(folder_ / u"none\\none", kGenericRead, kOpenExisting), kErrorPathNotFound);
  EXPECT_EQ(OpenError(folder_ / u"none\\new", kGenericWrite, kCreateAlways), kErrorPathNotFound);
  EXPECT_EQ(OpenError(folder_ / u"none", kGenericWrite, kTruncateExisting), kErrorFileNotFound);
}

TEST_F(CreateFile, ACreatedFileIsEmptyAndThere) {
  EXPECT_EQ(OpenError(folder_ / u"new", kGenericWrite, kCreateNew), kErrorSuccess);
  EXPECT_EQ(ReadText(folder_ / u"new"), "");
}

TEST_F(CreateFile, CreateNewOnAPresentFileAnswers80) {
  WriteText(folder_ / u"file", "x");
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kCreateNew), kErrorFileExists);
  EXPECT_EQ(ReadText(folder_ / u"file"), "x");
}

TEST_F(CreateFile, CreateAlwaysEmptiesAPresentFileAndTells183) {
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kCreateAlways), kErrorSuccess);
  WriteText(folder_ / u"file", "content");
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kCreateAlways), kErrorAlreadyExists);
  EXPECT_EQ(ReadText(folder_ / u"file"), "");
}

TEST_F(CreateFile, OpenAlwaysKeepsAPresentFileAndTells183) {
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kOpenAlways), kErrorSuccess);
  WriteText(folder_ / u"file", "content");
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kOpenAlways), kErrorAlreadyExists);
  EXPECT_EQ(ReadText(folder_ / u"file"), "content");
}

TEST_F(CreateFile, TruncateExistingEmptiesAPresentFile) {
  WriteText(folder_ / u"file", "content");
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kTruncateExisting), kErrorSuccess);
  EXPECT_EQ(ReadText(folder_ / u"file"), "");
}

TEST_F(CreateFile, AFolderCantBeOpenedAsAFile) {
  EXPECT_EQ(OpenError(folder_.path(), kGenericRead, kOpenExisting), kErrorAccessDenied);
  EXPECT_EQ(OpenError(folder_.path(), kGenericWrite, kOpenAlways), kErrorAccessDenied);
}

TEST_F(CreateFile, AnUnknownDispositionAnswers87) {
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericRead, 9), kErrorInvalidParameter);
}

TEST_F(CreateFile, AFileOnTheWayIsNoFolder) {
  WriteText(folder_ / u"file", "x");
  EXPECT_EQ(OpenError(folder_ / u"file\\below", kGenericRead, kOpenExisting), kErrorPathNotFound);
  EXPECT_EQ(Attributes(folder_ / u"file\\below"), kInvalidFileAttributes);
  EXPECT_EQ(LastError(), kErrorPathNotFound);
}

TEST_F(OpenedFile, ReadsBackWhatWasWrittenFromThePointerOn) {
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead | kGenericWrite, 0, kCreateNew);
  std::uint32_t count = 0;
  EXPECT_TRUE(FilesPort().WriteFile(file, "0123456789", 10, &count, nullptr));
  EXPECT_EQ(count, 10u);
  EXPECT_EQ(FilesPort().SetFilePointer(file, 2, nullptr, kFileBegin), 2u);
  char buffer[8] = {};
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, 3, &count, nullptr));
  EXPECT_EQ(std::string(buffer, count), "234");
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, 8, &count, nullptr));
  EXPECT_EQ(std::string(buffer, count), "56789");
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, 8, &count, nullptr));
  EXPECT_EQ(count, 0u);
  CloseFile(file);
}

TEST_F(OpenedFile, ThePointerMovesFromTheBeginTheCurrentPlaceAndTheEnd) {
  WriteText(folder_ / u"file", "0123456789");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead, 0);
  EXPECT_EQ(FilesPort().SetFilePointer(file, 4, nullptr, kFileBegin), 4u);
  EXPECT_EQ(FilesPort().SetFilePointer(file, -1, nullptr, kFileCurrent), 3u);
  EXPECT_EQ(FilesPort().SetFilePointer(file, -2, nullptr, kFileEnd), 8u);
  EXPECT_EQ(FilesPort().SetFilePointer(file, 5, nullptr, kFileEnd), 15u);
  std::int32_t high = 1;
  EXPECT_EQ(FilesPort().SetFilePointer(file, 7, &high, kFileBegin), 7u);
  EXPECT_EQ(high, 1);
  ForgetError();
  EXPECT_EQ(FilesPort().SetFilePointer(file, -1, nullptr, kFileBegin), kInvalidFileSize);
  EXPECT_EQ(LastError(), 131u);
  CloseFile(file);
}

TEST_F(OpenedFile, AReadAtAPlaceBehindTheEndAnswers38) {
  WriteText(folder_ / u"file", "0123456789");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead, 0);
  char buffer[4] = {};
  std::uint32_t count = 0;
  OVERLAPPED place{};
  place.Offset = 8;
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, 4, &count, &place));
  EXPECT_EQ(std::string(buffer, count), "89");
  place.Offset = 10;
  ForgetError();
  EXPECT_FALSE(FilesPort().ReadFile(file, buffer, 4, &count, &place));
  EXPECT_EQ(LastError(), kErrorHandleEof);
  CloseFile(file);
}

TEST_F(OpenedFile, AWriteAtThePlaceOfAllOnesGoesToTheEndWhereverThePointerIs) {
  WriteText(folder_ / u"file", "begin");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericAll, kShareAll, kOpenAlways);
  OVERLAPPED at_end{};
  at_end.Offset = at_end.OffsetHigh = ~0u;
  std::uint32_t count = 0;
  EXPECT_TRUE(FilesPort().WriteFile(file, " one", 4, &count, &at_end));
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(FilesPort().SetFilePointer(file, 0, nullptr, kFileBegin), 0u);
  EXPECT_TRUE(FilesPort().WriteFile(file, " two", 4, &count, &at_end));
  CloseFile(file);
  EXPECT_EQ(ReadText(folder_ / u"file"), "begin one two");
}

TEST_F(OpenedFile, TwoHandlesThatAppendDoNotOverwriteEachOther) {
  const HANDLE first = OpenFile(folder_ / u"file", kGenericAll, kShareAll, kOpenAlways);
  const HANDLE second = OpenFile(folder_ / u"file", kGenericAll, kShareAll, kOpenAlways);
  OVERLAPPED at_end{};
  at_end.Offset = at_end.OffsetHigh = ~0u;
  std::uint32_t count = 0;
  for (const HANDLE file : {first, second, first, second}) {
    EXPECT_TRUE(FilesPort().WriteFile(file, file == first ? "a" : "b", 1, &count, &at_end));
  }
  CloseFile(first);
  CloseFile(second);
  EXPECT_EQ(ReadText(folder_ / u"file"), "abab");
}

TEST_F(OpenedFile, TheSizeIsToldInBothForms) {
  WriteText(folder_ / u"file", "0123456789");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead, 0);
  std::uint32_t high = 7;
  std::uint64_t size = 0;
  EXPECT_EQ(FilesPort().GetFileSize(file, &high), 10u);
  EXPECT_EQ(high, 0u);
  EXPECT_EQ(FilesPort().GetFileSize(file, nullptr), 10u);
  EXPECT_TRUE(FilesPort().GetFileSizeEx(file, &size));
  EXPECT_EQ(size, 10u);
  CloseFile(file);
}

TEST_F(OpenedFile, TheEndIsSetAtThePointer) {
  WriteText(folder_ / u"file", "0123456789");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericWrite, 0);
  FilesPort().SetFilePointer(file, 4, nullptr, kFileBegin);
  EXPECT_TRUE(FilesPort().SetEndOfFile(file));
  EXPECT_TRUE(FilesPort().FlushFileBuffers(file));
  CloseFile(file);
  EXPECT_EQ(ReadText(folder_ / u"file"), "0123");
}

TEST_F(OpenedFile, WhatItWasNotOpenedForAnswers5) {
  WriteText(folder_ / u"file", "x");
  char buffer[4] = {};
  std::uint32_t count = 0;
  const HANDLE reader = OpenFile(folder_ / u"file", kGenericRead, kShareAll);
  ForgetError();
  EXPECT_FALSE(FilesPort().WriteFile(reader, "y", 1, &count, nullptr));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  ForgetError();
  EXPECT_FALSE(FilesPort().SetEndOfFile(reader));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  CloseFile(reader);
  const HANDLE writer = OpenFile(folder_ / u"file", kGenericWrite, kShareAll);
  ForgetError();
  EXPECT_FALSE(FilesPort().ReadFile(writer, buffer, 4, &count, nullptr));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  CloseFile(writer);
}

TEST_F(OpenedFile, EveryCallOnAClosedOrInvalidHandleAnswers6) {
  const HANDLE closed = OpenFile(folder_ / u"file", kGenericWrite, 0, kCreateNew);
  CloseFile(closed);
  char buffer[4] = {};
  std::uint32_t count = 0;
  std::uint64_t size = 0;
  FILETIME time{};
  for (const HANDLE file : {closed, kInvalidHandleValue}) {
    const auto fails_with_6 = [](bool result) {
      const bool right = !result && LastError() == kErrorInvalidHandle;
      ForgetError();
      return right;
    };
    ForgetError();
    EXPECT_TRUE(fails_with_6(FilesPort().ReadFile(file, buffer, 4, &count, nullptr)));
    EXPECT_TRUE(fails_with_6(FilesPort().WriteFile(file, buffer, 4, &count, nullptr)));
    EXPECT_TRUE(fails_with_6(FilesPort().GetFileSize(file, nullptr) != kInvalidFileSize));
    EXPECT_TRUE(fails_with_6(FilesPort().GetFileSizeEx(file, &size)));
    EXPECT_TRUE(fails_with_6(FilesPort().SetFilePointer(file, 0, nullptr, kFileBegin) != kInvalidFileSize));
    EXPECT_TRUE(fails_with_6(FilesPort().SetEndOfFile(file)));
    EXPECT_TRUE(fails_with_6(FilesPort().GetFileTime(file, &time, nullptr, nullptr)));
  }
}

TEST_F(FileAttributes, AMissingFileHasNoneAndAnswers2Or3) {
  ForgetError();
  EXPECT_EQ(Attributes(folder_ / u"none"), kInvalidFileAttributes);
  EXPECT_EQ(LastError(), kErrorFileNotFound);
  ForgetError();
  EXPECT_EQ(Attributes(folder_ / u"none\\none"), kInvalidFileAttributes);
  EXPECT_EQ(LastError(), kErrorPathNotFound);
}

TEST_F(FileAttributes, ANewFileIsToBeArchivedAndAFolderIsAFolder) {
  WriteText(folder_ / u"file", "x");
  EXPECT_EQ(Attributes(folder_ / u"file"), kFileAttributeArchive);
  EXPECT_EQ(Attributes(folder_.path()) & kFileAttributeDirectory, kFileAttributeDirectory);
}

TEST_F(FileAttributes, ReadOnlyKeepsAFileFromBeingWrittenAndDeleted) {
  WriteText(folder_ / u"file", "x");
  EXPECT_TRUE(FilesPort().SetFileAttributesW((folder_ / u"file").c_str(), kFileAttributeReadonly));
  EXPECT_EQ(Attributes(folder_ / u"file"), kFileAttributeReadonly);
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kOpenExisting), kErrorAccessDenied);
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kCreateAlways), kErrorAccessDenied);
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericRead, kOpenExisting), kErrorSuccess);
  ForgetError();
  EXPECT_FALSE(FilesPort().DeleteFileW((folder_ / u"file").c_str()));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  EXPECT_TRUE(FilesPort().SetFileAttributesW((folder_ / u"file").c_str(), kFileAttributeNormal));
  EXPECT_EQ(Attributes(folder_ / u"file"), kFileAttributeNormal);
  EXPECT_TRUE(FilesPort().DeleteFileW((folder_ / u"file").c_str()));
}

TEST_F(FileAttributes, OfAMissingFileCantBeSet) {
  ForgetError();
  EXPECT_FALSE(FilesPort().SetFileAttributesW((folder_ / u"none").c_str(), kFileAttributeNormal));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
}

TEST_F(FileAttributes, ExistenceIsToldForFilesAndFoldersInBothForms) {
  WriteText(folder_ / u"file", "x");
  EXPECT_TRUE(FilesPort().PathFileExistsW((folder_ / u"file").c_str()));
  EXPECT_TRUE(FilesPort().PathFileExistsW(folder_.path().c_str()));
  EXPECT_FALSE(FilesPort().PathFileExistsW((folder_ / u"none").c_str()));
  const std::u16string wide = folder_ / u"file";
  const std::string narrow(wide.begin(), wide.end());
  EXPECT_TRUE(FilesPort().PathFileExistsA(narrow.c_str()));
  EXPECT_TRUE(FilesPort().DeleteFileA(narrow.c_str()));
  EXPECT_FALSE(FilesPort().PathFileExistsA(narrow.c_str()));
}

TEST_F(Folders, AFolderThatIsThereAnswers183AndOneWithoutParent3) {
  const std::u16string path = folder_ / u"new";
  EXPECT_TRUE(FilesPort().CreateDirectoryW(path.c_str()));
  ForgetError();
  EXPECT_FALSE(FilesPort().CreateDirectoryW(path.c_str()));
  EXPECT_EQ(LastError(), kErrorAlreadyExists);
  ForgetError();
  EXPECT_FALSE(FilesPort().CreateDirectoryW((folder_ / u"none\\new").c_str()));
  EXPECT_EQ(LastError(), kErrorPathNotFound);
  WriteText(folder_ / u"file", "x");
  ForgetError();
  EXPECT_FALSE(FilesPort().CreateDirectoryW((folder_ / u"file").c_str()));
  EXPECT_EQ(LastError(), kErrorAlreadyExists);
}

TEST_F(Folders, RemovingAnswersWhatStandsInTheWay) {
  const std::u16string path = folder_ / u"sub";
  EXPECT_TRUE(FilesPort().CreateDirectoryW(path.c_str()));
  WriteText(path + u"\\file", "x");
  ForgetError();
  EXPECT_FALSE(FilesPort().RemoveDirectoryW(path.c_str()));
  EXPECT_EQ(LastError(), kErrorDirNotEmpty);
  ForgetError();
  EXPECT_FALSE(FilesPort().RemoveDirectoryW((path + u"\\file").c_str()));
  EXPECT_EQ(LastError(), kErrorDirectory);
  ForgetError();
  EXPECT_FALSE(FilesPort().RemoveDirectoryW((folder_ / u"none").c_str()));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
  EXPECT_TRUE(FilesPort().DeleteFileW((path + u"\\file").c_str()));
  EXPECT_TRUE(FilesPort().RemoveDirectoryW(path.c_str()));
  EXPECT_FALSE(FilesPort().PathFileExistsW(path.c_str()));
}

TEST_F(Folders, AWholeChainIsMadeAndRemovedAtOnce) {
  const std::u16string deep = folder_ / u"a\\b/c";
  EXPECT_EQ(FilesPort().CreateFolders(deep.c_str()), kErrorSuccess);
  EXPECT_EQ(FilesPort().CreateFolders(deep.c_str()), kErrorSuccess);
  WriteText(folder_ / u"a\\b\\c\\file", "x");
  EXPECT_EQ(FilesPort().RemoveFolders((folder_ / u"a").c_str()), kErrorSuccess);
  EXPECT_FALSE(FilesPort().PathFileExistsW((folder_ / u"a").c_str()));
  EXPECT_EQ(FilesPort().RemoveFolders((folder_ / u"a").c_str()), kErrorSuccess);
}

TEST_F(Folders, AChainThroughAFileIsNotMade) {
  WriteText(folder_ / u"file", "x");
  EXPECT_NE(FilesPort().CreateFolders((folder_ / u"file\\below").c_str()), kErrorSuccess);
  EXPECT_NE(FilesPort().CreateFolders((folder_ / u"file").c_str()), kErrorSuccess);
}

TEST_F(Folders, TheTemporaryFolderIsThereAndEndsInABackslash) {
  char16_t buffer[260];
  const std::uint32_t length = FilesPort().GetTempPathW(260, buffer);
  ASSERT_EQ(length, std::u16string(buffer).size());
  EXPECT_EQ(buffer[length - 1], u'\\');
  EXPECT_TRUE(FilesPort().PathFileExistsW(buffer));
  EXPECT_EQ(FilesPort().GetTempPathW(length, buffer), length + 1);
}

TEST_F(Folders, APathOf248CharactersAnswers206) {
  std::u16string path = folder_ / u"";
  path.append(248 - path.size(), u'n');
  ForgetError();
  EXPECT_FALSE(FilesPort().CreateDirectoryW(path.c_str()));
  EXPECT_EQ(LastError(), 206u);
}

TEST_F(DeletedFile, IsGone) {
  WriteText(folder_ / u"file", "x");
  EXPECT_TRUE(FilesPort().DeleteFileW((folder_ / u"file").c_str()));
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericRead, kOpenExisting), kErrorFileNotFound);
}

TEST_F(DeletedFile, AMissingOneAnswers2OneInAMissingFolder3AndAFolder5) {
  ForgetError();
  EXPECT_FALSE(FilesPort().DeleteFileW((folder_ / u"none").c_str()));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
  ForgetError();
  EXPECT_FALSE(FilesPort().DeleteFileW((folder_ / u"none\\none").c_str()));
  EXPECT_EQ(LastError(), kErrorPathNotFound);
  ForgetError();
  EXPECT_FALSE(FilesPort().DeleteFileW(folder_.path().c_str()));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
}

TEST_F(CopiedFile, HasTheContentTheAttributesAndTheWriteTime) {
  WriteText(folder_ / u"from", "content");
  const FILETIME written = ToFileTime(130000000000000000);
  const HANDLE file = OpenFile(folder_ / u"from", kGenericWrite, 0);
  EXPECT_TRUE(FilesPort().SetFileTime(file, nullptr, nullptr, &written));
  CloseFile(file);
  FilesPort().SetFileAttributesW((folder_ / u"from").c_str(), kFileAttributeReadonly);
  EXPECT_TRUE(FilesPort().CopyFileW((folder_ / u"from").c_str(), (folder_ / u"to").c_str(), true));
  EXPECT_EQ(ReadText(folder_ / u"to"), "content");
  EXPECT_EQ(Attributes(folder_ / u"to") & kFileAttributeReadonly, kFileAttributeReadonly);
  FILETIME copied{};
  const HANDLE copy = OpenFile(folder_ / u"to", kGenericRead, kShareAll);
  EXPECT_TRUE(FilesPort().GetFileTime(copy, nullptr, nullptr, &copied));
  EXPECT_EQ(ToUint64(copied), ToUint64(written));
  CloseFile(copy);
  for (const char16_t* name : {u"from", u"to"}) {
    FilesPort().SetFileAttributesW((folder_ / name).c_str(), kFileAttributeNormal);
  }
}

TEST_F(CopiedFile, APresentTargetIsKeptOrReplacedAsAsked) {
  WriteText(folder_ / u"from", "new");
  WriteText(folder_ / u"to", "old and longer");
  ForgetError();
  EXPECT_FALSE(FilesPort().CopyFileW((folder_ / u"from").c_str(), (folder_ / u"to").c_str(), true));
  EXPECT_EQ(LastError(), kErrorFileExists);
  EXPECT_EQ(ReadText(folder_ / u"to"), "old and longer");
  EXPECT_TRUE(FilesPort().CopyFileW((folder_ / u"from").c_str(), (folder_ / u"to").c_str(), false));
  EXPECT_EQ(ReadText(folder_ / u"to"), "new");
}

TEST_F(CopiedFile, AMissingSourceAnswers2AndAMissingTargetFolder3) {
  WriteText(folder_ / u"from", "x");
  ForgetError();
  EXPECT_FALSE(FilesPort().CopyFileW((folder_ / u"none").c_str(), (folder_ / u"to").c_str(), false));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
  ForgetError();
  EXPECT_FALSE(FilesPort().CopyFileW((folder_ / u"from").c_str(), (folder_ / u"none\\to").c_str(), false));
  EXPECT_EQ(LastError(), kErrorPathNotFound);
}

TEST_F(CopiedFile, AReadOnlyTargetIsNotReplaced) {
  WriteText(folder_ / u"from", "new");
  WriteText(folder_ / u"to", "old");
  FilesPort().SetFileAttributesW((folder_ / u"to").c_str(), kFileAttributeReadonly);
  ForgetError();
  EXPECT_FALSE(FilesPort().CopyFileW((folder_ / u"from").c_str(), (folder_ / u"to").c_str(), false));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  EXPECT_EQ(ReadText(folder_ / u"to"), "old");
  FilesPort().SetFileAttributesW((folder_ / u"to").c_str(), kFileAttributeNormal);
}

TEST_F(MovedFile, HasTheNewNameAndNotTheOld) {
  WriteText(folder_ / u"from", "content");
  EXPECT_TRUE(FilesPort().MoveFileExW((folder_ / u"from").c_str(), (folder_ / u"to").c_str(), 0));
  EXPECT_EQ(ReadText(folder_ / u"to"), "content");
  EXPECT_FALSE(FilesPort().PathFileExistsW((folder_ / u"from").c_str()));
}

TEST_F(MovedFile, APresentTargetAnswers183UnlessItMayBeReplaced) {
  WriteText(folder_ / u"from", "new");
  WriteText(folder_ / u"to", "old");
  ForgetError();
  EXPECT_FALSE(FilesPort().MoveFileExW((folder_ / u"from").c_str(), (folder_ / u"to").c_str(), 0));
  EXPECT_EQ(LastError(), kErrorAlreadyExists);
  EXPECT_TRUE(
      FilesPort().MoveFileExW((folder_ / u"from").c_str(), (folder_ / u"to").c_str(), kMoveFileReplaceExisting));
  EXPECT_EQ(ReadText(folder_ / u"to"), "new");
}

TEST_F(MovedFile, AMissingSourceAnswers2) {
  ForgetError();
  EXPECT_FALSE(FilesPort().MoveFileExW((folder_ / u"none").c_str(), (folder_ / u"to").c_str(), 0));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
}

TEST_F(MovedFile, AFolderMovesWithAllThatIsInIt) {
  EXPECT_EQ(FilesPort().CreateFolders((folder_ / u"a\\b").c_str()), kErrorSuccess);
  WriteText(folder_ / u"a\\b\\file", "x");
  EXPECT_TRUE(FilesPort().MoveFileExW((folder_ / u"a").c_str(), (folder_ / u"c").c_str(), 0));
  EXPECT_EQ(ReadText(folder_ / u"c\\b\\file"), "x");
}

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

TEST_F(OpenedFile, ANarrowStreamWritesReadsAndAppends) {
  const std::u16string wide = folder_ / u"file";
  const std::string narrow(wide.begin(), wide.end());
  std::FILE* stream = FilesPort().OpenNarrow(narrow.c_str(), "wb");
  ASSERT_NE(stream, nullptr);
  EXPECT_GE(std::fputs("one", stream), 0);
  EXPECT_EQ(std::fclose(stream), 0);
  stream = FilesPort().OpenNarrow(narrow.c_str(), "ab");
  ASSERT_NE(stream, nullptr);
  EXPECT_GE(std::fputs(" two", stream), 0);
  EXPECT_EQ(std::fclose(stream), 0);
  stream = FilesPort().OpenNarrow(narrow.c_str(), "rb");
  ASSERT_NE(stream, nullptr);
  char buffer[16] = {};
  EXPECT_EQ(std::fseek(stream, 0, SEEK_END), 0);
  EXPECT_EQ(std::ftell(stream), 7);
  EXPECT_EQ(std::fseek(stream, 1, SEEK_SET), 0);
  EXPECT_EQ(std::fread(buffer, 1, sizeof buffer, stream), 6u);
  EXPECT_EQ(std::string(buffer), "ne two");
  EXPECT_EQ(std::fclose(stream), 0);
}

TEST_F(OpenedFile, ANarrowStreamOnAMissingFileIsNone) {
  const std::u16string wide = folder_ / u"none";
  const std::string narrow(wide.begin(), wide.end());
  EXPECT_EQ(FilesPort().OpenNarrow(narrow.c_str(), "rb"), nullptr);
}

}  // namespace
}  // namespace varnel::platform

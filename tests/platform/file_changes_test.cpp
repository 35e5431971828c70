// Files and folders made, deleted, copied and moved by name, and their attributes.
#include "platform/files.h"

#include <gtest/gtest.h>

#include <string>

#include "temp_folder.h"

namespace varnel::platform {
namespace {

using FileAttributes = FileTest;
using Folders = FileTest;
using DeletedFile = FileTest;
using CopiedFile = FileTest;
using MovedFile = FileTest;

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

}  // namespace
}  // namespace varnel::platform

// What an open file lets others do.
#include <gtest/gtest.h>

#include <string>

#include "temp_folder.h"

namespace varnel::platform {
namespace {

constexpr std::uint32_t kDeleteAccess = 0x10000;

class Sharing : public ::testing::Test {
 protected:
  void SetUp() override { WriteText(file_, "content"); }

  /// 0, or what a second open answers while a first one stands.
  std::uint32_t SecondOpen(std::uint32_t access, std::uint32_t share_mode) {
    ForgetError();
    const HANDLE file = OpenFile(file_, access, share_mode);
    if (file == kInvalidHandleValue) return LastError();
    CloseFile(file);
    return kErrorSuccess;
  }

  TempFolder folder_;
  const std::u16string file_ = folder_ / u"file";
};

bool Allows(std::uint32_t share, std::uint32_t access) {
  return ((access & kGenericRead) == 0 || (share & kFileShareRead) != 0) &&
         ((access & kGenericWrite) == 0 || (share & kFileShareWrite) != 0) &&
         ((access & kDeleteAccess) == 0 || (share & kFileShareDelete) != 0);
}

TEST_F(Sharing, EachPairOfAccessAndShareModesGoesTogetherOrAnswers32) {
  const std::uint32_t accesses[] = {kGenericRead, kGenericWrite, kDeleteAccess, kGenericRead | kGenericWrite,
                                    kGenericRead | kDeleteAccess};
  for (const std::uint32_t first_access : accesses) {
    for (std::uint32_t first_share = 0; first_share <= kShareAll; ++first_share) {
      const HANDLE first = OpenFile(file_, first_access, first_share);
      ASSERT_NE(first, kInvalidHandleValue);
      for (const std::uint32_t access : accesses) {
        for (std::uint32_t share = 0; share <= kShareAll; ++share) {
          const bool good = Allows(first_share, access) && Allows(share, first_access);
          EXPECT_EQ(SecondOpen(access, share), good ? kErrorSuccess : kErrorSharingViolation)
              << std::hex << first_access << ' ' << first_share << " then " << access << ' ' << share;
        }
      }
      CloseFile(first);
    }
  }
}

TEST_F(Sharing, EndsWithTheHandle) {
  const HANDLE file = OpenFile(file_, kGenericRead, 0);
  EXPECT_EQ(SecondOpen(kGenericRead, kShareAll), kErrorSharingViolation);
  CloseFile(file);
  EXPECT_EQ(SecondOpen(kGenericRead, 0), kErrorSuccess);
}

TEST_F(Sharing, AThirdOpenIsJudgedAgainstBothThatStand) {
  const HANDLE reader = OpenFile(file_, kGenericRead, kFileShareRead | kFileShareWrite);
  const HANDLE writer = OpenFile(file_, kGenericWrite, kFileShareRead);
  EXPECT_EQ(SecondOpen(kGenericRead, kFileShareRead | kFileShareWrite), kErrorSuccess);
  EXPECT_EQ(SecondOpen(kGenericRead, kFileShareRead), kErrorSharingViolation);
  EXPECT_EQ(SecondOpen(kGenericWrite, kShareAll), kErrorSharingViolation);
  CloseFile(writer);
  EXPECT_EQ(SecondOpen(kGenericWrite, kShareAll), kErrorSuccess);
  CloseFile(reader);
}

TEST_F(Sharing, AFileInUseIsNotDeleted) {
  const HANDLE file = OpenFile(file_, kGenericRead, kFileShareRead | kFileShareWrite);
  ForgetError();
  EXPECT_FALSE(FilesPort().DeleteFileW(file_.c_str()));
  EXPECT_EQ(LastError(), kErrorSharingViolation);
  CloseFile(file);
  EXPECT_TRUE(FilesPort().DeleteFileW(file_.c_str()));
}

TEST_F(Sharing, AFileWhoseUserSharesDeletingIsDeleted) {
  const HANDLE file = OpenFile(file_, kGenericRead, kShareAll);
  EXPECT_TRUE(FilesPort().DeleteFileW(file_.c_str()));
  char buffer[16] = {};
  std::uint32_t read = 0;
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, sizeof buffer, &read, nullptr));
  EXPECT_EQ(std::string(buffer, read), "content");
  CloseFile(file);
  EXPECT_FALSE(FilesPort().PathFileExistsW(file_.c_str()));
}

TEST_F(Sharing, AFileInUseIsNotMoved) {
  const HANDLE file = OpenFile(file_, kGenericRead, kFileShareRead);
  ForgetError();
  EXPECT_FALSE(FilesPort().MoveFileExW(file_.c_str(), (folder_ / u"to").c_str(), 0));
  EXPECT_EQ(LastError(), kErrorSharingViolation);
  CloseFile(file);
}

TEST_F(Sharing, AFileInUseIsNotReplacedByAMoveOrACopy) {
  WriteText(folder_ / u"from", "new");
  const HANDLE file = OpenFile(file_, kGenericRead, kFileShareRead);
  ForgetError();
  EXPECT_FALSE(FilesPort().MoveFileExW((folder_ / u"from").c_str(), file_.c_str(), kMoveFileReplaceExisting));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  ForgetError();
  EXPECT_FALSE(FilesPort().CopyFileW((folder_ / u"from").c_str(), file_.c_str(), false));
  EXPECT_EQ(LastError(), kErrorSharingViolation);
  CloseFile(file);
  EXPECT_EQ(ReadText(file_), "content");
}

TEST_F(Sharing, AFolderWithAFileInUseIsNotRemoved) {
  EXPECT_TRUE(FilesPort().CreateDirectoryW((folder_ / u"sub").c_str()));
  const HANDLE file = OpenFile(folder_ / u"sub\\file", kGenericWrite, 0, kCreateNew);
  EXPECT_EQ(FilesPort().RemoveFolders((folder_ / u"sub").c_str()), kErrorSharingViolation);
  CloseFile(file);
  EXPECT_EQ(FilesPort().RemoveFolders((folder_ / u"sub").c_str()), kErrorSuccess);
}

TEST_F(Sharing, AFileMadeWithoutSharingIsItsMakersUntilItIsClosed) {
  const HANDLE file = OpenFile(folder_ / u"new", kGenericWrite, 0, kCreateNew);
  ForgetError();
  EXPECT_EQ(OpenFile(folder_ / u"new", kGenericRead, kShareAll), kInvalidHandleValue);
  EXPECT_EQ(LastError(), kErrorSharingViolation);
  CloseFile(file);
}

TEST_F(Sharing, AnOpenForNothingButAttributesDeniesAndIsDeniedNothing) {
  const HANDLE file = OpenFile(file_, kGenericRead | kGenericWrite, 0);
  EXPECT_EQ(SecondOpen(0, 0), kErrorSuccess);
  EXPECT_EQ(FilesPort().GetFileAttributesW(file_.c_str()), kFileAttributeArchive);
  CloseFile(file);
  const HANDLE looker = OpenFile(file_, 0, 0);
  EXPECT_EQ(SecondOpen(kGenericRead | kGenericWrite, 0), kErrorSuccess);
  CloseFile(looker);
}

TEST_F(Sharing, EmptyingAFileCountsAsWriting) {
  const HANDLE file = OpenFile(file_, kGenericRead, kFileShareRead);
  ForgetError();
  EXPECT_EQ(OpenFile(file_, kGenericRead, kShareAll, kCreateAlways), kInvalidHandleValue);
  EXPECT_EQ(LastError(), kErrorSharingViolation);
  CloseFile(file);
  EXPECT_EQ(ReadText(file_), "content");
}

}  // namespace
}  // namespace varnel::platform

#include "platform/embedded/files/file_opener.h"

#include <sys/stat.h>

#include "helper_process.h"
#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

using platform::kErrorSharingViolation;
using platform::kErrorSuccess;
using platform::kGenericRead;
using platform::kGenericWrite;

class OpeningFiles : public MachineFixture {
 protected:
  void UseElsewhere(const std::string& below) {
    struct stat status {};
    ASSERT_EQ(::stat(Host(below).c_str(), &status), 0);
    files_->set_in_use_elsewhere(
        [device = status.st_dev, inode = status.st_ino](dev_t a, ino_t b) { return a == device && b == inode; });
  }
};

TEST_F(OpeningFiles, AFileInUseElsewhereIsReadByWhoSharesWritingAndByNobodyElse) {
  MakeFile("trace.etl");
  MakeFile("other.etl");
  UseElsewhere("trace.etl");
  EXPECT_EQ(OpenError(u"C:\\trace.etl", kGenericRead, kShareAll), kErrorSuccess);
  EXPECT_EQ(OpenError(u"C:\\trace.etl", kGenericRead, platform::kFileShareRead), kErrorSharingViolation);
  EXPECT_EQ(OpenError(u"C:\\trace.etl", kGenericWrite, kShareAll), kErrorSharingViolation);
  EXPECT_EQ(OpenError(u"C:\\other.etl", kGenericWrite, 0), kErrorSuccess);
}

TEST_F(OpeningFiles, AFileInUseElsewhereIsNeitherDeletedNorMovedNorReplaced) {
  MakeFile("trace.etl");
  MakeFile("other");
  UseElsewhere("trace.etl");
  EXPECT_FALSE(files_->DeleteFileW(u"C:\\trace.etl"));
  EXPECT_EQ(LastError(), kErrorSharingViolation);
  EXPECT_FALSE(files_->MoveFileExW(u"C:\\trace.etl", u"C:\\moved", 0));
  EXPECT_EQ(LastError(), kErrorSharingViolation);
  EXPECT_FALSE(files_->MoveFileExW(u"C:\\other", u"C:\\trace.etl", platform::kMoveFileReplaceExisting));
  EXPECT_EQ(LastError(), platform::kErrorAccessDenied);
}

TEST_F(OpeningFiles, AFileInUseElsewhereCanBeCopied) {
  MakeFile("trace.etl", "events");
  UseElsewhere("trace.etl");
  EXPECT_TRUE(files_->CopyFileW(u"C:\\trace.etl", u"C:\\copy.etl", true));
  EXPECT_EQ(ReadHost("copy.etl"), "events");
}

TEST_F(OpeningFiles, WhatIsNoPlainFileAnswers5) {
  ASSERT_EQ(::mkfifo(Host("pipe").c_str(), 0666), 0);
  EXPECT_EQ(OpenError(u"C:\\pipe", kGenericRead, kShareAll), platform::kErrorAccessDenied);
}

TEST_F(OpeningFiles, ASeparatorBehindAFilesNameAnswers123) {
  MakeFile("file");
  EXPECT_EQ(OpenError(u"C:\\file\\", kGenericRead, kShareAll), platform::kErrorInvalidName);
  EXPECT_EQ(OpenError(u"C:\\new\\", kGenericWrite, 0, platform::kCreateNew), platform::kErrorInvalidName);
}

TEST_F(OpeningFiles, ReservedNamesAnswer123) {
  EXPECT_EQ(OpenError(u"C:\\NUL", kGenericWrite, 0, platform::kCreateAlways), platform::kErrorInvalidName);
  EXPECT_EQ(OpenError(u"C:\\com1.txt", kGenericWrite, 0, platform::kCreateAlways), platform::kErrorInvalidName);
}

TEST_F(OpeningFiles, ANameThatIsTooLongForTheHostAnswers206WhenItIsMade) {
  const std::u16string path = u"C:\\" + std::u16string(200, u'\u4E00');
  EXPECT_EQ(OpenError(path.c_str(), kGenericWrite, 0, platform::kCreateAlways), 206u);
}

TEST_F(OpeningFiles, AKilledProcessLeavesNoSharingBehind) {
  MakeFile("file");
  HelperProcess helper(machine_->root(), {"hold", "C:\\file", "c0000000", "0"});
  ASSERT_TRUE(helper.ready());
  EXPECT_EQ(OpenError(u"C:\\file", kGenericRead, kShareAll), kErrorSharingViolation);
  helper.Kill();
  EXPECT_EQ(OpenError(u"C:\\file", kGenericRead | kGenericWrite, 0), kErrorSuccess);
}

TEST_F(OpeningFiles, EveryPairOfProcessesSharesOrNotAsTwoHandlesDo) {
  MakeFile("file");
  const struct {
    const char* access;
    const char* share;
    std::uint32_t reader;  // what a reader that shares reading alone is answered
    std::uint32_t writer;  // what a writer that shares everything is answered
  } rows[] = {
      {"80000000", "0", kErrorSharingViolation, kErrorSharingViolation},
      {"80000000", "1", kErrorSuccess, kErrorSharingViolation},
      {"80000000", "3", kErrorSuccess, kErrorSuccess},
      {"40000000", "3", kErrorSharingViolation, kErrorSuccess},
      {"c0000000", "7", kErrorSharingViolation, kErrorSuccess},
  };
  for (const auto& row : rows) {
    HelperProcess helper(machine_->root(), {"hold", "C:\\file", row.access, row.share});
    ASSERT_TRUE(helper.ready());
    EXPECT_EQ(OpenError(u"C:\\file", kGenericRead, platform::kFileShareRead), row.reader) << row.access << row.share;
    EXPECT_EQ(OpenError(u"C:\\file", kGenericWrite, kShareAll), row.writer) << row.access << row.share;
  }
}

TEST(OpeningFilesWithoutAMachine, AnswersThatNoPathIsThere) {
  Environment environment;
  EmbeddedFiles files(nullptr, &environment);
  SetLastError(0);
  EXPECT_EQ(files.CreateFileW(u"C:\\file", kGenericRead, 0, platform::kOpenAlways, 0), platform::kInvalidHandleValue);
  EXPECT_EQ(LastError(), platform::kErrorPathNotFound);
  EXPECT_FALSE(files.PathFileExistsW(u"C:\\"));
  EXPECT_FALSE(files.MoveFileExW(u"C:\\file", nullptr, platform::kMoveFileDelayUntilReboot));
  EXPECT_EQ(files.CreateFolders(u"C:\\a"), platform::kErrorPathNotFound);
  EXPECT_EQ(files.RemoveFolders(u"C:\\a"), kErrorSuccess);
}

}  // namespace
}  // namespace varnel::embedded

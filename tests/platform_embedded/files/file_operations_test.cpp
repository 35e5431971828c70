#include "platform/embedded/files/file_operations.h"

#include "helper_process.h"
#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

using platform::kErrorAccessDenied;
using platform::kErrorSuccess;

class FileOperations : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    opener_ = std::make_unique<FileOpener>(machine_);
  }
  std::vector<std::string> Pending() {
    auto lines = machine_->PendingDeletes();
    EXPECT_TRUE(lines.ok());
    return lines.value();
  }

  std::unique_ptr<FileOpener> opener_;
};

TEST_F(FileOperations, ADeletionAtTheNextBootIsKeptWithTheFullPathInUtf8) {
  MakeFile("\xC3\xA4.txt");
  EXPECT_TRUE(files_->MoveFileExW(u"c:/x/../\u00E4.txt", nullptr, platform::kMoveFileDelayUntilReboot));
  EXPECT_EQ(Pending(), (std::vector<std::string>{"C:\\\xC3\xA4.txt"}));
  EXPECT_TRUE(std::filesystem::exists(Host("\xC3\xA4.txt")));
}

TEST_F(FileOperations, ADeletionAtTheNextBootIsKeptAsOftenAsItIsAskedFor) {
  MakeFile("file");
  EXPECT_EQ(DeleteAtNextBoot(*opener_, u"C:\\file"), kErrorSuccess);
  EXPECT_EQ(DeleteAtNextBoot(*opener_, u"C:\\file"), kErrorSuccess);
  EXPECT_EQ(Pending().size(), 2u);
}

TEST_F(FileOperations, AMissingFileCantBeDeletedAtTheNextBoot) {
  EXPECT_EQ(DeleteAtNextBoot(*opener_, u"C:\\none"), platform::kErrorFileNotFound);
  EXPECT_TRUE(Pending().empty());
}

TEST_F(FileOperations, AMoveAtTheNextBootIsNotSupported) {
  MakeFile("file");
  EXPECT_FALSE(files_->MoveFileExW(u"C:\\file", u"C:\\to", platform::kMoveFileDelayUntilReboot));
  EXPECT_EQ(LastError(), platform::kErrorNotSupported);
}

TEST_F(FileOperations, AMoveChangesTheCaseOfAName) {
  MakeFile("file");
  EXPECT_EQ(Move(*opener_, u"C:\\file", u"C:\\FILE", 0), kErrorSuccess);
  EXPECT_TRUE(std::filesystem::exists(Host("FILE")));
  EXPECT_FALSE(std::filesystem::exists(Host("file")));
}

TEST_F(FileOperations, AMoveToAnotherDriveNeedsTheFlagThatAllowsACopy) {
  std::filesystem::create_directory(machine_->DrivePath('D'));
  MakeFile("file", "content");
  EXPECT_EQ(Move(*opener_, u"C:\\file", u"D:\\file", 0), 17u);
  EXPECT_EQ(Move(*opener_, u"C:\\file", u"D:\\file", 2), kErrorSuccess);
  EXPECT_FALSE(std::filesystem::exists(Host("file")));
  EXPECT_TRUE(std::filesystem::exists(machine_->DrivePath('D') + "/file"));
}

TEST_F(FileOperations, AFolderInWhichAnotherProcessHasAFileOpenIsNotMoved) {
  MakeFolder("folder/deep");
  MakeFile("folder/deep/file");
  HelperProcess helper(machine_->root(), {"hold", "C:\\folder\\deep\\file", "80000000", "3"});
  ASSERT_TRUE(helper.ready());
  EXPECT_EQ(Move(*opener_, u"C:\\folder", u"C:\\moved", 0), kErrorAccessDenied);
  helper.Kill();
  EXPECT_EQ(Move(*opener_, u"C:\\folder", u"C:\\moved", 0), kErrorSuccess);
}

TEST_F(FileOperations, ARootIsNeitherMadeNorRemovedNorMoved) {
  EXPECT_EQ(embedded::MakeFolder(*opener_, u"C:\\"), kErrorAccessDenied);
  EXPECT_EQ(RemoveFolder(*opener_, u"C:\\"), kErrorAccessDenied);
  EXPECT_EQ(Move(*opener_, u"C:\\", u"C:\\x", 0), kErrorAccessDenied);
}

TEST_F(FileOperations, AFolderThatHoldsAHostFileWhichTheMachineDoesNotShowIsNotEmpty) {
  MakeFolder("folder");
  MakeFile("folder/a:b");
  EXPECT_EQ(RemoveFolder(*opener_, u"C:\\folder"), platform::kErrorDirNotEmpty);
  EXPECT_EQ(RemoveTree(*opener_, u"C:\\folder"), platform::kErrorDirNotEmpty);
}

TEST_F(FileOperations, ATreeWithAReadOnlyFileStaysFromThereOn) {
  MakeFolder("folder");
  MakeFile("folder/b");
  MakeFile("folder/a");
  ASSERT_TRUE(files_->SetFileAttributesW(u"C:\\folder\\b", platform::kFileAttributeReadonly));
  EXPECT_EQ(RemoveTree(*opener_, u"C:\\folder"), kErrorAccessDenied);
  EXPECT_FALSE(std::filesystem::exists(Host("folder/a")));
  EXPECT_TRUE(std::filesystem::exists(Host("folder/b")));
}

TEST_F(FileOperations, ATreeThatIsAFileAnswers267) {
  MakeFile("file");
  EXPECT_EQ(RemoveTree(*opener_, u"C:\\file"), platform::kErrorDirectory);
}

TEST_F(FileOperations, DeletingThroughALinkOutOfTheDriveTouchesNothing) {
  std::ofstream(folder_ + "/secret") << "x";
  std::filesystem::create_symlink(folder_ + "/secret", Host("out"));
  EXPECT_EQ(DeleteOneFile(*opener_, u"C:\\out"), kErrorAccessDenied);
  EXPECT_TRUE(std::filesystem::exists(folder_ + "/secret"));
}

TEST_F(FileOperations, MakingATreeThatIsThereInAnotherCaseAddsNothing) {
  EXPECT_EQ(MakeFolders(*opener_, u"C:\\WINDOWS\\SYSTEM32\\New"), kErrorSuccess);
  EXPECT_TRUE(std::filesystem::exists(Host("Windows/System32/New")));
}

}  // namespace
}  // namespace varnel::embedded

#include "tool/boot_marker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tool/tool_fixture.h"

namespace varnel {
namespace {

using ::testing::ElementsAre;
using testing::kMarker;

class BootMarkerTest : public testing::ToolTest {
 protected:
  std::uint32_t Check() { return CheckThisBootHasExecute(&has_execute_); }
  std::uint32_t has_execute_ = 77;
};

TEST_F(BootMarkerTest, TheFirstCallOfABootMakesTheMarkerAndReads0) {
  EXPECT_EQ(Check(), 0u);
  EXPECT_EQ(has_execute_, 0u);
  EXPECT_TRUE(platform_.files.Exists(kMarker));
  EXPECT_EQ(platform_.files.Contents(kMarker), "");
  EXPECT_THAT(platform_.files.PendingDeletes(), ElementsAre(kMarker));
  EXPECT_EQ(platform_.files.open_files(), 0u);
}

TEST_F(BootMarkerTest, ALaterCallReads1AndAsksForTheDeletionOnceMore) {
  EXPECT_EQ(Check(), 0u);
  EXPECT_EQ(Check(), 0u);
  EXPECT_EQ(has_execute_, 1u);
  EXPECT_EQ(faults_.CountOf("MoveFileExW"), 2u);
  EXPECT_EQ(faults_.CountOf("CreateFileW"), 1u);
}

TEST_F(BootMarkerTest, AMarkerThatIsAFolderCountsToo) {
  platform_.files.AddFolder(kMarker);
  EXPECT_EQ(Check(), 0u);
  EXPECT_EQ(has_execute_, 1u);
}

TEST_F(BootMarkerTest, NullGives87) {
  EXPECT_EQ(CheckThisBootHasExecute(nullptr), 87u);
}

TEST_F(BootMarkerTest, TheMarkerStandsOnTheSystemDrive) {
  platform_.system.system_directory = u"D:\\Windows\\System32";
  platform_.files.AddFolder(u"D:\\ProgramData");
  EXPECT_EQ(Check(), 0u);
  EXPECT_EQ(has_execute_, 0u);
  const std::u16string marker = u"D" + std::u16string(kMarker).substr(1);
  EXPECT_TRUE(platform_.files.Exists(marker));
  EXPECT_THAT(platform_.files.PendingDeletes(), ElementsAre(marker));
  EXPECT_FALSE(platform_.files.Exists(kMarker));
  EXPECT_EQ(Check(), 0u);
  EXPECT_EQ(has_execute_, 1u);
}

TEST_F(BootMarkerTest, WithoutASystemDirectoryTheDriveIsC) {
  platform_.system.system_directory = u"D:\\Windows\\System32";
  faults_.Fail("GetSystemDirectoryW", 5);
  EXPECT_EQ(Check(), 0u);
  EXPECT_TRUE(platform_.files.Exists(kMarker));
}

TEST_F(BootMarkerTest, AMarkerThatCantBeCreatedGivesTheLastErrorAndReads0) {
  faults_.Fail("CreateFileW", 5);
  EXPECT_EQ(Check(), 5u);
  EXPECT_EQ(has_execute_, 0u);
  EXPECT_EQ(faults_.CountOf("MoveFileExW"), 0u);
}

TEST_F(BootMarkerTest, FoldersAreMadeOneByOneAndTheirFailuresNotLookedAt) {
  faults_.FailForEver("CreateDirectoryW", 5);
  EXPECT_EQ(Check(), 3u) << "the folder is not there, so the file can't be";
  EXPECT_EQ(faults_.CountOf("CreateDirectoryW"), 4u);
}

TEST_F(BootMarkerTest, AFailedRequestForDeletionIsNotLookedAt) {
  faults_.FailForEver("MoveFileExW", 5);
  EXPECT_EQ(Check(), 0u);
  EXPECT_EQ(Check(), 0u);
  EXPECT_EQ(has_execute_, 1u);
}

}  // namespace
}  // namespace varnel

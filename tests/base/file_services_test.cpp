#include "base/file_services.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::FaultPlan;
using testing::FaultyPlatform;
using testing::ScriptedPlatform;

class FileServices : public ::testing::Test {
 protected:
  FileServices() { WrapLogInit(LOG_ERROR, nullptr); }
  ~FileServices() override { WrapLogClose(); }

  std::uint32_t Compare() { return CompareFileInDirs(u"C:\\From", u"C:\\To", u"symsrv.dll", &exists, &same); }

  ScriptedPlatform machine;
  std::uint32_t exists = 99;
  std::uint32_t same = 99;
};

TEST_F(FileServices, EqualFilesAreTheSame) {
  machine.files.AddFile(u"C:\\From\\symsrv.dll", "library");
  machine.files.AddFile(u"C:\\To\\symsrv.dll", "library");
  EXPECT_EQ(Compare(), 0u);
  EXPECT_EQ(exists, 1u);
  EXPECT_EQ(same, 1u);
}

TEST_F(FileServices, OtherBytesAreNotTheSame) {
  machine.files.AddFile(u"C:\\From\\symsrv.dll", "library");
  machine.files.AddFile(u"C:\\To\\symsrv.dll", "liberty");
  EXPECT_EQ(Compare(), 0u);
  EXPECT_EQ(exists, 1u);
  EXPECT_EQ(same, 0u);
}

TEST_F(FileServices, AFileAbsentFromTheTargetIsNoFailureAndNeitherIsRead) {
  FaultPlan plan;
  const FaultyPlatform watched(machine.ports, &plan);
  EXPECT_EQ(Compare(), 0u) << "the source is missing too, and nobody notices";
  EXPECT_EQ(exists, 0u);
  EXPECT_EQ(same, 0u);
  EXPECT_EQ(plan.CountOf("CreateFileW"), 0u);
}

TEST_F(FileServices, ASourceThatCannotBeReadFailsTheComparison) {
  machine.files.AddFile(u"C:\\To\\symsrv.dll", "library");
  EXPECT_EQ(Compare(), kStatusUnsuccessful);
  EXPECT_EQ(exists, 1u);
  EXPECT_EQ(same, 0u);
}

TEST_F(FileServices, ATargetThatCannotBeReadFailsTheComparison) {
  machine.files.AddFile(u"C:\\From\\symsrv.dll", "library");
  machine.files.AddFile(u"C:\\To\\symsrv.dll", "library");
  FaultPlan plan;
  plan.Fail({"CreateFileW", 2, false, 32});
  const FaultyPlatform faulty(machine.ports, &plan);
  EXPECT_EQ(Compare(), kStatusUnsuccessful);
  EXPECT_EQ(exists, 1u);
  EXPECT_EQ(same, 0u);
}

TEST_F(FileServices, CopiesAFileBetweenTwoFolders) {
  machine.files.AddFile(u"C:\\From\\a.dll", "new");
  machine.files.AddFile(u"C:\\To\\a.dll", "old");
  EXPECT_EQ(WrapCopyFile(u"C:\\From", u"C:\\To", u"a.dll", 0), 0u);
  EXPECT_EQ(machine.files.Contents(u"C:\\To\\a.dll"), "new");
}

TEST_F(FileServices, ACopyMayFailBecauseTheTargetExists) {
  machine.files.AddFile(u"C:\\From\\a.dll", "new");
  machine.files.AddFile(u"C:\\To\\a.dll", "old");
  EXPECT_EQ(WrapCopyFile(u"C:\\From", u"C:\\To\\", u"a.dll", 1), kStatusFail);
  EXPECT_EQ(machine.files.Contents(u"C:\\To\\a.dll"), "old");
  EXPECT_TRUE(machine.system.Logged("WrapCopyFile(C:\\From\\a.dll) -> (C:\\To\\a.dll) failed(80)!\r\n"));
}

struct Walk {
  std::vector<std::u16string> seen;
  std::size_t stop_after = 1000;
  std::uint32_t stop_result = 0;
};

std::uint32_t OnFile(const char16_t* path, void* context) {
  auto* const walk = static_cast<Walk*>(context);
  walk->seen.emplace_back(path);
  return walk->seen.size() >= walk->stop_after ? walk->stop_result : 0;
}

TEST_F(FileServices, AWalkSeesFilesOfOneFolderAndNoFolders) {
  machine.files.AddFile(u"C:\\Logs\\b.etl");
  machine.files.AddFile(u"C:\\Logs\\a.etl");
  machine.files.AddFile(u"C:\\Logs\\Sub\\c.etl");
  Walk walk;
  EXPECT_EQ(EnumTargetDirFile(u"C:\\Logs", &OnFile, &walk), 0u);
  EXPECT_EQ(walk.seen, (std::vector<std::u16string>{u"C:\\Logs\\a.etl", u"C:\\Logs\\b.etl"}));
}

TEST_F(FileServices, AFolderThatEndsInABackslashGetsNoSecondOne) {
  machine.files.AddFile(u"C:\\Logs\\a.etl");
  Walk walk;
  EXPECT_EQ(EnumTargetDirFile(u"C:\\Logs\\", &OnFile, &walk), 0u);
  EXPECT_EQ(walk.seen, (std::vector<std::u16string>{u"C:\\Logs\\a.etl"}));
}

TEST_F(FileServices, AWalkOverAFolderWithoutFilesIsGood) {
  machine.files.AddFolder(u"C:\\Logs");
  Walk walk;
  EXPECT_EQ(EnumTargetDirFile(u"C:\\Logs", &OnFile, &walk), 0u);
  EXPECT_TRUE(walk.seen.empty());
}

TEST_F(FileServices, ACallbacksResultEndsTheWalkAndIsItsResult) {
  machine.files.AddFile(u"C:\\Logs\\a.etl");
  machine.files.AddFile(u"C:\\Logs\\b.etl");
  Walk walk;
  walk.stop_after = 1;
  walk.stop_result = 1234;
  EXPECT_EQ(EnumTargetDirFile(u"C:\\Logs", &OnFile, &walk), 1234u);
  EXPECT_EQ(walk.seen.size(), 1u);
  EXPECT_EQ(machine.handles.open_count(), 0u) << "the find is closed";
}

TEST_F(FileServices, AFolderThatIsNotThereGivesTheErrorOfTheFind) {
  Walk walk;
  EXPECT_EQ(EnumTargetDirFile(u"C:\\Nowhere", &OnFile, &walk), platform::kErrorPathNotFound);
}

TEST_F(FileServices, AWalkThatBreaksOffGivesItsError) {
  machine.files.AddFile(u"C:\\Logs\\a.etl");
  FaultPlan plan;
  plan.Fail("FindNextFileW", 1006);
  const FaultyPlatform faulty(machine.ports, &plan);
  Walk walk;
  EXPECT_EQ(EnumTargetDirFile(u"C:\\Logs", &OnFile, &walk), 1006u);
  EXPECT_EQ(machine.handles.open_count(), 0u);
}

TEST_F(FileServices, AWalkNeedsAFolderAndACallback) {
  Walk walk;
  EXPECT_EQ(EnumTargetDirFile(nullptr, &OnFile, &walk), 87u);
  EXPECT_EQ(EnumTargetDirFile(u"C:\\Logs", nullptr, &walk), 87u);
  EXPECT_EQ(EnumTargetDirFile(u"", &OnFile, &walk), 87u);
}

TEST_F(FileServices, AFolderNameOf256CharactersIsAcceptedAndOneOf257IsNot) {
  const std::u16string longest = u"C:\\" + std::u16string(253, u'd');
  machine.files.AddFile(longest + u"\\a.etl");
  Walk walk;
  EXPECT_EQ(EnumTargetDirFile(longest.c_str(), &OnFile, &walk), 0u);
  EXPECT_EQ(walk.seen, (std::vector<std::u16string>{longest + u"\\a.etl"}));
  EXPECT_EQ(EnumTargetDirFile((longest + u"d").c_str(), &OnFile, &walk), 87u);
}

}  // namespace
}  // namespace varnel

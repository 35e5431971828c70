// Several processes on one registry at once, and processes that are killed.
#include <sys/mount.h>

#include <set>

#include "child.h"
#include "registry_fixture.h"

namespace varnel::embedded {
namespace {

class RegistryProcessesTest : public RegistryFixture {
 protected:
  Child Start(std::vector<std::string> command) {
    command.insert(command.begin(), {folder_ + "/registry", "boot-1"});
    return Child(std::move(command));
  }
  /// Has a child write until it is refused, and looks at what is left: exactly what was accepted.
  void FillUntilRefused(const std::string& limit, const std::set<std::string>& refusals) {
    Close();
    Child child = Start({"fill", limit});
    std::vector<std::string> accepted;
    std::string line = child.Line();
    for (; line.rfind("fill", 0) == 0; line = child.Line()) accepted.push_back(line);
    EXPECT_EQ(refusals.count(line), 1u) << line;
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_GT(accepted.size(), 10u);
    Reopen();
    const platform::HKEY key = Open(u"SOFTWARE\\Child");
    std::vector<std::string> found;
    for (const SeenValue& value : Values(key)) found.emplace_back(value.name.begin(), value.name.end());
    EXPECT_EQ(found, accepted);
    EXPECT_EQ(registry_->RegDeleteTreeW(key, nullptr), 0u);
    EXPECT_EQ(Set(key, u"after", "x"), 0u);
  }
};

TEST_F(RegistryProcessesTest, WhatAnotherProcessSetsIsSeenAtOnce) {
  const platform::HKEY key = Create(u"SOFTWARE\\Child");
  Set(key, u"v", "mine");
  Child child = Start({"count", "1"});
  ASSERT_EQ(child.Line(), "1");
  EXPECT_EQ(Get(key, u"v"), "1");
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(RegistryProcessesTest, ChangesOfManyProcessesAllArrive) {
  const platform::HKEY key = Create(u"SOFTWARE\\Child");
  std::vector<std::unique_ptr<Child>> children;
  for (const char* prefix : {"a", "b", "c", "d"}) {
    children.push_back(
        std::make_unique<Child>(std::vector<std::string>{folder_ + "/registry", "boot-1", "add", prefix, "200"}));
  }
  for (int i = 0; i < 200; ++i)
    ASSERT_EQ(Set(key, (u"own" + std::u16string(1, char16_t(0x4E00 + i))).c_str(), "x"), 0u);
  for (auto& child : children) EXPECT_EQ(child->Wait(), 0);
  const auto values = Values(key);
  EXPECT_EQ(values.size(), 1000u);
  std::set<std::u16string> names;
  for (const SeenValue& value : values) names.insert(value.name);
  EXPECT_EQ(names.size(), 1000u);
}

TEST_F(RegistryProcessesTest, AKeyThatAnotherProcessDeletesGives1018Here) {
  const platform::HKEY key = Create(u"SOFTWARE\\Child");
  EXPECT_EQ(Start({"delete"}).Wait(), 0);
  EXPECT_EQ(Set(key, u"v", "x"), platform::kErrorKeyDeleted);
}

TEST_F(RegistryProcessesTest, AWriterKilledAtAnyMomentLosesNothingThatWasAccepted) {
  for (int round = 0; round < 25; ++round) {
    // A registry that only the child has open, and one that this process has open as well.
    if (round % 2 == 0) Close();
    Child child = Start({"count", "0"});
    unsigned long accepted = 0;
    for (int lines = 0; lines < 20 + round * 7; ++lines) accepted = std::stoul(child.Line());
    child.Kill();
    for (std::string line = child.Line(); !line.empty(); line = child.Line()) {
      if (line.find_first_not_of("0123456789") == std::string::npos) accepted = std::max(accepted, std::stoul(line));
    }
    if (round % 2 == 0) Reopen();
    const platform::HKEY key = Open(u"SOFTWARE\\Child");
    const std::string found = Get(key, u"v");
    // One more than the last line may have been accepted before the line was written.
    EXPECT_TRUE(found == std::to_string(accepted) || found == std::to_string(accepted + 1)) << found << accepted;
    EXPECT_EQ(Set(key, u"after", "x"), 0u);
    registry_->RegCloseKey(key);
  }
}

TEST_F(RegistryProcessesTest, AMapThatAnotherProcessMadeLargerIsTakenOver) {
  Close();
  std::filesystem::remove_all(folder_ + "/registry");
  options_.map.initial = 256 << 10;
  Reopen();
  const platform::HKEY key = Create(u"SOFTWARE\\Child");
  EXPECT_EQ(Start({"large", "8000000"}).Wait(), 0);
  std::uint32_t size = 0;
  EXPECT_EQ(registry_->RegQueryValueExW(key, u"large", nullptr, nullptr, &size), 0u);
  EXPECT_EQ(size, 8'000'000u);
  EXPECT_EQ(Set(key, u"v", std::string(100'000, 'x')), 0u);
}

TEST_F(RegistryProcessesTest, ViewsOfDeadProcessesAreClearedWhenTheRegistryIsOpened) {
  ASSERT_EQ(registry_->Open(), 0u);
  // The views of two such children need more slots than there are, so the second finds room only if somebody cleared.
  for (int round = 0; round < 2; ++round) {
    Child child = Start({"readers", "900"});
    ASSERT_EQ(child.Line(), "open");
    child.Kill();
    EXPECT_EQ(Start({"count", "1"}).Wait(), 0);
  }
}

TEST_F(RegistryProcessesTest, AFileThatMayNotGrowRefusesTheWriteAndLosesNothingAccepted) {
  FillUntilRefused("1000000", {"failed 112", "failed 1016"});
}

TEST_F(RegistryProcessesTest, AFullDiskGives112AndLosesNothingAccepted) {
  Close();
  std::filesystem::remove_all(folder_ + "/registry");
  std::filesystem::create_directory(folder_ + "/registry");
  if (::mount("none", (folder_ + "/registry").c_str(), "tmpfs", 0, "size=2m") != 0) {
    GTEST_SKIP() << "no small disk can be mounted here";
  }
  FillUntilRefused("1000000000", {"failed 112"});
  Close();
  EXPECT_EQ(::umount2((folder_ + "/registry").c_str(), MNT_DETACH), 0);
}

TEST_F(RegistryProcessesTest, AProcessThatEndsWithTheRegistryOpenLeavesACopyOfItsState) {
  Close();
  EXPECT_EQ(Start({"count", "5"}).Wait(), 0);
  options_.host_boot_id = "boot-2";
  Reopen();
  EXPECT_EQ(Get(Open(u"SOFTWARE\\Child"), u"v"), "5");
}

}  // namespace
}  // namespace varnel::embedded

#include "platform/embedded/core/machine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/mere_owner.h"

namespace varnel::embedded {
namespace {

namespace fs = std::filesystem;

class MachineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "varnel-machine-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { fs::remove_all(folder_); }

  std::string folder_;
};

TEST_F(MachineTest, ANewMachineOpensAndIsInItsFirstBoot) {
  ASSERT_TRUE(Machine::Create(folder_ + "/m").ok());
  const auto machine = Machine::Open(folder_ + "/m");
  ASSERT_TRUE(machine.ok());
  const auto boot = machine.value()->ReadBoot();
  ASSERT_TRUE(boot.ok());
  EXPECT_EQ(boot.value().number, 1u);
  EXPECT_EQ(boot.value().host_boot_id, HostBootId());
}

TEST_F(MachineTest, AnOrdinaryFolderIsNoMachineAndIsNamed) {
  const auto machine = Machine::Open(folder_);
  ASSERT_FALSE(machine.ok());
  EXPECT_NE(machine.error().message.find(folder_), std::string::npos);
}

TEST_F(MachineTest, AMachineThatMayNotBeReadIsNotTakenForAnOrdinaryFolder) {
  const MereOwner rights;
  if (!rights.held()) GTEST_SKIP() << "everything may be read by this user";
  ASSERT_TRUE(Machine::Create(folder_ + "/m").ok());
  fs::permissions(folder_ + "/m/machine", fs::perms::none);
  const auto machine = Machine::Open(folder_ + "/m");
  ASSERT_FALSE(machine.ok());
  EXPECT_EQ(machine.error().message, folder_ + "/m/machine: Permission denied");
}

TEST_F(MachineTest, AFolderThatIsNotThereIsToldSo) {
  const auto machine = Machine::Open(folder_ + "/none");
  ASSERT_FALSE(machine.ok());
  EXPECT_EQ(machine.error().message, folder_ + "/none: No such file or directory");
}

TEST_F(MachineTest, AFileIsToldToBeNoFolder) {
  std::ofstream(folder_ + "/file") << "x";
  const auto machine = Machine::Open(folder_ + "/file");
  ASSERT_FALSE(machine.ok());
  EXPECT_EQ(machine.error().message, folder_ + "/file: Not a directory");
}

TEST_F(MachineTest, AMachineOfAnotherVersionIsRefused) {
  std::ofstream(folder_ + "/machine") << "varnel machine 99\n";
  EXPECT_FALSE(Machine::Open(folder_).ok());
}

TEST_F(MachineTest, CreateLeavesAFolderWithContentAlone) {
  std::ofstream(folder_ + "/mine") << "x";
  EXPECT_FALSE(Machine::Create(folder_).ok());
  EXPECT_FALSE(fs::exists(folder_ + "/machine"));
}

TEST_F(MachineTest, AFolderThatIsBegunIsNoMachineUntilItIsFinished) {
  const auto machine = Machine::Begin(folder_ + "/m");
  ASSERT_TRUE(machine.ok());
  EXPECT_FALSE(Machine::Open(folder_ + "/m").ok());
  EXPECT_TRUE(machine.value()->Finish().ok());
  EXPECT_TRUE(Machine::Open(folder_ + "/m").ok());
}

TEST_F(MachineTest, PendingDeletesAreCarriedOutOnceInOrder) {
  const auto machine = Machine::Create(folder_ + "/m");
  ASSERT_TRUE(machine.ok());
  EXPECT_TRUE(machine.value()->PendingDeletes().value().empty());
  ASSERT_TRUE(machine.value()->AddPendingDelete("C:\\a.txt").ok());
  ASSERT_TRUE(machine.value()->AddPendingDelete("C:\\b \xC3\xA4.txt").ok());
  std::vector<std::string> carried_out;
  const auto carry_out = [&](const std::string& path) {
    EXPECT_EQ(machine.value()->PendingDeletes().value().size(), 2u) << "they stay until all are carried out";
    carried_out.push_back(path);
  };
  ASSERT_TRUE(machine.value()->CarryOutPendingDeletes(carry_out).ok());
  EXPECT_EQ(carried_out, (std::vector<std::string>{"C:\\a.txt", "C:\\b \xC3\xA4.txt"}));
  ASSERT_TRUE(machine.value()->CarryOutPendingDeletes(carry_out).ok());
  EXPECT_EQ(carried_out.size(), 2u);
}

TEST_F(MachineTest, ThePathThatAKilledProcessBeganToAddIsNotDeleted) {
  const auto machine = Machine::Create(folder_ + "/m");
  ASSERT_TRUE(machine.ok());
  ASSERT_TRUE(machine.value()->AddPendingDelete("C:\\a").ok());
  std::ofstream(folder_ + "/m/boot.delete", std::ios::app) << "C:\\Win";
  EXPECT_EQ(machine.value()->PendingDeletes().value(), (std::vector<std::string>{"C:\\a"}));
}

TEST_F(MachineTest, ADamagedBootRecordIsAnErrorThatNamesTheFile) {
  const auto machine = Machine::Create(folder_ + "/m");
  ASSERT_TRUE(machine.ok());
  std::ofstream(folder_ + "/m/boot") << "what";
  const auto boot = machine.value()->ReadBoot();
  ASSERT_FALSE(boot.ok());
  EXPECT_NE(boot.error().message.find("/boot"), std::string::npos);
}

}  // namespace
}  // namespace varnel::embedded

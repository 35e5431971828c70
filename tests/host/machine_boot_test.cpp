#include "host/machine_boot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/embedded/core/attachment.h"
#include "platform/embedded/tools/machine_layout.h"

namespace varnel::host {
namespace {

using testing::HasSubstr;

class MachineBoot : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "machine_boot.XXXXXX";
    folder_ = ::mkdtemp(pattern.data());
    root_ = folder_ + "/m";
    const auto machine = embedded::NewMachine(root_);
    ASSERT_TRUE(machine.ok());
    machine_ = machine.value();
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string folder_;
  std::string root_;
  std::shared_ptr<embedded::Machine> machine_;
};

TEST_F(MachineBoot, BeginsTheNextBoot) {
  const auto before = machine_->ReadBoot();
  const auto report = BootTheMachine(root_);
  ASSERT_TRUE(before.ok() && report.ok());
  EXPECT_EQ(report.value().record.number, before.value().number + 1);
  EXPECT_THAT(BootAsText(report.value()), HasSubstr("boot " + std::to_string(before.value().number + 1) + " at 20"));
}

TEST_F(MachineBoot, DeletesFilesAndEmptyFoldersThatWaitForIt) {
  const std::string temp = root_ + "/C/Windows/Temp/";
  std::ofstream(temp + "file") << "x";
  std::filesystem::create_directory(temp + "empty");
  std::filesystem::create_directory(temp + "full");
  std::ofstream(temp + "full/file") << "x";
  for (const char* name : {"file", "empty", "full", "gone"}) {
    ASSERT_TRUE(machine_->AddPendingDelete(std::string("C:\\Windows\\Temp\\") + name).ok());
  }
  const auto report = BootTheMachine(root_);
  ASSERT_TRUE(report.ok());
  EXPECT_FALSE(std::filesystem::exists(temp + "file"));
  EXPECT_FALSE(std::filesystem::exists(temp + "empty"));
  EXPECT_TRUE(std::filesystem::exists(temp + "full/file"));
  const std::string text = BootAsText(report.value());
  EXPECT_THAT(text, HasSubstr("\ndeleted C:\\Windows\\Temp\\file\n"));
  EXPECT_THAT(text, HasSubstr("not deleted C:\\Windows\\Temp\\full"));
}

TEST_F(MachineBoot, RefusesUnderAModuleAndLeavesTheBootAsItWas) {
  const auto attachment = embedded::Attachment::AttachShared(*machine_);
  ASSERT_TRUE(attachment.ok());
  const auto before = machine_->ReadBoot();
  const auto report = BootTheMachine(root_);
  ASSERT_FALSE(report.ok());
  EXPECT_THAT(report.error().message, HasSubstr(root_));
  EXPECT_EQ(machine_->ReadBoot().value().number, before.value().number);
}

TEST_F(MachineBoot, AFolderThatIsNoMachineIsRefused) {
  EXPECT_FALSE(BootTheMachine(folder_).ok());
}

}  // namespace
}  // namespace varnel::host

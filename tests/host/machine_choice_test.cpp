#include "host/machine_choice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "platform/embedded/core/machine.h"

namespace varnel::host {
namespace {

using testing::HasSubstr;

class MachineChoice : public testing::Test {
 protected:
  void SetUp() override {
    ::unsetenv("VARNEL_MACHINE");
    std::string pattern = testing::TempDir() + "machine_choice.XXXXXX";
    folder_ = ::mkdtemp(pattern.data());
    ASSERT_TRUE(embedded::Machine::Create(folder_ + "/m").ok());
  }
  void TearDown() override {
    ::unsetenv("VARNEL_MACHINE");
    std::filesystem::remove_all(folder_);
  }

  std::string folder_;
};

TEST_F(MachineChoice, WithoutAnyTheUserHearsOfBothWays) {
  const auto choice = ChooseMachine("");
  ASSERT_FALSE(choice.ok());
  EXPECT_EQ(choice.error().message, "no machine folder: give --machine DIR or set VARNEL_MACHINE");
}

TEST_F(MachineChoice, TheOptionComesBeforeTheEnvironment) {
  ::setenv("VARNEL_MACHINE", "/nowhere", 1);
  const auto choice = ChooseMachine(folder_ + "/m");
  ASSERT_TRUE(choice.ok());
  EXPECT_EQ(choice.value(), std::filesystem::canonical(folder_ + "/m").string());
}

TEST_F(MachineChoice, TheEnvironmentIsTakenWithoutTheOption) {
  ::setenv("VARNEL_MACHINE", (folder_ + "/m").c_str(), 1);
  EXPECT_TRUE(ChooseMachine("").ok());
}

TEST_F(MachineChoice, AFolderThatIsNoMachineIsRefusedByNameAndStaysAsItWas) {
  const auto choice = ChooseMachine(folder_);
  ASSERT_FALSE(choice.ok());
  EXPECT_THAT(choice.error().message, HasSubstr(folder_));
  EXPECT_THAT(choice.error().message, HasSubstr("no machine folder"));
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/machine"));
  EXPECT_FALSE(EnterMachine(folder_).ok());
  EXPECT_EQ(std::getenv("VARNEL_MACHINE"), nullptr);
}

TEST_F(MachineChoice, EnteringNamesTheMachineForModuleAndChildren) {
  const auto choice = EnterMachine(folder_ + "/./m");
  ASSERT_TRUE(choice.ok());
  EXPECT_EQ(std::getenv("VARNEL_MACHINE"), choice.value());
}

}  // namespace
}  // namespace varnel::host

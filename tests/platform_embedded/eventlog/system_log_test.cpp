#include "platform/embedded/eventlog/system_log.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

namespace varnel::embedded {
namespace {

namespace fs = std::filesystem;

class SystemLog : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "varnel-log-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    auto made = Machine::Create(folder_ + "/machine");
    ASSERT_TRUE(made.ok());
    machine_ = made.value();
  }
  void TearDown() override { fs::remove_all(folder_); }

  fs::path Logs() const { return fs::path(machine_->DrivePath('C')) / "Windows/System32/winevt/Logs"; }
  void Put(const fs::path& path) const {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << "log";
  }
  using Files = std::vector<std::string>;

  std::string folder_;
  std::shared_ptr<Machine> machine_;
};

TEST_F(SystemLog, OfANewMachineHasNoFile) {
  EXPECT_EQ(SystemLogFiles(*machine_), Files{});
}

TEST_F(SystemLog, IsMadeOfThoseOfItsThreeFilesThatAreThere) {
  Put(Logs() / "System-machine.xml");
  EXPECT_EQ(SystemLogFiles(*machine_), Files{Logs() / "System-machine.xml"});
  Put(Logs() / "System.xml");
  Put(Logs() / "System.evtx");
  Put(Logs() / "Application.evtx");
  EXPECT_EQ(SystemLogFiles(*machine_),
            (Files{Logs() / "System.evtx", Logs() / "System.xml", Logs() / "System-machine.xml"}));
}

TEST_F(SystemLog, IsFoundWhateverTheCaseOfItsNames) {
  const fs::path logs = fs::path(machine_->DrivePath('C')) / "WINDOWS/system32/WinEvt/logs";
  Put(logs / "SYSTEM.EVTX");
  EXPECT_EQ(SystemLogFiles(*machine_), Files{logs / "SYSTEM.EVTX"});
  EXPECT_EQ(fs::path(MachineLogFile(*machine_)).parent_path(), logs);  // beside it, and in no second folder
}

TEST_F(SystemLog, TakesNoFolderForAFile) {
  fs::create_directories(Logs() / "System.evtx");
  EXPECT_EQ(SystemLogFiles(*machine_), Files{});
}

TEST_F(SystemLog, OfItsOwnHasAPlaceWhoseFolderIsMadeWhenItIsMissing) {
  const std::string path = MachineLogFile(*machine_);
  EXPECT_EQ(path, Logs() / "System-machine.xml");
  EXPECT_TRUE(fs::is_directory(Logs()));
  EXPECT_FALSE(fs::exists(path));
  Put(path);
  EXPECT_EQ(MachineLogFile(*machine_), path);
  EXPECT_EQ(SystemLogFiles(*machine_), Files{path});
}

}  // namespace
}  // namespace varnel::embedded

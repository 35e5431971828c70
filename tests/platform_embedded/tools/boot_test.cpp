#include "platform/embedded/tools/boot.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "machine_fixture.h"
#include "platform/embedded/core/attachment.h"

namespace varnel::embedded {
namespace {

class BootTest : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeMachine();
    hooks_.end_sessions = [this](const std::shared_ptr<Machine>&) {
      steps_.push_back("end sessions");
      return formats::Ok();
    };
    hooks_.log_boot = [this](const std::shared_ptr<Machine>& machine, std::uint64_t boot_time) {
      steps_.push_back("log at boot " + std::to_string(machine->ReadBoot().value().number));
      logged_time_ = boot_time;
      return log_result_;
    };
    hooks_.delete_path = [this](const std::string& path) {
      steps_.push_back("delete " + path);
      return delete_result_;
    };
    hooks_.start_session = [this](const AutoLogger& session) {
      steps_.push_back("start at boot " + std::to_string(machine_->ReadBoot().value().number));
      log_file_ = session.log_file;
      return 0u;
    };
  }

  BootHooks hooks_;
  std::vector<std::string> steps_;
  std::uint32_t delete_result_ = 0;
  std::uint64_t logged_time_ = 0;
  formats::Status log_result_ = formats::Ok();
  std::u16string log_file_;
};

TEST_F(BootTest, ABootEndsSessionsDeletesMovesOnAndStartsAutoLoggersInThisOrder) {
  ASSERT_TRUE(machine_->AddPendingDelete("C:\\a").ok());
  const std::u16string session = u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\S";
  SetText(session, u"Guid", u"{00000000-0000-0000-0000-000000000001}");
  SetNumber(session, u"Start", 1);
  SetNumber(session, u"FileMax", 3);
  const auto report = BootMachine(machine_, hooks_);
  ASSERT_TRUE(report.ok()) << report.error().message;
  EXPECT_EQ(steps_, (std::vector<std::string>{"end sessions", "delete C:\\a", "log at boot 1", "start at boot 2"}));
  EXPECT_EQ(report.value().record.number, 2u);
  EXPECT_EQ(report.value().record.file_time, logged_time_);
  EXPECT_EQ(report.value().record.host_boot_id, HostBootId());
  ASSERT_EQ(report.value().auto_loggers.size(), 1u);
  EXPECT_EQ(report.value().auto_loggers[0].log_file, log_file_);
}

TEST_F(BootTest, ABootThatCannotBeLoggedDoesNotBegin) {
  log_result_ = formats::Error{"no room"};
  const auto report = BootMachine(machine_, hooks_);
  ASSERT_FALSE(report.ok());
  EXPECT_EQ(report.error().message, "no room");
  EXPECT_EQ(machine_->ReadBoot().value().number, 1u);
}

TEST_F(BootTest, WhileAModuleIsAttachedNothingIsDone) {
  ASSERT_TRUE(machine_->AddPendingDelete("C:\\a").ok());
  {
    const auto attached = Attachment::AttachShared(*machine_);
    ASSERT_TRUE(attached.ok());
    const auto report = BootMachine(machine_, hooks_);
    ASSERT_FALSE(report.ok());
    EXPECT_NE(report.error().message.find(machine_->root()), std::string::npos);
    EXPECT_TRUE(steps_.empty());
    EXPECT_EQ(machine_->ReadBoot().value().number, 1u);
  }
  EXPECT_TRUE(BootMachine(machine_, hooks_).ok());
}

TEST_F(BootTest, SessionsThatDoNotEndKeepTheMachineInItsBoot) {
  ASSERT_TRUE(machine_->AddPendingDelete("C:\\a").ok());
  hooks_.end_sessions = [](const std::shared_ptr<Machine>&) { return formats::Status(formats::Error{"no"}); };
  EXPECT_FALSE(BootMachine(machine_, hooks_).ok());
  EXPECT_EQ(machine_->ReadBoot().value().number, 1u);
  EXPECT_EQ(machine_->PendingDeletes().value().size(), 1u);
}

TEST_F(BootTest, DeletionsOfABootThatIsKilledAreCarriedOutByTheNext) {
  ASSERT_TRUE(machine_->AddPendingDelete("C:\\a").ok());
  ASSERT_TRUE(machine_->AddPendingDelete("C:\\b").ok());
  const pid_t child = ::fork();
  if (child == 0) {
    hooks_.delete_path = [](const std::string& path) -> std::uint32_t {
      if (path == "C:\\b") ::raise(SIGKILL);
      return 0;
    };
    static_cast<void>(BootMachine(machine_, hooks_));
    ::_exit(0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(machine_->ReadBoot().value().number, 1u);
  const auto report = BootMachine(machine_, hooks_);
  ASSERT_TRUE(report.ok());
  EXPECT_EQ(report.value().deleted, (std::vector<std::string>{"C:\\a", "C:\\b"}));
  EXPECT_TRUE(machine_->PendingDeletes().value().empty());
}

TEST_F(BootTest, DeletionsAreCarriedOutOnceAndFailuresAreTold) {
  ASSERT_TRUE(machine_->AddPendingDelete("C:\\a").ok());
  delete_result_ = platform::kErrorSharingViolation;
  const auto first = BootMachine(machine_, hooks_);
  ASSERT_TRUE(first.ok());
  EXPECT_TRUE(first.value().deleted.empty());
  EXPECT_EQ(first.value().not_deleted, (std::vector<std::string>{"C:\\a (error 32)"}));
  steps_.clear();
  ASSERT_TRUE(BootMachine(machine_, hooks_).ok());
  EXPECT_EQ(steps_, (std::vector<std::string>{"end sessions", "log at boot 2"}));
}

TEST_F(BootTest, AFileThatIsAlreadyGoneCountsAsDeleted) {
  ASSERT_TRUE(machine_->AddPendingDelete("C:\\a").ok());
  delete_result_ = platform::kErrorFileNotFound;
  const auto report = BootMachine(machine_, hooks_);
  ASSERT_TRUE(report.ok());
  EXPECT_EQ(report.value().deleted, (std::vector<std::string>{"C:\\a"}));
}

TEST_F(BootTest, VolatileKeysEndWithTheBoot) {
  platform::HKEY key = nullptr;
  ASSERT_EQ(registry_->RegCreateKeyExW(platform::kHkeyLocalMachine, u"SOFTWARE\\V", platform::kRegOptionVolatile,
                                       platform::kKeyRead, &key, nullptr),
            0u);
  registry_->RegCloseKey(key);
  ASSERT_TRUE(BootMachine(machine_, hooks_).ok());
  EXPECT_FALSE(Key(u"SOFTWARE\\V").is_open());
}

TEST_F(BootTest, ABootsTimeIsLaterThanTheLastOnesWhateverTheClockSays) {
  const std::uint64_t future = FileTimeNow() + 864'000'000'000;
  ASSERT_TRUE(machine_->WriteBoot(BootRecord{7, future, "x"}).ok());
  const auto report = BootMachine(machine_, hooks_);
  ASSERT_TRUE(report.ok());
  EXPECT_EQ(report.value().record.number, 8u);
  EXPECT_GT(report.value().record.file_time, future);
}

TEST_F(BootTest, WithoutHooksABootStillMovesOn) {
  EXPECT_TRUE(BootMachine(machine_, BootHooks{}).ok());
  EXPECT_EQ(machine_->ReadBoot().value().number, 2u);
}

TEST_F(BootTest, ARegistryThatCannotBeOpenedLeavesTheMachineInItsBoot) {
  registry_.reset();
  std::filesystem::remove_all(machine_->RegistryPath() + "/store");
  std::filesystem::remove(machine_->RegistryPath() + "/copy");
  EXPECT_FALSE(BootMachine(machine_, hooks_).ok());
  EXPECT_TRUE(steps_.empty());
  EXPECT_EQ(machine_->ReadBoot().value().number, 1u);
}

}  // namespace
}  // namespace varnel::embedded

#include "host/machine_crash.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/crashes.h"
#include "host/machine_boot.h"
#include "platform/embedded/core/attachment.h"
#include "platform/embedded/eventlog/system_log.h"
#include "platform/embedded/tools/machine_layout.h"
#include "platform/embedded/trace/machine_sessions.h"
#include "tests/host/trace_command.h"

namespace varnel::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class MachineCrashTest : public testing::Test {
 protected:
  void SetUp() override {
    const auto made = embedded::NewMachine(folder_.PathOf("m"));
    ASSERT_TRUE(made.ok());
    machine_ = embedded::Machine::Open(folder_.PathOf("m")).value();
  }
  std::vector<std::string> Seen() const {
    CrashesOptions options;
    options.machine_files = embedded::SystemLogFiles(*machine_);
    return RunCommand(Crashes, options).Lines();
  }
  TemporaryFolder folder_;
  std::shared_ptr<embedded::Machine> machine_;
};

TEST_F(MachineCrashTest, TheNextBootLogsTheCrashOnceBehindItsOwnStart) {
  ASSERT_TRUE(BootTheMachine(machine_->root()).ok());
  ASSERT_TRUE(CrashTheMachine(machine_->root(), {0x133, {1, 0x1e00, 0, 0}, 0}).ok());
  EXPECT_TRUE(Seen().empty()) << "nobody has booted yet";
  ASSERT_TRUE(BootTheMachine(machine_->root()).ok());
  EXPECT_THAT(Seen(), ElementsAre(HasSubstr(
                          R"("code":307,"name":"DPC_WATCHDOG_VIOLATION","parameters":["0x1","0x1e00","0x0","0x0"])")));
  ASSERT_TRUE(BootTheMachine(machine_->root()).ok());
  EXPECT_EQ(Seen().size(), 1u);
}

TEST_F(MachineCrashTest, LostPowerLeavesNoCode) {
  ASSERT_TRUE(CrashTheMachine(machine_->root(), {}).ok());
  ASSERT_TRUE(BootTheMachine(machine_->root()).ok());
  EXPECT_THAT(Seen(), ElementsAre(HasSubstr(R"("kind":"power_lost_or_no_code")")));
}

TEST_F(MachineCrashTest, SessionsEndAndTheirFilesKeepNoEnd) {
  auto options = embedded::TraceOptionsOf(machine_);
  embedded::AutoLogger session;
  session.name = u"s";
  session.buffer_size_kb = 64;
  session.log_file_mode = 1;
  session.log_file = u"C:\\Windows\\Temp\\s.etl";
  ASSERT_EQ(embedded::StartSessionFromAutoLogger(options, session), 0u);
  ASSERT_EQ(embedded::ListSessions(*machine_).size(), 1u);
  ASSERT_TRUE(CrashTheMachine(machine_->root(), {0xA, {}, 0}).ok());
  EXPECT_TRUE(embedded::ListSessions(*machine_).empty());
  EXPECT_TRUE(std::filesystem::exists(machine_->DrivePath('C') + "/Windows/Temp/s.etl"));
}

TEST_F(MachineCrashTest, AMachineWithARunningModuleIsLeftAsItIs) {
  const auto attached = embedded::Attachment::AttachShared(*machine_);
  ASSERT_TRUE(attached.ok());
  const auto crashed = CrashTheMachine(machine_->root(), {0xA, {}, 0});
  ASSERT_FALSE(crashed.ok());
  EXPECT_THAT(crashed.error().message, HasSubstr("a module is running on this machine"));
  EXPECT_FALSE(embedded::ReadCrashMark(*machine_).value().has_value());
}

TEST(ParseNumber, TakesDecimalAndHexadecimal) {
  EXPECT_EQ(ParseNumber("307").value(), 307u);
  EXPECT_EQ(ParseNumber("0x1E00").value(), 0x1e00u);
  EXPECT_EQ(ParseNumber("0xffffffffffffffff").value(), ~std::uint64_t{0});
  EXPECT_FALSE(ParseNumber("").ok());
  EXPECT_FALSE(ParseNumber("0x").ok());
  EXPECT_FALSE(ParseNumber("12x").ok());
}

TEST(ParseBugcheck, TakesACodeAndUpToFourParameters) {
  EXPECT_EQ(ParseBugcheck("0xd1").value(), (embedded::CrashFacts{0xD1, {}, 0}));
  EXPECT_EQ(ParseBugcheck("209,0x8,2,1,0xfffff80200031234").value(),
            (embedded::CrashFacts{0xD1, {8, 2, 1, 0xFFFFF80200031234}, 0}));
}

TEST(ParseBugcheck, RefusesWhatIsNoStop) {
  for (const char* text : {"", "0", "0x100000000", "0xd1,", "0xd1,x", "1,2,3,4,5,6", "0xd1 2"}) {
    EXPECT_FALSE(ParseBugcheck(text).ok()) << text;
  }
}

}  // namespace
}  // namespace varnel::host

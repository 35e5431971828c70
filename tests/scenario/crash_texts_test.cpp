// Crashes from a machine's System log to the host's lines, over real logs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "host/loaded_module.h"
#include "tests/scenario/scenario_machine.h"

namespace varnel::scenario {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const fs::path kLogs = fs::path(VARNEL_SAMPLES_DIR) / "evtx";

/// Its process and thread masked.
std::string WithoutWriter(const std::string& text) {
  return std::regex_replace(text, std::regex(R"("ProcessId":"\d+","ThreadId":"\d+")"),
                            R"("ProcessId":"P","ThreadId":"T")");
}

/// The lines about crash events.
std::vector<std::string> CrashLines(const std::string& texts) {
  std::vector<std::string> lines;
  std::istringstream in(texts);
  for (std::string line; std::getline(in, line);) {
    if (line.find("\"Function\":\"AnalyzeBSODEvents\"") != std::string::npos) lines.push_back(line);
  }
  return lines;
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string joined;
  for (const std::string& line : lines) joined += WithoutWriter(line) + '\n';
  return joined;
}

void BringLog(const ScenarioMachine& machine, const std::string& name) {
  const fs::path folder = fs::path(machine.root()) / "C/Windows/System32/winevt/Logs";
  fs::create_directories(folder);
  fs::copy_file(kLogs / name, folder / "System.evtx");
}

std::vector<std::string> LinesOfRun(const ScenarioMachine& machine) {
  return CrashLines(machine.Do({"run", "--idle-exit", "3", "--flags", "0"}));
}

class CrashTextsOfLog : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (!fs::exists(kLogs)) GTEST_SKIP() << "the sample logs are not there";
  }
};

TEST_P(CrashTextsOfLog, AreToldByTheFirstRunWordForWordAndNeverAgain) {
  const ScenarioMachine machine;
  BringLog(machine, GetParam() + ".evtx");
  EXPECT_EQ(Joined(LinesOfRun(machine)), ReadAll(VARNEL_GOLDEN_DIR "/crash/" + GetParam() + ".ndjson"));
  EXPECT_THAT(LinesOfRun(machine), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Logs, CrashTextsOfLog,
                         ::testing::Values("win7x64_shieldbase_system", "w2008r2_greendale_System",
                                           "w10_dell_system_eventlog", "w10_dell_System_livecopy"),
                         [](const auto& info) { return info.param; });

TEST(CrashTexts, AMachineWithoutACrashTellsSoOnceABoot) {
  const ScenarioMachine machine;
  const auto first = LinesOfRun(machine);
  ASSERT_THAT(first, SizeIs(1));
  EXPECT_THAT(first[0], HasSubstr("\"AdditionalMsgAnsi\":null}"));
  EXPECT_THAT(LinesOfRun(machine), IsEmpty());
}

TEST(CrashTexts, ACrashThatWasToldIsNotToldAgainAfterABoot) {
  const ScenarioMachine machine;
  machine.Do({"machine", "crash"});
  machine.Do({"machine", "boot"});
  const auto first = LinesOfRun(machine);
  ASSERT_THAT(first, SizeIs(1));
  EXPECT_THAT(first[0], HasSubstr("\"AdditionalMsgAnsi\":{\"BugcheckCode\""));
  machine.Do({"machine", "boot"});
  const auto second = LinesOfRun(machine);
  ASSERT_THAT(second, SizeIs(1));
  EXPECT_THAT(second[0], HasSubstr("\"AdditionalMsgAnsi\":null}"));
}

TEST(CrashTexts, ATextThatCannotBeWrittenDoesNotComeAgain) {
  if (!fs::exists(kLogs)) GTEST_SKIP() << "the sample logs are not there";
  const ScenarioMachine machine;
  BringLog(machine, "win7x64_shieldbase_system.evtx");
  const Outcome full = machine.Wardlet({"run", "-q", "--flags", "0", "-o", "/dev/full", "--idle-exit", "3"});
  EXPECT_EQ(full.exit_code, 1);
  EXPECT_THAT(full.err, HasSubstr("No space left on device"));
  EXPECT_THAT(LinesOfRun(machine), IsEmpty()) << "its mark was written before it was told";
}

std::uint32_t KillInsideTheFirstText(void*, const char*) {
  std::raise(SIGKILL);
  return 0;
}

/// Hosts the module in a process of its own until its first text, and kills it there. @return what it ended with.
int StatusOfKilledHost(const std::string& machine) {
  const pid_t host = ::fork();
  if (host == 0) {
    ::setenv("VARNEL_MACHINE", machine.c_str(), 1);
    const auto module = host::LoadedModule::Load(VARNEL_MODULE_FILE);
    if (!module.ok() || module.value()->tool()->Start(0, &KillInsideTheFirstText, nullptr) != VNSTAT_SUCCESS) _exit(1);
    module.value()->tool()->Stop();
    _exit(0);
  }
  int status = 0;
  ::waitpid(host, &status, 0);
  return status;
}

TEST(CrashTexts, AKillBetweenTheMarkAndTheReportLosesThatReport) {
  if (!fs::exists(kLogs)) GTEST_SKIP() << "the sample logs are not there";
  const ScenarioMachine machine;
  BringLog(machine, "win7x64_shieldbase_system.evtx");
  const int status = StatusOfKilledHost(machine.root());
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  EXPECT_THAT(LinesOfRun(machine), IsEmpty()) << "neither it nor the one behind it is read again";
}

}  // namespace
}  // namespace varnel::scenario

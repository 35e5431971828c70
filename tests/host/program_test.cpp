// The program as a whole, through its own file: help, wrong use, and what needs no machine.
#include "host/program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/host/wardlet_process.h"
#include "tests/support/mere_owner.h"

namespace varnel::host {
namespace {

using testing::HasSubstr;

// VARNEL_UPDATE_GOLDEN=1 in the environment writes the files anew.
void ExpectGolden(const std::string& text, const std::string& name) {
  const std::string path = std::string(VARNEL_GOLDEN_DIR) + '/' + name;
  if (std::getenv("VARNEL_UPDATE_GOLDEN") != nullptr) std::ofstream(path) << text;
  std::ifstream in(path);
  ASSERT_TRUE(in) << path;
  EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(in), {})) << path;
}

struct HelpCase {
  std::vector<std::string> words;
  std::string file;
};

class Help : public testing::TestWithParam<HelpCase> {};

TEST_P(Help, IsTheTextThatTheManualShowsAndHasExamples) {
  std::vector<std::string> words = GetParam().words;
  words.push_back("--help");
  const Outcome outcome = RunWardlet(words);
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(outcome.out, HasSubstr("\nExamples:\n  wardlet "));
  ExpectGolden(outcome.out, "help/" + GetParam().file);
}

INSTANTIATE_TEST_SUITE_P(
    OfEachCommand, Help,
    testing::Values(HelpCase{{}, "wardlet.txt"}, HelpCase{{"run"}, "run.txt"}, HelpCase{{"install"}, "install.txt"},
                    HelpCase{{"uninstall"}, "uninstall.txt"}, HelpCase{{"version"}, "version.txt"},
                    HelpCase{{"machine"}, "machine.txt"}, HelpCase{{"machine", "new"}, "machine_new.txt"},
                    HelpCase{{"machine", "boot"}, "machine_boot.txt"},
                    HelpCase{{"machine", "crash"}, "machine_crash.txt"}, HelpCase{{"events"}, "events.txt"},
                    HelpCase{{"crashes"}, "crashes.txt"}, HelpCase{{"machine", "sessions"}, "machine_sessions.txt"},
                    HelpCase{{"machine", "registry"}, "machine_registry.txt"},
                    HelpCase{{"machine", "info"}, "machine_info.txt"}, HelpCase{{"demo"}, "demo.txt"},
                    HelpCase{{"dump"}, "dump.txt"}, HelpCase{{"dump", "info"}, "dump_info.txt"},
                    HelpCase{{"dump", "report"}, "dump_report.txt"}, HelpCase{{"machine", "emit"}, "machine_emit.txt"},
                    HelpCase{{"trace"}, "trace.txt"}, HelpCase{{"trace", "info"}, "trace_info.txt"},
                    HelpCase{{"trace", "cat"}, "trace_cat.txt"}, HelpCase{{"trace", "gaps"}, "trace_gaps.txt"}),
    [](const testing::TestParamInfo<HelpCase>& info) { return info.param.file.substr(0, info.param.file.find('.')); });

struct WrongUse {
  std::vector<std::string> words;
  std::string line;
};

class WrongUseTest : public testing::TestWithParam<WrongUse> {};

TEST_P(WrongUseTest, GetsOneClearLineAndExitCodeTwo) {
  const Outcome outcome = RunWardlet(GetParam().words);
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, GetParam().line + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Program, WrongUseTest,
    testing::Values(
        WrongUse{{}, "wardlet: a command is missing (\"wardlet --help\" tells more)"},
        WrongUse{{"frob"}, "wardlet: unknown command 'frob' (\"wardlet --help\" tells more)"},
        WrongUse{{"--frob"}, "wardlet: unknown option '--frob' (\"wardlet --help\" tells more)"},
        WrongUse{{"machine"}, "wardlet machine: a command is missing (\"wardlet machine --help\" tells more)"},
        WrongUse{{"machine", "frob"},
                 "wardlet machine: unknown command 'frob' (\"wardlet machine --help\" tells more)"},
        WrongUse{{"run", "--frob"}, "wardlet run: unknown option '--frob' (\"wardlet run --help\" tells more)"},
        WrongUse{{"run", "x"}, "wardlet run: unexpected argument 'x' (\"wardlet run --help\" tells more)"},
        WrongUse{{"run", "--idle-exit", "soon"},
                 "wardlet run: --idle-exit: 'soon' is no number of seconds (\"wardlet run --help\" tells more)"},
        WrongUse{{"run", "--duration", "-1"},
                 "wardlet run: --duration: '-1' is no number of seconds (\"wardlet run --help\" tells more)"},
        WrongUse{
            {"machine", "emit", "--count", "99999999999999999999"},
            "wardlet machine emit: --count: '99999999999999999999' does not fit in 64 bits (\"wardlet machine emit "
            "--help\" tells more)"},
        WrongUse{{"machine", "emit", "--file", "nowhere.etl", "--event", "soon"},
                 "wardlet machine emit: event 'soon': 'soon' is no number"},
        WrongUse{{"events", "--newest", "0", "x"},
                 "wardlet events: --newest: '0' is not above 0 (\"wardlet events --help\" tells more)"},
        WrongUse{
            {"events", "--encoding", "none-such", "x"},
            "wardlet events: --encoding: 'none-such' is no encoding that iconv knows (\"wardlet events --help\" tells "
            "more)"},
        WrongUse{{"crashes", "--encoding", "none-such", "x"},
                 "wardlet crashes: --encoding: 'none-such' is no encoding that iconv knows (\"wardlet crashes --help\" "
                 "tells more)"},
        WrongUse{{"run", "--flags", "4"},
                 "wardlet run: --flags: Value 4 not in range 0 to 3 (\"wardlet run --help\" tells more)"},
        WrongUse{{"dump"}, "wardlet dump: a command is missing (\"wardlet dump --help\" tells more)"},
        WrongUse{{"dump", "info"}, "wardlet dump info: FILE is required (\"wardlet dump info --help\" tells more)"},
        WrongUse{{"trace", "info"},
                 "wardlet trace info: FILE is required (\"wardlet trace info --help\" tells more)"}));

TEST(Program, AComposedFileNeedsAnEventAndTakesNoOptionOfTheSampleProvider) {
  const std::string file = testing::TempDir() + "program_test_composed.etl";
  const Outcome none = RunWardlet({"machine", "emit", "--file", file});
  EXPECT_EQ(none.exit_code, 2);
  EXPECT_EQ(none.err, "wardlet machine emit: --file needs an --event (\"--event -\" reads them as lines)\n");
  for (const std::string option : {"--count", "--rate", "--seed", "--size", "--flags", "--template", "--provider"}) {
    const std::string value = option == "--template" ? "ansi" : "1";
    const Outcome outcome = RunWardlet({"machine", "emit", option, value, "--file", file, "--event", "+0,1"});
    EXPECT_EQ(outcome.exit_code, 2) << option;
    EXPECT_EQ(outcome.err,
              "wardlet machine emit: " + option + " does not go with --file; each --event tells its own\n");
  }
  EXPECT_FALSE(std::filesystem::exists(file));
}

class NeedsAMachine : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(NeedsAMachine, AndSaysSoWithExitCodeOne) {
  const Outcome outcome = RunWardlet(GetParam());
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr(": no machine folder: give --machine DIR or set VARNEL_MACHINE\n"));
}

TEST_P(NeedsAMachine, AndRefusesAFolderThatIsNoneByName) {
  std::vector<std::string> words = GetParam();
  words.insert(words.end(), {"--machine", "/usr"});
  const Outcome outcome = RunWardlet(words);
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr(": /usr: no machine folder"));
  EXPECT_FALSE(std::filesystem::exists("/usr/machine"));
}

INSTANTIATE_TEST_SUITE_P(
    Program, NeedsAMachine,
    testing::Values(std::vector<std::string>{"run"}, std::vector<std::string>{"install"},
                    std::vector<std::string>{"uninstall"}, std::vector<std::string>{"machine", "boot"},
                    std::vector<std::string>{"machine", "sessions"}, std::vector<std::string>{"machine", "registry"},
                    std::vector<std::string>{"machine", "info"}, std::vector<std::string>{"machine", "emit"},
                    std::vector<std::string>{"machine", "emit", "--file", "temp", "--event", "+0,1"}));

class TakesFiles : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(TakesFiles, AndRefusesAPipeInsteadOfWaitingForIt) {
  std::string pattern = testing::TempDir() + "program_test_pipe.XXXXXX";
  const std::filesystem::path folder = ::mkdtemp(pattern.data());
  const std::string pipe = folder / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::vector<std::string> words = GetParam();
  words.push_back(pipe);
  const Outcome outcome = RunWardlet(words);
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr(": " + pipe + ": "));
  std::filesystem::remove_all(folder);
}

TEST_P(TakesFiles, AndTellsWhyOneThatMayNotBeReadCannotBeOpened) {
  const MereOwner rights;
  if (!rights.held()) GTEST_SKIP() << "everything may be read by this user";
  std::string pattern = testing::TempDir() + "program_test_secret.XXXXXX";
  const std::filesystem::path folder = ::mkdtemp(pattern.data());
  const std::string secret = folder / "secret";
  std::ofstream(secret) << "x";
  std::filesystem::permissions(secret, std::filesystem::perms::none);
  std::vector<std::string> words = GetParam();
  words.push_back(secret);
  const Outcome outcome = RunWardlet(words);
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr(": " + secret + ": "));
  EXPECT_THAT(outcome.err, HasSubstr("Permission denied\n"));
  std::filesystem::remove_all(folder);
}

INSTANTIATE_TEST_SUITE_P(Program, TakesFiles,
                         testing::Values(std::vector<std::string>{"trace", "info"},
                                         std::vector<std::string>{"trace", "cat"},
                                         std::vector<std::string>{"trace", "gaps"}, std::vector<std::string>{"events"},
                                         std::vector<std::string>{"crashes"}, std::vector<std::string>{"dump", "info"},
                                         std::vector<std::string>{"dump", "report"}));

TEST(Program, WhoMayNotLookAtAMachinesSessionsIsNotToldThatNoneRuns) {
  const MereOwner rights;
  if (!rights.held()) GTEST_SKIP() << "everything may be written by this user";
  std::string pattern = testing::TempDir() + "program_test_closed_machine.XXXXXX";
  const std::filesystem::path folder = ::mkdtemp(pattern.data());
  const std::string machine = folder / "m";
  ASSERT_EQ(RunWardlet({"machine", "new", machine}).exit_code, 0);
  ASSERT_EQ(RunWardlet({"install", "--machine", machine}).exit_code, 0);
  const std::string lock = machine + "/sessions/lock";
  std::filesystem::permissions(lock, std::filesystem::perms::owner_read);
  const Outcome sessions = RunWardlet({"machine", "sessions", machine});
  EXPECT_EQ(sessions.exit_code, 1);
  EXPECT_EQ(sessions.out, "");
  EXPECT_EQ(sessions.err, "wardlet machine sessions: " + lock + ": Permission denied\n");
  const Outcome info = RunWardlet({"machine", "info", machine});
  EXPECT_EQ(info.exit_code, 1);
  EXPECT_THAT(info.out, HasSubstr("\nsessions  not seen\n"));
  EXPECT_EQ(info.err, "wardlet machine info: " + lock + ": Permission denied\n");
  std::filesystem::remove_all(folder);
}

// The number of a closed stream would otherwise be that of the machine's next file.
TEST(Program, WhatGoesToAClosedOutputLandsInNoFileOfTheMachine) {
  std::string pattern = testing::TempDir() + "program_test_closed.XXXXXX";
  const std::filesystem::path folder = ::mkdtemp(pattern.data());
  const std::string machine = folder / "m";
  ASSERT_EQ(RunWardlet({"machine", "new", machine}).exit_code, 0);
  auto child = ChildProcess::Start(
      {"/bin/sh", "-c", "VARNEL_MACHINE=$1 exec \"$2\" version >&- 2>/dev/null", "sh", machine, VARNEL_WARDLET},
      ChildProcess::Output::kInherited);
  ASSERT_TRUE(child.ok());
  EXPECT_EQ(child.value().Wait(), 1) << "the version was written nowhere";
  for (const auto& entry : std::filesystem::recursive_directory_iterator(machine)) {
    if (entry.is_regular_file()) {
      EXPECT_EQ(ReadAll(entry.path()).find("VarnelWardlet 1."), std::string::npos) << entry.path();
    }
  }
  std::filesystem::remove_all(folder);
}

TEST(Program, TellsItsVersion) {
  const Outcome outcome = RunWardlet({"--version"});
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.out, "wardlet 1.0.2.28\n");
}

}  // namespace
}  // namespace varnel::host

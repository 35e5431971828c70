// The commands as their user meets them: texts word for word, bad input, signals, the demonstration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "tests/scenario/scenario_machine.h"
#include "tests/support/text_archive.h"

namespace varnel::scenario {
namespace {

using host::ChildProcess;
using testing::HasSubstr;
using testing::StartsWith;

// The thread sanitizer holds a signal back while its thread waits for a lock.
#if defined(__SANITIZE_THREAD__)
constexpr bool kSignalsAreHeldBack = true;
#elif defined(__has_feature)
constexpr bool kSignalsAreHeldBack = __has_feature(thread_sanitizer);
#else
constexpr bool kSignalsAreHeldBack = false;
#endif

// Who wrote an event is the one thing that differs from run to run.
std::string WithoutWriter(const std::string& text) {
  return std::regex_replace(text, std::regex(R"("ProcessId":"\d+","ThreadId":"\d+")"),
                            R"("ProcessId":"P","ThreadId":"T")");
}

TEST(Commands, TheTextsOfTheThreeTemplatesWordForWord) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--file", "temp", "--event", "-"},
             "0x1DD79BD7968B9E1,1,provider=DestUsb,text=plain \"quoted\" \\\n"
             "+10,2,provider=DestUsb,template=wide,text=\xE2\x82\xAC uro\n"
             "+10,3,provider=DestUsb,template=binary,text=ab\n"
             "+10,4,provider=DestUsb,keyword=0,text=no module\n"
             "+10,5,provider=DestUsb,keyword=0x400000000,text=unknown module\n"
             "+10,6,provider=DestUsb,text=\n"
             "+10,7,provider=DestUsb,template=wide,text=\n"
             "+10,8,provider=DestUsb,template=binary,text=\n");
  std::istringstream in(WithoutWriter(machine.Do({"run", "--idle-exit", "3", "--flags", "0"})));
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    if (line.find("\"Function\":\"AnalyzeBSODEvents\"") == std::string::npos) lines.push_back(line);
  }
  std::sort(lines.begin(), lines.end());  // of three consumers, which do not wait for each other
  std::string sorted;
  for (const std::string& line : lines) sorted += line + '\n';
  const std::string path = VARNEL_GOLDEN_DIR "/texts.ndjson";
  if (std::getenv("VARNEL_UPDATE_GOLDEN") != nullptr) std::ofstream(path) << sorted;
  EXPECT_EQ(sorted, ReadAll(path)) << path;
}

TEST(Commands, ASecondSignalEndsARunThatCannotStop) {
  if (kSignalsAreHeldBack) GTEST_SKIP() << "not under the thread sanitizer";
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.RunModule();  // so that the text that no crash was found does not come first
  machine.Do({"machine", "emit", "--provider", "SourceUsb", "--count", "2000", "--rate", "20000", "--size", "200"});
  // Nobody reads the pipe: the callback blocks, and stop waits for it.
  auto run = machine.Start({"run", "-q", "--flags", "0"}, ChildProcess::Output::kPiped);
  ASSERT_TRUE(run.WaitForOutput(std::chrono::minutes(1)));
  run.Signal(SIGTERM);
  const std::string status = "/proc/" + std::to_string(run.pid()) + "/status";
  // The first one was taken when it is not pending any more.
  ASSERT_TRUE(WaitUntil([&] {
    const std::string text = ReadAll(status);
    const std::size_t at = text.find("ShdPnd:\t");
    return at != std::string::npos && text.substr(at + 8, 16) == "0000000000000000";
  }));
  run.Signal(SIGTERM);
  EXPECT_EQ(run.Wait(), 128 + SIGTERM);
}

TEST(Commands, AClosedPipeEndsARunWithOneLine) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--count", "5"});
  const std::string script = "'" VARNEL_WARDLET "' run -q --idle-exit 3 --flags 0 --machine '" + machine.root() +
                             "' 2>'" + machine.File("err") + "' | true";
  EXPECT_EQ(std::system(script.c_str()), 0);
  EXPECT_THAT(ReadAll(machine.File("err")), HasSubstr("wardlet run: standard output: Broken pipe; "));
}

TEST(Commands, AMinusForTheOutputsNameIsStandardOutput) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--file", "temp", "--event", "+0,1", "--event", "+10,2"});
  const std::string out = machine.Do({"run", "-o", "-", "--idle-exit", "3", "--flags", "0"});
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3) << "both, and that there was no crash";
  EXPECT_FALSE(std::filesystem::exists("-"));
}

TEST(Commands, AMachineIsNotMadeWhereSomethingStands) {
  const ScenarioMachine machine;
  std::filesystem::create_directory(machine.File("full"));
  std::ofstream(machine.File("full/mine")) << "x";
  const Outcome outcome = [&] {
    const std::string script =
        "'" VARNEL_WARDLET "' machine new '" + machine.File("full") + "' 2>'" + machine.File("err") + "'";
    return Outcome{WEXITSTATUS(std::system(script.c_str())), "", ReadAll(machine.File("err"))};
  }();
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, StartsWith("wardlet machine new: " + machine.File("full") + ": "));
  EXPECT_EQ(ReadAll(machine.File("full/mine")), "x");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(machine.File("full")), {}), 1);
}

TEST(Commands, AKeyThatIsNotThereIsToldByName) {
  const ScenarioMachine machine;
  const Outcome outcome = machine.Wardlet({"machine", "registry", "HKLM\\SOFTWARE\\Nothing"});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr("Nothing"));
}

TEST(Commands, EmitRefusesWhatIsNoProviderKeywordOrSize) {
  const ScenarioMachine machine;
  EXPECT_THAT(machine.Wardlet({"machine", "emit", "--provider", "Nobody"}).err,
              HasSubstr("wardlet machine emit: 'Nobody' is none of the seven providers\n"));
  EXPECT_THAT(machine.Wardlet({"machine", "emit", "--keyword", "0x180"}).err,
              HasSubstr("keyword 0x180 is no module's: one bit of 0x8 to 0x200000000\n"));
  EXPECT_THAT(machine.Wardlet({"machine", "emit", "--size", "9:3"}).err,
              HasSubstr("size '9:3' is neither N nor MIN:MAX, up to 60000\n"));
  EXPECT_EQ(machine.Wardlet({"machine", "emit", "--provider", "Nobody"}).exit_code, 2);
  const Outcome event = machine.Wardlet({"machine", "emit", "--event", "+0,1"});
  EXPECT_EQ(event.exit_code, 2);
  EXPECT_THAT(event.err, HasSubstr("wardlet machine emit: --event goes with --file\n"));
}

TEST(Commands, EmitRefusesNegativeNumbers) {
  const ScenarioMachine machine;
  for (const std::string option : {"--count", "--first", "--rate", "--gap-every", "--repeat-every", "--seed"}) {
    const Outcome outcome = machine.Wardlet({"machine", "emit", option, "-1"});
    EXPECT_EQ(outcome.exit_code, 2) << option;
    EXPECT_THAT(outcome.err, HasSubstr(option + ": '-1' is")) << option;
  }
}

TEST(Commands, AnEventThatIsNoneIsToldWithItsLine) {
  const ScenarioMachine machine;
  const std::string file = machine.File("odd.etl");
  const Outcome outcome = machine.Wardlet({"machine", "emit", "--file", file, "--event", "-"}, "+0,1\n\nsoon,2\n");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr("standard input:3: event 'soon,2': 'soon' is no number\n"));
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(Commands, HelpThatCannotBeWrittenFails) {
  const ScenarioMachine machine;
  const std::string line = std::string(VARNEL_WARDLET) + " --help >/dev/full 2>" + machine.File("err");
  EXPECT_NE(std::system(line.c_str()), 0);
}

TEST(Commands, EmitTellsWhatNobodyHeard) {
  const ScenarioMachine machine;
  const Outcome outcome = machine.Wardlet({"machine", "emit", "--count", "2"});
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.err, HasSubstr("0 events written, 14 not written since no session listens\n"));
}

TEST(Commands, TheDemonstrationShowsEverythingAndNothingTwice) {
  const ScenarioMachine machine;  // for its folder
  const std::string script = "'" VARNEL_WARDLET "' demo >'" + machine.File("out") + "' 2>'" + machine.File("err") + "'";
  EXPECT_EQ(std::system(script.c_str()), 0) << ReadAll(machine.File("err"));
  EXPECT_THAT(ReadAll(machine.File("err")), HasSubstr(" events came, none of them twice\n"));
  EXPECT_THAT(ReadAll(machine.File("err")), HasSubstr("the crash was told once, not twice, its dump in 2 texts\n"));
  ArchiveTexts(ReadAll(machine.File("out")));
  const Numbers numbers = NumbersOf(ReadAll(machine.File("out")));
  for (const std::string& provider : AllProviders()) EXPECT_GE(numbers.at(provider).size(), 7u) << provider;
}

}  // namespace
}  // namespace varnel::scenario

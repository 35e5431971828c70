#include "host/dump_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "host/exit_code.h"
#include "host/text_field.h"
#include "tests/host/golden_json.h"
#include "tests/host/small_dump.h"
#include "tests/host/trace_command.h"
#include "tests/host/wardlet_process.h"

namespace varnel::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace fs = std::filesystem;

std::vector<std::string> Lines(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

/// "BsodDumpCallBackNoSymbol C:\...\a.dmp" of each text.
std::vector<std::string> PassesAndDumps(const std::string& texts) {
  std::vector<std::string> told;
  for (const std::string& text : Lines(texts)) {
    told.push_back(TextField(text, "Function").value_or("?") + ' ' + TextField(text, "dump_file").value_or("?"));
  }
  return told;
}

/// The report of a text, without what is of the run; null when there is none.
cJSON* ReportIn(const Json& text) {
  cJSON* const report = cJSON_GetObjectItemCaseSensitive(text.get(), "AdditionalMsgJson");
  cJSON* const info = cJSON_GetObjectItemCaseSensitive(report, "analysis_info");
  cJSON_DeleteItemFromObjectCaseSensitive(info, "dump_file");
  cJSON_DeleteItemFromObjectCaseSensitive(info, "analysis_time");
  return report;
}

class ReportOfASample : public testing::TestWithParam<const char*> {};

// The golden files come from the bytes by way of golden/dump_report/from_bytes.py, which shares nothing with the
// module.
TEST_P(ReportOfASample, TellsWhatItsBytesSayWithoutSymbolsAndThenWithSymbolsThatAreNotToBeHad) {
  const fs::path sample = fs::path(VARNEL_SAMPLES_DIR) / "dmp" / GetParam();
  if (!fs::exists(sample)) GTEST_SKIP() << "the sample files are not there";
  const Outcome outcome = RunWardlet({"dump", "report", sample.string()});
  EXPECT_EQ(outcome.exit_code, kExitGood);
  EXPECT_EQ(outcome.err, "");
  const Json golden = GoldenJson("dump_report/" + std::string(GetParam()) + ".json");
  ASSERT_NE(golden, nullptr);
  const auto texts = Lines(outcome.out);
  ASSERT_EQ(texts.size(), 2u) << outcome.out;
  const char* const passes[] = {"no_symbol", "full"};
  for (int i = 0; i < 2; ++i) {
    const Json text = ParsedJson(texts[static_cast<std::size_t>(i)]);
    ASSERT_NE(text, nullptr);
    const cJSON* const expected = cJSON_GetObjectItemCaseSensitive(golden.get(), passes[i]);
    EXPECT_EQ(FirstDifference(ReportIn(text), expected, passes[i]), "");
  }
}

INSTANTIATE_TEST_SUITE_P(DumpReport, ReportOfASample,
                         testing::Values("040124-5218-01.dmp", "040124-5515-01.dmp", "082325-12593-01.dmp",
                                         "083125-14875-01.dmp", "100623-4953-01.dmp", "102622-12546-01.dmp",
                                         "102622-15671-01.dmp", "102622-30093-01.dmp",
                                         "coredump_win10_64bit_stripped.raw", "triage_x64.dmp"),
                         [](const testing::TestParamInfo<const char*>& info) {
                           std::string name = info.param;
                           for (char& c : name) {
                             if (c == '-' || c == '.') c = '_';
                           }
                           return name;
                         });

TEST(DumpReport, ComesInTheOrderGivenFirstAllWithoutSymbolsThenAllWithThem) {
  TemporaryFolder folder;
  const std::string b = folder.Put("b.dmp", SmallDump());
  const std::string a = folder.Put("a.dmp", HeaderOf(3));
  const std::string c = folder.Put("c.raw", HeaderOf(3));
  const Outcome outcome = RunWardlet({"dump", "report", b, a, c});
  EXPECT_EQ(outcome.exit_code, kExitGood) << outcome.err;
  EXPECT_THAT(PassesAndDumps(outcome.out), ElementsAre("BsodDumpCallBackNoSymbol C:\\Windows\\Minidump\\b.dmp",
                                                       "BsodDumpCallBackNoSymbol C:\\Windows\\Minidump\\a.dmp",
                                                       "BsodDumpCallBackNoSymbol C:\\Windows\\Minidump\\c.raw.dmp",
                                                       "BsodDumpCallBackWithSymbol C:\\Windows\\Minidump\\b.dmp",
                                                       "BsodDumpCallBackWithSymbol C:\\Windows\\Minidump\\a.dmp",
                                                       "BsodDumpCallBackWithSymbol C:\\Windows\\Minidump\\c.raw.dmp"));
  EXPECT_THAT(outcome.out, Not(HasSubstr("\"importance\":\"FALSE\"")));
}

TEST(DumpReport, MoreFilesThanAFirstRunTellsAreAllTold) {
  TemporaryFolder folder;
  std::vector<std::string> words = {"dump", "report", "--flags", "1"};
  for (std::uint64_t i = 0; i < 8; ++i) {
    DumpBytes bytes = HeaderOf(3);
    PutAt<std::uint64_t>(&bytes, 0x40, i);
    words.push_back(folder.Put(std::to_string(i) + ".dmp", bytes));
  }
  const Outcome outcome = RunWardlet(words);
  EXPECT_EQ(outcome.exit_code, kExitGood) << outcome.err;
  EXPECT_EQ(Lines(outcome.out).size(), 8u);
  EXPECT_THAT(outcome.out, Not(HasSubstr("\"importance\":\"FALSE\"")));
}

TEST(DumpReport, OfOnePassIsThatPassAlone) {
  TemporaryFolder folder;
  const std::string path = folder.Put("a.dmp", SmallDump());
  EXPECT_THAT(PassesAndDumps(RunWardlet({"dump", "report", "--flags", "1", path}).out),
              ElementsAre(HasSubstr("BsodDumpCallBackNoSymbol")));
  EXPECT_THAT(PassesAndDumps(RunWardlet({"dump", "report", "--flags", "2", path}).out),
              ElementsAre(HasSubstr("BsodDumpCallBackWithSymbol")));
}

TEST(DumpReport, ThereIsNoneOfASampleOfA32BitMachine) {
  const fs::path sample = fs::path(VARNEL_SAMPLES_DIR) / "dmp" / "coredump_win7_32bit_stripped.raw";
  if (!fs::exists(sample)) GTEST_SKIP() << "the sample files are not there";
  const Outcome outcome = RunWardlet({"dump", "report", sample.string()});
  EXPECT_EQ(outcome.exit_code, kExitFailed);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr(": no text: a dump of a machine of type x86;"));
}

TEST(DumpReport, ADumpOfAnotherMachineHasNoTextAndIsExplained) {
  TemporaryFolder folder;
  const std::string x86 = folder.Put("x86.dmp", HeaderOf32Bits());
  const std::string good = folder.Put("good.dmp", SmallDump());
  const Outcome outcome = RunWardlet({"dump", "report", x86, good});
  EXPECT_EQ(outcome.exit_code, kExitFailed);
  EXPECT_EQ(outcome.err, "wardlet dump report: " + x86 +
                             ": no text: a dump of a machine of type x86; the module tells those of x64 alone\n");
  EXPECT_THAT(PassesAndDumps(outcome.out), ElementsAre("BsodDumpCallBackNoSymbol C:\\Windows\\Minidump\\good.dmp",
                                                       "BsodDumpCallBackWithSymbol C:\\Windows\\Minidump\\good.dmp"));
}

TEST(DumpReport, WhatIsNoDumpIsExplainedWithThePlace) {
  TemporaryFolder folder;
  const std::string other = folder.Put("other.dmp", DumpBytes(0x2000));
  const Outcome outcome = RunWardlet({"dump", "report", "--flags", "1", other});
  EXPECT_EQ(outcome.exit_code, kExitFailed);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr("wardlet dump report: " + other + ": no text without symbols: byte 0: "));
}

TEST(DumpReport, AFileThatIsNotThereIsToldAndTheOthersAreReported) {
  TemporaryFolder folder;
  const std::string none = folder.PathOf("none.dmp");
  const Outcome outcome = RunWardlet({"dump", "report", "--flags", "1", none, folder.Put("a.dmp", SmallDump())});
  EXPECT_EQ(outcome.exit_code, kExitFailed);
  EXPECT_EQ(outcome.err, "wardlet dump report: " + none + ": No such file or directory\n");
  EXPECT_EQ(Lines(outcome.out).size(), 1u);
}

/// Where the program makes its temporary folders while this lives.
class TemporaryPlace {
 public:
  explicit TemporaryPlace(std::string path) : path_(std::move(path)) {
    const char* const before = std::getenv("TMPDIR");
    if (before != nullptr) before_ = before;
    fs::create_directory(path_);
    ::setenv("TMPDIR", path_.c_str(), 1);
  }
  ~TemporaryPlace() {
    before_.empty() ? static_cast<void>(::unsetenv("TMPDIR"))
                    : static_cast<void>(::setenv("TMPDIR", before_.c_str(), 1));
  }
  TemporaryPlace(const TemporaryPlace&) = delete;
  TemporaryPlace& operator=(const TemporaryPlace&) = delete;

  const std::string& path() const { return path_; }
  /// Whether a file of this name is in it, however deep. Others add and remove meanwhile.
  bool Holds(const std::string& ending) const {
    std::error_code error;
    for (fs::recursive_directory_iterator at(path_, error), end; !error && at != end; at.increment(error)) {
      if (at->path().string().ends_with(ending)) return true;
    }
    return false;
  }

 private:
  const std::string path_;
  std::string before_;
};

TEST(DumpReport, AStopIsToldOnceAndBlamesNoDump) {
  TemporaryFolder folder;
  // No text ever comes of it, so that the program waits for the module to be idle.
  const std::string x86 = folder.Put("x86.dmp", HeaderOf32Bits());
  const TemporaryPlace place(folder.PathOf("temporary"));
  auto child = ChildProcess::Start({"/bin/sh", "-c", "exec \"$0\" \"$@\" >/dev/null 2>'" + folder.PathOf("err") + "'",
                                    VARNEL_WARDLET, "dump", "report", x86},
                                   ChildProcess::Output::kInherited);
  ASSERT_TRUE(child.ok());
  for (int i = 0; i < 6000 && !place.Holds("-12593BD342A8}.txt"); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  child.value().Signal(SIGINT);
  EXPECT_EQ(child.value().Wait(), kExitFailed);
  EXPECT_EQ(ReadAll(folder.PathOf("err")), "wardlet dump report: stopped\n");
  EXPECT_TRUE(fs::is_empty(place.path()));
}

TEST(DumpReport, AnOutputThatIsGoneIsToldOnceAndBlamesNoDump) {
  TemporaryFolder folder;
  const std::string path = folder.Put("a.dmp", SmallDump());
  const TemporaryPlace place(folder.PathOf("temporary"));
  auto child = ChildProcess::Start({"/bin/sh", "-c", "exec \"$0\" \"$@\" >/dev/full 2>'" + folder.PathOf("err") + "'",
                                    VARNEL_WARDLET, "dump", "report", path},
                                   ChildProcess::Output::kInherited);
  ASSERT_TRUE(child.ok());
  EXPECT_EQ(child.value().Wait(), kExitFailed);
  EXPECT_EQ(ReadAll(folder.PathOf("err")),
            "wardlet dump report: the output could not be written: No space left on device\n");
  EXPECT_TRUE(fs::is_empty(place.path()));
}

TEST(DumpReport, ItsMachineGoesUnlessItIsKept) {
  TemporaryFolder folder;
  const std::string path = folder.Put("a.dmp", SmallDump());
  const TemporaryPlace place(folder.PathOf("temporary"));
  EXPECT_EQ(RunWardlet({"dump", "report", "--flags", "1", path}).exit_code, kExitGood);
  EXPECT_TRUE(fs::is_empty(place.path()));
  const Outcome kept = RunWardlet({"dump", "report", "--flags", "1", "--keep", path});
  EXPECT_EQ(kept.exit_code, kExitGood);
  ASSERT_EQ(kept.err.rfind("wardlet dump report: the machine stays in " + place.path(), 0), 0u) << kept.err;
  std::string machine = kept.err.substr(kept.err.find(place.path()));
  machine.pop_back();
  EXPECT_TRUE(fs::exists(machine + "/C/ProgramData/KelvoVarnels/Log")) << machine;
}

TEST(WhyNoReport, OfADumpThatCanBeReadSaysWhatItIs) {
  TemporaryFolder folder;
  EXPECT_THAT(WhyNoReport(folder.Put("a.dmp", SmallDump())), HasSubstr("the dump can be read (small); the log"));
}

TEST(WhyNoReport, OfAFileThatHasGoneSaysSo) {
  TemporaryFolder folder;
  EXPECT_EQ(WhyNoReport(folder.PathOf("none.dmp")), "No such file or directory");
}

}  // namespace
}  // namespace varnel::host

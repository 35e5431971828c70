// Crash dumps on a machine to the host's lines, over real dumps. What is expected stands in the dumps' bytes.
#include <cjson/cJSON.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/embedded/registry/lmdb_registry.h"
#include "tests/scenario/scenario_machine.h"

namespace varnel::scenario {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

const fs::path kSamples = fs::path(VARNEL_SAMPLES_DIR) / "dmp";
constexpr char kWithoutSymbols[] = "BsodDumpCallBackNoSymbol";
constexpr char kWithSymbols[] = "BsodDumpCallBackWithSymbol";

class DumpTexts : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(kSamples)) GTEST_SKIP() << "the sample dumps are not there";
    embedded::LmdbRegistry registry(machine_.root() + "/registry");
    platform::HKEY key = nullptr;
    ASSERT_EQ(registry.RegCreateKeyExW(platform::kHkeyLocalMachine, u"SYSTEM\\CurrentControlSet\\Control\\CrashControl",
                                       0, platform::kKeyWrite, &key, nullptr),
              0u);
    const std::uint32_t small = 3;
    EXPECT_EQ(registry.RegSetValueExW(key, u"CrashDumpEnabled", platform::kRegDword, &small, 4), 0u);
    registry.RegCloseKey(key);
  }

  fs::path Drive() const { return fs::path(machine_.root()) / "C"; }
  void Bring(const std::string& sample, const std::string& name) const {
    fs::copy_file(kSamples / sample, Drive() / "Windows/Minidump" / name);
    fs::permissions(Drive() / "Windows/Minidump" / name, fs::perms::owner_read | fs::perms::owner_write);
  }
  /// The lines of one kind that a run prints.
  std::vector<std::string> Run(const char* kind, const std::string& flags = "3") {
    std::vector<std::string> lines;
    std::istringstream in(machine_.Do({"run", "--idle-exit", "3", "--flags", flags}));
    for (std::string line; std::getline(in, line);) {
      all_ += line + '\n';
      if (line.find(kind) != std::string::npos) lines.push_back(line);
    }
    return lines;
  }

  const ScenarioMachine machine_;
  std::string all_;
};

/// A number or text of a report by its path: "bugcheck", "code".
std::string Value(const std::string& line, const std::vector<const char*>& path) {
  const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> text(cJSON_Parse(line.c_str()), &cJSON_Delete);
  const cJSON* at = cJSON_GetObjectItem(text.get(), "AdditionalMsgJson");
  for (const char* step : path) at = cJSON_GetObjectItem(at, step);
  if (cJSON_IsNumber(at)) return std::to_string(static_cast<long long>(at->valuedouble));
  return cJSON_IsString(at) ? at->valuestring : "";
}

std::vector<std::string> Codes(const std::vector<std::string>& lines) {
  std::vector<std::string> codes;
  for (const std::string& line : lines) codes.push_back(Value(line, {"bugcheck", "code"}));
  return codes;
}

TEST_F(DumpTexts, EachDumpInTheMachinesFolderIsToldInBothModesAndNeverAgain) {
  Bring("083125-14875-01.dmp", "a.dmp");
  Bring("102622-15671-01.dmp", "b.dmp");
  EXPECT_THAT(Codes(Run(kWithoutSymbols)), UnorderedElementsAre("0x0000004A", "0x00000050"));
  EXPECT_THAT(all_, HasSubstr(kWithSymbols));
  all_.clear();
  EXPECT_THAT(Run(kWithoutSymbols), IsEmpty());
  EXPECT_THAT(all_, Not(HasSubstr(kWithSymbols)));
}

TEST_F(DumpTexts, ADumpThatComesLaterIsToldByTheNextRun) {
  Bring("083125-14875-01.dmp", "a.dmp");
  EXPECT_THAT(Run(kWithoutSymbols), SizeIs(1));
  Bring("102622-12546-01.dmp", "b.dmp");
  EXPECT_THAT(Codes(Run(kWithoutSymbols)), ElementsAre("0x0000001E"));
}

TEST_F(DumpTexts, TheReportWithoutSymbolsIsWhatTheDumpHolds) {
  Bring("triage_x64.dmp", "a.dmp");
  const auto lines = Run(kWithoutSymbols, "1");
  ASSERT_THAT(lines, SizeIs(1));
  const std::string& line = lines[0];
  EXPECT_EQ(Value(line, {"analysis_info", "dump_file"}), "C:\\Windows\\Minidump\\a.dmp");
  EXPECT_EQ(Value(line, {"analysis_info", "dump_type"}), "Small Memory Dump");
  EXPECT_EQ(Value(line, {"system_info", "os_version"}), "15 Kernel Version 19041 Free x64");
  EXPECT_EQ(Value(line, {"system_info", "system_uptime_ms"}), "3000");
  EXPECT_EQ(Value(line, {"bugcheck", "code"}), "0x1000007E");
  EXPECT_EQ(Value(line, {"bugcheck", "parameter2"}), "0xFFFFF8048B58334C");
  EXPECT_EQ(Value(line, {"crash_context", "registers", "rip"}), "0xFFFFF8048B58334C");
  EXPECT_EQ(Value(line, {"crash_context", "registers", "rsp"}), "0xFFFF850429892120");
  EXPECT_THAT(line, HasSubstr("\"loaded_modules\":[{\"name\":\"nt\","));
  EXPECT_THAT(all_, Not(HasSubstr(kWithSymbols)));
}

TEST_F(DumpTexts, AnalysisWithSymbolsLeavesNothingInTheHostsFolder) {
  Bring("083125-14875-01.dmp", "a.dmp");
  const auto lines = Run(kWithSymbols, "2");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(Value(lines[0], {"analysis_info", "symbol_mode"}), "full");
  EXPECT_EQ(Value(lines[0], {"crash_context", "process_name"}), "Unknown") << "its type is known from symbols alone";
  for (const char* name : {"dbgeng.dll", "dbghelp.dll", "symsrv.dll", "symsrv.yes", "sym"}) {
    EXPECT_FALSE(fs::exists(Drive() / "Program Files/Varnel/Host" / name)) << name;
  }
}

TEST_F(DumpTexts, WhatIsNoDumpOfAnX64DoesNotKeepTheOthersFromBeingTold) {
  Bring("coredump_win7_32bit_stripped.raw", "a.dmp");
  std::ofstream(Drive() / "Windows/Minidump/b.dmp") << std::string(10'000, 'x');
  std::ofstream(Drive() / "Windows/Minidump/c.dmp") << "PAGEDU64";
  Bring("083125-14875-01.dmp", "d.dmp");
  const auto codes = Codes(Run(kWithoutSymbols));
  EXPECT_THAT(codes, ::testing::Contains("0x0000004A"));
}

/// The functions of a report's stack in their order, without the places in them; those without a name are left out.
std::vector<std::string> Functions(const std::string& line) {
  const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> text(cJSON_Parse(line.c_str()), &cJSON_Delete);
  const cJSON* const report = cJSON_GetObjectItem(text.get(), "AdditionalMsgJson");
  std::vector<std::string> functions;
  const cJSON* frame = nullptr;
  cJSON_ArrayForEach(frame, cJSON_GetObjectItem(report, "call_stack")) {
    const std::string symbol = cJSON_GetStringValue(cJSON_GetObjectItem(frame, "symbol"));
    if (symbol.find('!') != std::string::npos) functions.push_back(symbol.substr(0, symbol.find('+')));
  }
  return functions;
}

class SimulatedCrash : public ::testing::TestWithParam<std::string> {};

TEST_P(SimulatedCrash, IsToldByTheNextBootsRunWithItsStackAndItsKernelsVersion) {
  const ScenarioMachine machine;
  machine.Do({"machine", "crash", "--dump", GetParam(), "--bugcheck", "0x133"});
  machine.Do({"machine", "boot"});
  std::istringstream in(machine.Do({"run", "--idle-exit", "3", "--flags", "2"}));
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    if (line.find(kWithSymbols) != std::string::npos) lines.push_back(line);
  }
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(Value(lines[0], {"bugcheck", "code"}), "0x00000133");
  EXPECT_EQ(Value(lines[0], {"system_info", "nt_file_version"}), "10.0.19041.5072");
  EXPECT_THAT(Functions(lines[0]), ElementsAre("nt!KeBugCheckEx", "nt!KeCheckWatchdogs", "nt!ExQueueWorkItem",
                                               "nt!PsCreateSystemThread", "nt!KiStartSystemThread"));
}

INSTANTIATE_TEST_SUITE_P(Forms, SimulatedCrash, ::testing::Values("small", "kernel", "complete"),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace varnel::scenario

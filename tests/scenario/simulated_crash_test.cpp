// A simulated crash from the command that makes it to the host's lines: the event and the dump, in each form.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/scenario/scenario_machine.h"

namespace varnel::scenario {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct Form {
  const char* name;
  const char* type;  // what CrashDumpEnabled becomes
  const char* kind;  // as the report calls it
};
constexpr Form kForms[] = {{"small", "3", "Small Memory Dump"},
                           {"kernel", "2", "Kernel Memory Dump"},
                           {"complete", "1", "Complete Memory Dump"}};

/// The lines of one function that tell something: a run without a dump says so in a line of its own.
std::vector<std::string> LinesOf(const std::string& texts, const std::string& function) {
  std::vector<std::string> lines;
  std::istringstream in(texts);
  for (std::string line; std::getline(in, line);) {
    const bool told = line.find("\"AdditionalMsgJson\":null") == std::string::npos;
    if (told && line.find("\"Function\":\"" + function + "\"") != std::string::npos) lines.push_back(line);
  }
  return lines;
}

class SimulatedCrash : public ::testing::TestWithParam<Form> {
 protected:
  // A machine on which the module ran before, so that what comes is new.
  void SetUp() override { machine_.Do({"run", "--idle-exit", "1"}); }

  Outcome Crash(const std::string& bugcheck) {
    const Outcome crashed = machine_.Wardlet({"machine", "crash", "--dump", GetParam().name, "--bugcheck", bugcheck});
    EXPECT_EQ(crashed.exit_code, 0) << crashed.err;
    machine_.Do({"machine", "boot"});
    return crashed;
  }
  ScenarioMachine machine_;
};

TEST_P(SimulatedCrash, IsToldByTheNextRunFromItsEventAndFromItsDump) {
  Crash("0xd1,0x8,2,1,0xfffff80200031234");
  const std::string texts = machine_.Do({"run", "--idle-exit", "2"});
  EXPECT_THAT(LinesOf(texts, "AnalyzeBSODEvents"), SizeIs(1));
  const auto plain = LinesOf(texts, "BsodDumpCallBackNoSymbol");
  ASSERT_THAT(plain, SizeIs(1));
  EXPECT_THAT(
      plain[0],
      AllOf(HasSubstr(std::string("\"dump_type\":\"") + GetParam().kind + "\""), HasSubstr(R"("importance":"TRUE")"),
            HasSubstr(R"("code":"0x000000D1","parameter1":"0x0000000000000008")"),
            HasSubstr(R"("parameter4":"0xFFFFF80200031234")"),
            HasSubstr(R"("irql":{"level":2,"name":"DISPATCH_LEVEL"})"), HasSubstr(R"("rip":"0xFFFFF80123401000")")));
  EXPECT_THAT(plain[0], AllOf(HasSubstr(R"({"name":"nt","base_address":"0xFFFFF80123400000")"),
                              HasSubstr(R"("name":"varnel_link")"), HasSubstr(R"("name":"gr_n")")));
}

TEST_P(SimulatedCrash, TheReportWithSymbolsNamesTheCallsByTheKernelsExports) {
  Crash("0x133,1,0x1e00");
  const auto named = LinesOf(machine_.Do({"run", "--idle-exit", "2"}), "BsodDumpCallBackWithSymbol");
  ASSERT_THAT(named, SizeIs(1));
  EXPECT_THAT(named[0], HasSubstr(R"("nt_file_version":"10.0.19041.5072")"));
  std::size_t at = named[0].find("\"call_stack\":");
  ASSERT_NE(at, std::string::npos);
  for (const char* function :
       {"KeBugCheckEx", "KeCheckWatchdogs", "ExQueueWorkItem", "PsCreateSystemThread", "KiStartSystemThread"}) {
    at = named[0].find(std::string("\"nt!") + function + "+0x", at);
    ASSERT_NE(at, std::string::npos) << function << " comes behind those that it called";
  }
}

TEST_P(SimulatedCrash, ItsDumpIsNotToldAgain) {
  Crash("0xe2");
  machine_.Do({"run", "--idle-exit", "2"});
  const std::string again = machine_.Do({"run", "--idle-exit", "1"});
  EXPECT_THAT(LinesOf(again, "BsodDumpCallBackNoSymbol"), IsEmpty());
  EXPECT_THAT(LinesOf(again, "BsodDumpCallBackWithSymbol"), IsEmpty());
}

TEST_P(SimulatedCrash, TheCommandSaysWhatItSetAndWhatItLeft) {
  const Outcome crashed = Crash("0xe2");
  EXPECT_THAT(crashed.out, IsEmpty());
  EXPECT_THAT(crashed.err, HasSubstr(std::string("CrashDumpEnabled of the machine is now ") + GetParam().type));
  EXPECT_THAT(crashed.err, HasSubstr("the crash left C:\\Windows\\M"));
}

TEST_P(SimulatedCrash, WhatIsNoStopCodeIsWrongUseAndChangesNothing) {
  const Outcome refused = machine_.Wardlet({"machine", "crash", "--dump", GetParam().name, "--bugcheck", "0xd1,zero"});
  EXPECT_EQ(refused.exit_code, 2);
  EXPECT_FALSE(fs::exists(machine_.root() + "/crash"));
  EXPECT_FALSE(fs::exists(machine_.root() + "/C/Windows/MEMORY.DMP"));
}

INSTANTIATE_TEST_SUITE_P(Forms, SimulatedCrash, ::testing::ValuesIn(kForms),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace varnel::scenario

#include "analyzer/dump_report.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "analyzer/bsod_analyzer_object.h"
#include "analyzer/json_node.h"
#include "tests/analyzer/run_fixture.h"
#include "tests/support/cjson_faults.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

const std::u16string kDump = u"C:\\Windows\\Minidump\\a.dmp";
constexpr std::uint64_t kStack = 0xFFFFC00000001000;
constexpr std::uint64_t kNt = 0xFFFFF80000000000;
constexpr std::uint64_t kDriver = 0xFFFFF80010000000;

class DumpReport : public RunFixture {
 protected:
  DumpReport() { EXPECT_EQ(analyzer.Initialize(), 0); }
  ~DumpReport() override { EXPECT_EQ(analyzer.Uninitialize(), 0); }

  /// Everything that a dump can tell.
  void FillFacts() {
    ScriptedFacts& facts = debugger.facts;
    facts.uptime_s = 3600;
    facts.time_s = 1'700'000'000;
    facts.bug_check = {0xD1, {0x10, 2, 0, kDriver + 0x20}};
    facts.registers = {{"rsp", kStack}, {"r8", 8}, {"r10", 0xFFFFFFFFFFFFFFFF}, {"r15", 15}, {"cr8", 2}};
    facts.modules = {{kNt, 0x1000000, 0x5F000001, 0xABC, 0, "nt", "ntoskrnl.exe", "ntkrnlmp.exe"},
                     {kDriver, 0x20000, 0x5F000002, 0xDEF, 0, "driver", "", ""}};
    facts.PutWords(kStack, {0, kDriver + 0x20, kNt + 0x30});
    facts.frames.emplace(1);
    facts.frames->front().InstructionOffset = kNt + 0x30;
    facts.frames->front().StackOffset = kStack;
    facts.names[kNt + 0x30] = {"nt!KeBugCheckEx", 0};
    facts.process = 0xFFFFA00000005000;
    facts.types["_EPROCESS"] = 7;
    facts.fields["ImageFileName"] = 0x5A8;
    facts.memory[facts.process + 0x5A8] = {'S', 'y', 's', 't', 'e', 'm', 0};
    const std::string version = "10.0.19041.1";
    facts.modules[0].version_items["\\StringFileInfo\\040904B0\\FileVersion"] = {version.begin(), version.end()};
  }
  std::int32_t NoSymbol(std::uint8_t importance = 1) { return AnalyzeDumpNoSymbol(kDump, &report, importance); }
  std::int32_t WithSymbol(std::uint8_t importance = 1) {
    return analyzer.AnalyzeDumpWithSymbol(kDump, kHostFolder + u"\\sym", &report, importance);
  }

  BsodAnalyzer analyzer{kProduct};
  std::string report;
};

constexpr char kInfoNoSymbol[] =
    R"({"analysis_info":{"dump_file":"C:\\Windows\\Minidump\\a.dmp","analysis_time":"2026-02-04T09:05:07",)"
    R"("dump_type":"Small Memory Dump","analyzer_version":"1.0.0","symbol_mode":"no_symbol","symbol_loaded":false,)"
    R"("importance":"TRUE"})";
constexpr char kInfoFull[] =
    R"({"analysis_info":{"dump_file":"C:\\Windows\\Minidump\\a.dmp","analysis_time":"2026-02-04T09:05:07",)"
    R"("dump_type":"Small Memory Dump","analyzer_version":"1.0.0","symbol_mode":"full","symbol_loaded":true,)"
    R"("importance":"TRUE"})";

TEST_F(DumpReport, WithoutSymbolsTellsAllThatTheDumpHolds) {
  FillFacts();
  EXPECT_EQ(NoSymbol(), 0);
  EXPECT_EQ(report,
            std::string(kInfoNoSymbol) +
                R"(,"system_info":{"os_version":"15 Kernel Version 19041 Free x64","machine_type":"x64",)"
                R"("processor_count":0,"system_uptime_ms":3600000,"crash_time":"2023-11-15T06:13:20"},)"
                R"("bugcheck":{"code":"0x000000D1","parameter1":"0x0000000000000010",)"
                R"("parameter2":"0x0000000000000002","parameter3":"0x0000000000000000",)"
                R"("parameter4":"0xFFFFF80010000020"},)"
                R"("crash_context":{"irql":{"level":2,"name":"DISPATCH_LEVEL"},)"
                R"("registers":{"r10":"0xFFFFFFFFFFFFFFFF","r15":"0x000000000000000F","r8":"0x0000000000000008",)"
                R"("rsp":"0xFFFFC00000001000"}},)"
                R"("call_stack":[{"stack_address":"0xFFFFC00000001008","code_address":"0xFFFFF80010000020",)"
                R"("symbol":"driver+0x20"},{"stack_address":"0xFFFFC00000001010",)"
                R"("code_address":"0xFFFFF80000000030","symbol":"nt+0x30"}],)"
                R"("loaded_modules":[{"name":"nt","base_address":"0xFFFFF80000000000","size":"0x01000000",)"
                R"("timestamp":"0x5F000001","path":"ntoskrnl.exe"},{"name":"driver",)"
                R"("base_address":"0xFFFFF80010000000","size":"0x00020000","timestamp":"0x5F000002"}]})");
  EXPECT_EQ(debugger.live_engines(), 0);
  EXPECT_EQ(debugger.calls.CountOf("EndSession"), 1u);
}

TEST_F(DumpReport, WithSymbolsTellsNamesProcessAndVersion) {
  FillFacts();
  EXPECT_EQ(WithSymbol(), 0);
  EXPECT_EQ(report, std::string(kInfoFull) +
                        R"(,"system_info":{"os_version":"15 Kernel Version 19041 Free x64","machine_type":"x64",)"
                        R"("processor_count":0,"system_uptime_ms":3600000,"crash_time":"2023-11-15T06:13:20",)"
                        R"("nt_file_version":"10.0.19041.1","nt_product_version":""},)"
                        R"("bugcheck":{"code":"0x000000D1","parameter1":"0x0000000000000010",)"
                        R"("parameter2":"0x0000000000000002","parameter3":"0x0000000000000000",)"
                        R"("parameter4":"0xFFFFF80010000020"},)"
                        R"("crash_context":{"process_name":"System","irql":{"level":2,"name":"DISPATCH_LEVEL"}},)"
                        R"("call_stack":[{"stack_address":"0xFFFFC00000001000","code_address":"0xFFFFF80000000030",)"
                        R"("symbol":"nt!KeBugCheckEx+0x0"}]})");
  EXPECT_EQ(debugger.live_engines(), 0);
  EXPECT_EQ(debugger.calls.CountOf("EndSession"), 1u);
  EXPECT_FALSE(HasCopies());
  EXPECT_EQ(debugger.live_engines(), 0);
}

/// Fails every fact but the system's.
void FailFacts(FaultPlan* calls) {
  for (const char* call :
       {"GetSystemVersion", "GetCurrentSystemUpTime", "GetCurrentTimeDate", "ReadBugCheckData", "GetIndexByName",
        "GetStackTrace", "GetNumberModules", "GetModuleByModuleName", "GetCurrentThreadId", "GetDebuggeeType"}) {
    calls->FailForEver(call, 0x8000FFFF);
  }
}

constexpr char kBareSystem[] =
    R"(,"system_info":{"os_version":"","machine_type":"x64","processor_count":0,"system_uptime_ms":0,)"
    R"("crash_time":""}})";

std::string WithUnknownType(std::string info) {
  const std::string known = "Small Memory Dump";
  return info.replace(info.find(known), known.size(), "Unknown");
}

TEST_F(DumpReport, HoldsTheTwoFirstObjectsWhenAllOtherFactsFail) {
  FillFacts();
  FailFacts(&debugger.calls);
  EXPECT_EQ(NoSymbol(), 0);
  EXPECT_EQ(report, WithUnknownType(kInfoNoSymbol) + kBareSystem);
  report.clear();
  EXPECT_EQ(WithSymbol(), 0);
  EXPECT_EQ(report, WithUnknownType(kInfoFull) + kBareSystem);
}

/// An engine's call that fails, and what becomes of a whole report with or without symbols then.
struct LostFact {
  const char* call;
  void (*no_symbol)(cJSON* report);
  void (*full)(cJSON* report);
};
class LostFacts : public DumpReport, public ::testing::WithParamInterface<LostFact> {
 protected:
  static std::string Changed(const std::string& text, void (*change)(cJSON* report)) {
    const JsonNode json(cJSON_Parse(text.c_str()));
    change(json.get());
    const std::unique_ptr<char, void (*)(void*)> printed(cJSON_PrintUnformatted(json.get()), &cJSON_free);
    return printed.get();
  }
};

TEST_P(LostFacts, CostTheirOwnPlacesAndNothingElse) {
  FillFacts();
  ASSERT_EQ(NoSymbol(), 0);
  const std::string no_symbol = Changed(report, GetParam().no_symbol);
  ASSERT_EQ(WithSymbol(), 0);
  const std::string full = Changed(report, GetParam().full);
  debugger.calls.FailForEver(GetParam().call, 0x8000FFFF);
  EXPECT_EQ(NoSymbol(), 0);
  EXPECT_EQ(report, no_symbol);
  EXPECT_EQ(WithSymbol(), 0);
  EXPECT_EQ(report, full);
}

void Nothing(cJSON*) {}
void DropBugCheck(cJSON* report) {
  cJSON_DeleteItemFromObjectCaseSensitive(report, "bugcheck");
}
void DropCallStack(cJSON* report) {
  cJSON_DeleteItemFromObjectCaseSensitive(report, "call_stack");
}
void DropModules(cJSON* report) {
  cJSON_DeleteItemFromObjectCaseSensitive(report, "loaded_modules");
}
cJSON* Member(cJSON* report, const char* key) {
  return cJSON_GetObjectItemCaseSensitive(report, key);
}
void Replace(cJSON* object, const char* key, cJSON* value) {
  cJSON_ReplaceItemInObjectCaseSensitive(object, key, value);
}
void HaveNoType(cJSON* report) {
  Replace(Member(report, "analysis_info"), "dump_type", cJSON_CreateString("Unknown"));
}
void HaveNoOsVersion(cJSON* report) {
  Replace(Member(report, "system_info"), "os_version", cJSON_CreateString(""));
}
void HaveNoUptime(cJSON* report) {
  Replace(Member(report, "system_info"), "system_uptime_ms", cJSON_CreateNumber(0));
}
void HaveNoCrashTime(cJSON* report) {
  Replace(Member(report, "system_info"), "crash_time", cJSON_CreateString(""));
}
void HaveNoKernel(cJSON* report) {
  cJSON_DeleteItemFromObjectCaseSensitive(Member(report, "system_info"), "nt_file_version");
  cJSON_DeleteItemFromObjectCaseSensitive(Member(report, "system_info"), "nt_product_version");
  Replace(Member(report, "crash_context"), "process_name", cJSON_CreateString("Unknown"));
}
void HaveNoProcess(cJSON* report) {
  cJSON_DeleteItemFromObjectCaseSensitive(Member(report, "crash_context"), "process_name");
}
void HaveNoProcessName(cJSON* report) {
  Replace(Member(report, "crash_context"), "process_name", cJSON_CreateString("Unknown"));
}
void HaveNoIrql(cJSON* report) {
  cJSON_DeleteItemFromObjectCaseSensitive(Member(report, "crash_context"), "irql");
}
void HaveNoRegister(cJSON* report) {
  cJSON_DeleteItemFromObjectCaseSensitive(report, "crash_context");
  DropCallStack(report);
}

INSTANTIATE_TEST_SUITE_P(Each, LostFacts,
                         ::testing::Values(LostFact{"ReadBugCheckData", DropBugCheck, DropBugCheck},
                                           LostFact{"GetDebuggeeType", HaveNoType, HaveNoType},
                                           LostFact{"GetSystemVersion", HaveNoOsVersion, HaveNoOsVersion},
                                           LostFact{"GetCurrentSystemUpTime", HaveNoUptime, HaveNoUptime},
                                           LostFact{"GetCurrentTimeDate", HaveNoCrashTime, HaveNoCrashTime},
                                           LostFact{"GetNumberModules", DropModules, Nothing},
                                           LostFact{"GetStackTrace", Nothing, DropCallStack},
                                           LostFact{"ReadVirtual", DropCallStack, HaveNoProcessName},
                                           LostFact{"GetCurrentThreadId", Nothing, HaveNoProcess},
                                           LostFact{"GetModuleByModuleName", Nothing, HaveNoKernel},
                                           LostFact{"GetIndexByName", HaveNoRegister, HaveNoIrql}),
                         [](const auto& tested) { return std::string(tested.param.call); });

TEST_F(DumpReport, HasAnInterruptLevelOrRegistersAloneWhereOnlyTheseAreKnown) {
  FillFacts();
  debugger.facts.registers = {{"cr8", 15}};
  EXPECT_EQ(NoSymbol(), 0);
  EXPECT_NE(report.find(R"("crash_context":{"irql":{"level":15,"name":"DEVICE_LEVEL_15"}},"loaded_modules")"),
            std::string::npos);
  debugger.facts.registers = {{"rax", 1}};
  EXPECT_EQ(NoSymbol(), 0);
  EXPECT_NE(report.find(R"("crash_context":{"registers":{"rax":"0x0000000000000001"}},"loaded_modules")"),
            std::string::npos);
}

TEST_F(DumpReport, LeavesOutListsWithoutEntries) {
  FillFacts();
  debugger.facts.modules.clear();
  debugger.facts.frames.emplace();
  EXPECT_EQ(NoSymbol(), 0);
  EXPECT_EQ(report.find("loaded_modules"), std::string::npos);
  EXPECT_EQ(report.find("call_stack"), std::string::npos);
  EXPECT_EQ(WithSymbol(), 0);
  EXPECT_EQ(report.find("call_stack"), std::string::npos);
}

TEST_F(DumpReport, IsUtf8) {
  FillFacts();
  debugger.facts.modules[1].module_name = "t\xC3\xBCr";
  report.clear();
  EXPECT_EQ(AnalyzeDumpNoSymbol(u"C:\\\u0410\\\U0001F600.dmp", &report, 1), 0);
  EXPECT_NE(report.find("\"dump_file\":\"C:\\\\\xD0\x90\\\\\xF0\x9F\x98\x80.dmp\""), std::string::npos);
  EXPECT_NE(report.find("\"symbol\":\"t\xC3\xBCr+0x20\""), std::string::npos);
  EXPECT_NE(report.find("\"name\":\"t\xC3\xBCr\""), std::string::npos);
}

TEST_F(DumpReport, OfADumpWithoutTimesHasNoneOfThem) {
  FillFacts();
  debugger.facts.uptime_s.reset();
  debugger.facts.time_s.reset();
  EXPECT_EQ(NoSymbol(), 0);
  EXPECT_NE(report.find(R"("system_uptime_ms":0,"crash_time":"")"), std::string::npos);
}

TEST_F(DumpReport, WithSymbolsCountsAnUnknownProcessAsAValue) {
  FillFacts();
  debugger.facts.process = 0;
  EXPECT_EQ(WithSymbol(), 0);
  EXPECT_NE(report.find(R"("process_name":"Unknown")"), std::string::npos);
}

TEST_F(DumpReport, LeavesTheCrashContextOutWhenNothingIsKnownForIt) {
  FillFacts();
  debugger.facts.registers.clear();
  debugger.calls.FailForEver("GetCurrentThreadId", 0x8000FFFF);
  EXPECT_EQ(WithSymbol(), 0);
  EXPECT_EQ(report.find("crash_context"), std::string::npos);
  EXPECT_EQ(NoSymbol(), 0);
  EXPECT_EQ(report.find("crash_context"), std::string::npos);
  EXPECT_EQ(report.find("call_stack"), std::string::npos);  // without a stack pointer
}

TEST_F(DumpReport, KeepsEmptyVersionTextsWhenThereIsNoVersion) {
  FillFacts();
  debugger.facts.modules[0].version_items.clear();
  EXPECT_EQ(WithSymbol(), 0);
  EXPECT_NE(report.find(R"("nt_file_version":"","nt_product_version":"")"), std::string::npos);
}

TEST_F(DumpReport, OfAnUnimportantDumpSaysSo) {
  EXPECT_EQ(NoSymbol(0), 0);
  EXPECT_NE(report.find(R"("importance":"FALSE")"), std::string::npos);
  EXPECT_EQ(WithSymbol(0), 0);
  EXPECT_NE(report.find(R"("importance":"FALSE")"), std::string::npos);
}

struct Kind {
  std::uint32_t qualifier;
  const char* text;
};
class Kinds : public DumpReport, public ::testing::WithParamInterface<Kind> {};
TEST_P(Kinds, HaveAText) {
  debugger.facts.qualifier = GetParam().qualifier;
  EXPECT_EQ(NoSymbol(), 0);
  EXPECT_NE(report.find(std::string(R"("dump_type":")") + GetParam().text + '"'), std::string::npos);
}
INSTANTIATE_TEST_SUITE_P(Each, Kinds,
                         ::testing::Values(Kind{1024, "Small Memory Dump"}, Kind{1025, "Kernel Memory Dump"},
                                           Kind{1026, "Complete Memory Dump"}, Kind{1030, "Active Memory Dump"},
                                           Kind{1027, "Unknown"}, Kind{0, "Unknown"}));

TEST_F(DumpReport, IsRefusedForOtherMachines) {
  debugger.facts.machine = 332;
  EXPECT_EQ(NoSymbol(), HrOf(50));
  EXPECT_EQ(WithSymbol(), HrOf(50));
  EXPECT_EQ(report, "");
  EXPECT_EQ(debugger.calls.CountOf("EndSession"), 2u);
  EXPECT_FALSE(HasCopies());
}

TEST_F(DumpReport, IsRefusedForAMachineThatIsNotTold) {
  debugger.facts.machine.reset();
  EXPECT_EQ(NoSymbol(), HrOf(50));
}

TEST_F(DumpReport, NeedsAnEngine) {
  debugger.calls.FailForEver("DebugCreate", 0x80004005);
  EXPECT_EQ(NoSymbol(), kEFail);
  EXPECT_EQ(WithSymbol(), kEFail);
  EXPECT_EQ(debugger.live_engines(), 0);
  EXPECT_FALSE(HasCopies());
}

TEST_F(DumpReport, GivesTheFailureToOpenAndLeavesNothingBehind) {
  debugger.calls.FailForEver("OpenDumpFileWide", 0x8007000B);
  EXPECT_EQ(NoSymbol(), Hr(0x8007000B));
  EXPECT_EQ(WithSymbol(), Hr(0x8007000B));
  EXPECT_EQ(debugger.live_engines(), 0);
  EXPECT_FALSE(HasCopies());
  EXPECT_EQ(debugger.live_engines(), 0);
}

TEST_F(DumpReport, WithSymbolsIsNotBegunWithoutAState) {
  ASSERT_EQ(analyzer.Uninitialize(), 0);
  EXPECT_EQ(WithSymbol(), kCancelled);
  EXPECT_EQ(debugger.calls.CountOf("DebugCreate"), 0u);
  EXPECT_FALSE(HasCopies());
}

TEST_F(DumpReport, WithSymbolsNeedsTheCopies) {
  machine.files.Remove(kSystemFolder + u"\\dbghelp.dll");
  machine.files.Remove(kSystemFolder + u"\\dbgeng.dll");
  EXPECT_EQ(WithSymbol(), HrOf(2));
  EXPECT_EQ(debugger.calls.CountOf("DebugCreate"), 0u);
}

TEST_F(DumpReport, WithSymbolsTimesOutAfter900Seconds) {
  debugger.Block("WaitForEvent");
  EXPECT_EQ(WithSymbol(), HrOf(258));
  EXPECT_EQ(machine.time.now_ms(), 900'000u);
  EXPECT_EQ(report, "");
}

TEST_F(DumpReport, WithSymbolsComesWhenTheyArrivedAlthoughTheWaitRanOut) {
  FillFacts();
  debugger.facts.modules[0].symbol_type = 7;
  debugger.Block("WaitForEvent");
  EXPECT_EQ(WithSymbol(), 0);
  EXPECT_EQ(machine.time.now_ms(), 900'000u);
}

TEST_F(DumpReport, IsWholeOrFailsWithoutMemoryForJson) {
  FillFacts();
  bool failed = true;
  for (unsigned nth = 1; failed; ++nth) {
    report.clear();
    const CJsonAllocationFaults faults(nth, true);
    const std::int32_t result = NoSymbol();
    failed = faults.failed();
    if (!failed) break;
    EXPECT_TRUE(result == kEOutOfMemory || result == kEFail) << nth;
    EXPECT_EQ(report, "") << nth;
  }
  EXPECT_NE(report, "");
  EXPECT_EQ(CJsonBlocks(), 0);
  EXPECT_EQ(debugger.live_engines(), 0);
}

TEST_F(DumpReport, LosesAtMostOneKeyToOneFailedAllocation) {
  FillFacts();
  bool failed = true;
  for (unsigned nth = 1; failed; ++nth) {
    report.clear();
    const CJsonAllocationFaults faults(nth);
    const std::int32_t result = WithSymbol();
    failed = faults.failed();
    EXPECT_TRUE(result == 0 || result == kEOutOfMemory || result == kEFail) << nth;
    EXPECT_EQ(report.empty(), result != 0) << nth;
  }
  EXPECT_EQ(CJsonBlocks(), 0);
}

TEST_F(DumpReport, TellsTheTimeOfAMachineWithoutThePreciseClock) {
  machine.system.procedures.erase("GetSystemTimePreciseAsFileTime");
  EXPECT_EQ(NoSymbol(), 0);
  EXPECT_EQ(report.substr(0, std::strlen(kInfoNoSymbol)), kInfoNoSymbol);
}

}  // namespace
}  // namespace varnel

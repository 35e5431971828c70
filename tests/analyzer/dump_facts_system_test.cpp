// Facts of the crashed system; see debug_engine_session.h.
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "tests/analyzer/open_dump_fixture.h"

namespace varnel {
namespace {

using SystemFacts = OpenDumpFixture;

TEST_F(SystemFacts, TellMachineVersionAndTimes) {
  facts().major = 15;
  facts().minor = 19041;
  facts().uptime_s = 3600;
  facts().time_s = 1'700'000'000;
  SystemInfo info;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.machineType, u"x64");
  EXPECT_EQ(info.osVersion, u"15 Kernel Version 19041 Free x64");
  EXPECT_EQ(info.uptimeMs, 3'600'000u);
  EXPECT_EQ(info.crashTime, 133444736000000000u);  // 2023-11-14 22:13:20 UTC
  EXPECT_EQ(info.processorCount, 0u);
}

TEST_F(SystemFacts, NeverAskForTheNumberOfProcessors) {
  SystemInfo info;
  info.processorCount = 7;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.processorCount, 0u);
  EXPECT_EQ(debugger_.calls.CountOf("GetNumberProcessors"), 0u);
}

struct Machine {
  std::uint32_t number;
  const char16_t* text;
};
class Machines : public OpenDumpFixture, public ::testing::WithParamInterface<Machine> {};
TEST_P(Machines, HaveAText) {
  facts().machine = GetParam().number;
  SystemInfo info;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.machineType, GetParam().text);
}
INSTANTIATE_TEST_SUITE_P(Each, Machines,
                         ::testing::Values(Machine{332, u"x86"}, Machine{448, u"ARM"}, Machine{34404, u"x64"},
                                           Machine{43620, u"ARM64"}, Machine{512, u"Unknown"}, Machine{0, u"Unknown"}));

TEST_F(SystemFacts, LeaveAnUnknownMachineEmpty) {
  facts().machine.reset();
  SystemInfo info;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.machineType, u"");
  EXPECT_EQ(info.osVersion, u"15 Kernel Version 19041 Free ");
}

TEST_F(SystemFacts, StayEmptyWhenTheEngineTellsNothing) {
  for (const char* call :
       {"GetActualProcessorType", "GetSystemVersion", "GetCurrentSystemUpTime", "GetCurrentTimeDate"}) {
    debugger_.calls.FailForEver(call, 0x8000FFFF);
  }
  SystemInfo info;
  info.osVersion = u"old";
  info.uptimeMs = 1;
  info.crashTime = 1;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.osVersion, u"");
  EXPECT_EQ(info.uptimeMs, 0u);
  EXPECT_EQ(info.crashTime, 0u);
}

TEST_F(SystemFacts, HaveNoTimesWithoutTheNewerInterface) {
  facts().uptime_s = 10;
  facts().time_s = 1'700'000'000;
  debugger_.calls.FailForEver("QueryInterface(IDebugControl4)", 0x80004002);
  SystemInfo info;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.uptimeMs, 0u);
  EXPECT_EQ(info.crashTime, 0u);
}

TEST_F(SystemFacts, WrapTheUptimeAfter49Days) {
  facts().uptime_s = 4'294'968;  // 704 ms more than 32 bits of milliseconds
  SystemInfo info;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.uptimeMs, 704u);
}

TEST_F(SystemFacts, TakeACrashTimeOf0ForUnknown) {
  facts().time_s = 0;
  SystemInfo info;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.crashTime, 0u);
}

TEST_F(SystemFacts, TakeASuccessOfAnyKindForOne) {
  debugger_.calls.Fail("GetActualProcessorType", 1);
  debugger_.calls.Fail("GetSystemVersion", 1);
  SystemInfo info;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.machineType, u"Unknown");
  EXPECT_EQ(info.osVersion, u"0 Kernel Version 0 Free Unknown");
}

TEST_F(SystemFacts, CountTimeFromTheFirstSecondToTheLastOf32Bits) {
  SystemInfo info;
  facts().time_s = 1;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.crashTime, 116444736010000000u);
  facts().time_s = 0xFFFFFFFF;
  EXPECT_EQ(session_->GetSystemInfo(&info), 0);
  EXPECT_EQ(info.crashTime, 159394408950000000u);  // 2106-02-07 06:28:15 UTC
}

TEST_F(SystemFacts, NeedAPlaceAndAnOpenDump) {
  EXPECT_EQ(session_->GetSystemInfo(nullptr), kE_POINTER);
  session_->CloseDump();
  SystemInfo info;
  EXPECT_EQ(session_->GetSystemInfo(&info), kHresultWrongState);
}

using BugCheck = OpenDumpFixture;

TEST_F(BugCheck, GivesCodeAndParameters) {
  facts().bug_check = {0xD1, {1, 2, 3, 0xFFFFF80012345678}};
  std::uint32_t code = 0;
  std::uint64_t parameters[4] = {};
  EXPECT_EQ(session_->GetBugCheckInfo(&code, parameters), 0);
  EXPECT_EQ(code, 0xD1u);
  EXPECT_EQ(parameters[0], 1u);
  EXPECT_EQ(parameters[3], 0xFFFFF80012345678u);
}

TEST_F(BugCheck, GivesTheEnginesFailureAndLeavesThePlacesAlone) {
  std::uint32_t code = 5;
  std::uint64_t parameters[4] = {6};
  EXPECT_EQ(session_->GetBugCheckInfo(&code, parameters), kE_FAIL);
  EXPECT_EQ(code, 5u);
  EXPECT_EQ(parameters[0], 6u);
}

TEST_F(BugCheck, NeedsBothPlaces) {
  std::uint32_t code = 0;
  std::uint64_t parameters[4] = {};
  EXPECT_EQ(session_->GetBugCheckInfo(nullptr, parameters), kE_POINTER);
  EXPECT_EQ(session_->GetBugCheckInfo(&code, nullptr), kE_POINTER);
}

using Registers = OpenDumpFixture;

TEST_F(Registers, ComeInTheOrderOfTheirNames) {
  facts().registers = {{"rip", 1}, {"rsp", 2}, {"r8", 3}, {"r10", 4}, {"rax", 5}};
  RegisterMap map;
  map[u"old"] = 1;
  EXPECT_EQ(session_->GetRegisters(&map), 0);
  std::vector<std::u16string> names;
  for (const auto& [name, value] : map) names.push_back(name);
  EXPECT_EQ(names, (std::vector<std::u16string>{u"r10", u"r8", u"rax", u"rip", u"rsp"}));
  EXPECT_EQ(map.at(u"r10"), 4u);
}

TEST_F(Registers, AreSeventeenAndNoOthers) {
  for (const char* name : {"rax", "rbx", "rcx", "rdx", "rsi", "rdi", "rip", "rsp", "rbp", "r8", "r9", "r10", "r11",
                           "r12", "r13", "r14", "r15", "cr8", "efl"}) {
    facts().registers.push_back({name, 1});
  }
  RegisterMap map;
  EXPECT_EQ(session_->GetRegisters(&map), 0);
  EXPECT_EQ(map.size(), 17u);
  EXPECT_EQ(map.count(u"cr8"), 0u);
}

TEST_F(Registers, OfHalfTheWidthAreMasked) {
  facts().registers = {{"rax", 0xFFFFFFFF00000012, platform::kDebugValueInt32}};
  RegisterMap map;
  EXPECT_EQ(session_->GetRegisters(&map), 0);
  EXPECT_EQ(map.at(u"rax"), 0x12u);
}

TEST_F(Registers, OfOtherTypesOrThatCannotBeReadAreLeftOut) {
  facts().registers = {{"rax", 1, 6}, {"rbx", 2}, {"rcx", 3}};
  debugger_.calls.Fail({"GetValue", 2, false, 0x80004005});
  RegisterMap map;
  EXPECT_EQ(session_->GetRegisters(&map), 0);
  EXPECT_EQ(map, (RegisterMap{{u"rcx", 3}}));
  EXPECT_EQ(platform_.system.DebugText(), "");
}

TEST_F(Registers, WhoseNameDoesNotConvertAreLeftOut) {
  facts().registers = {{"rax", 1}, {"rbx", 2}};
  plan_.Fail({"WideCharToMultiByte", 1, false, 87});
  RegisterMap map;
  EXPECT_EQ(session_->GetRegisters(&map), 0);
  EXPECT_EQ(map, (RegisterMap{{u"rbx", 2}}));
}

TEST_F(Registers, MayAllBeMissing) {
  RegisterMap map;
  EXPECT_EQ(session_->GetRegisters(&map), 0);
  EXPECT_TRUE(map.empty());
}

struct Level {
  std::uint64_t cr8;
  std::uint32_t level;
  const char16_t* name;
};
class Levels : public OpenDumpFixture, public ::testing::WithParamInterface<Level> {};
TEST_P(Levels, HaveAName) {
  facts().registers = {{"cr8", GetParam().cr8}};
  IrqlInfo irql;
  EXPECT_EQ(session_->GetIrql(&irql), 0);
  EXPECT_EQ(irql.valid, 1u);
  EXPECT_EQ(irql.level, GetParam().level);
  EXPECT_EQ(irql.name, GetParam().name);
}
INSTANTIATE_TEST_SUITE_P(Each, Levels,
                         ::testing::Values(Level{0, 0, u"PASSIVE_LEVEL"}, Level{1, 1, u"APC_LEVEL"},
                                           Level{2, 2, u"DISPATCH_LEVEL"}, Level{3, 3, u"DEVICE_LEVEL_3"},
                                           Level{15, 15, u"DEVICE_LEVEL_15"}, Level{0x1F, 15, u"DEVICE_LEVEL_15"},
                                           Level{0x10, 0, u"PASSIVE_LEVEL"}));

using Irql = OpenDumpFixture;

TEST_F(Irql, IsNotKnownWithoutTheRegister) {
  IrqlInfo irql;
  irql.valid = 1;
  EXPECT_EQ(session_->GetIrql(&irql), 1);
  EXPECT_EQ(irql.valid, 0u);
  EXPECT_EQ(irql.name, u"Unavailable (No symbols)");
}

TEST_F(Irql, IsNotKnownFromARegisterOfAnotherTypeOrWithoutValue) {
  facts().registers = {{"cr8", 2, platform::kDebugValueInt32}};
  IrqlInfo irql;
  EXPECT_EQ(session_->GetIrql(&irql), 1);
  facts().registers = {{"cr8", 2}};
  debugger_.calls.Fail("GetValue", 0x80004005);
  EXPECT_EQ(session_->GetIrql(&irql), 1);
  EXPECT_EQ(irql.valid, 0u);
  EXPECT_EQ(session_->GetIrql(&irql), 0);
}

TEST_F(Irql, NeedsAPlaceAndAnOpenDump) {
  EXPECT_EQ(session_->GetIrql(nullptr), kE_POINTER);
  session_->CloseDump();
  IrqlInfo irql;
  EXPECT_EQ(session_->GetIrql(&irql), kHresultWrongState);
}

/// A fact, a call that it makes of the engine, and whether the session is closed to others meanwhile.
struct LockedFact {
  const char* name;
  const char* call;
  bool is_closed;
  std::int32_t (*ask)(DebugEngineSession* session);
};
void PrintTo(const LockedFact& fact, std::ostream* out) {
  *out << fact.name;
}
class FactsAndTheLock : public OpenDumpFixture, public ::testing::WithParamInterface<LockedFact> {};

TEST_P(FactsAndTheLock, CloseTheSessionToOthersOrDoNot) {
  AddModules();
  facts().registers = {{"rsp", 0xFFFFC00000001000}, {"cr8", 2}};
  facts().PutWords(0xFFFFC00000001000, {0xFFFFF80000000001});
  facts().frames.emplace(1);
  facts().frames->front().InstructionOffset = 0xFFFFF80000000001;
  facts().bug_check = {0xD1, {}};
  std::future<bool> other;
  bool came_in = false;
  debugger_.calls.After(GetParam().call, 1, [&] {
    other = std::async(std::launch::async, [this] { return session_->IsEngineReady(); });
    const auto limit = GetParam().is_closed ? std::chrono::milliseconds(20) : std::chrono::minutes(2);
    came_in = other.wait_for(limit) == std::future_status::ready;
  });
  EXPECT_GE(GetParam().ask(session_.get()), 0);
  ASSERT_TRUE(other.valid()) << "the call was not made";
  EXPECT_EQ(came_in, !GetParam().is_closed);
  EXPECT_TRUE(other.get());
}

constexpr LockedFact kLockedFacts[] = {
    {"SystemInfo", "GetCurrentTimeDate", true,
     [](DebugEngineSession* session) {
       SystemInfo info;
       return session->GetSystemInfo(&info);
     }},
    {"Irql", "GetValue", true,
     [](DebugEngineSession* session) {
       IrqlInfo irql;
       return session->GetIrql(&irql);
     }},
    {"LoadedModules", "GetModuleNameString", true,
     [](DebugEngineSession* session) {
       std::vector<ModuleInfo> modules;
       return session->GetLoadedModules(&modules);
     }},
    {"CrashModuleAndProcess", "GetCurrentProcessDataOffset", true,
     [](DebugEngineSession* session) {
       std::u16string module;
       std::u16string process;
       return session->GetCrashModuleAndProcess(&module, &process);
     }},
    {"NtVersion", "GetModuleVersionInformation", true,
     [](DebugEngineSession* session) {
       std::u16string file;
       std::u16string product;
       return session->GetNtVersion(&file, &product);
     }},
    {"BugCheck", "ReadBugCheckData", false,
     [](DebugEngineSession* session) {
       std::uint32_t code = 0;
       std::uint64_t parameters[4] = {};
       return session->GetBugCheckInfo(&code, parameters);
     }},
    {"Registers", "GetValue", false,
     [](DebugEngineSession* session) {
       RegisterMap values;
       return session->GetRegisters(&values);
     }},
    {"StackScan", "GetModuleNames", false,
     [](DebugEngineSession* session) {
       std::vector<StackFrameInfo> frames;
       return session->ScanStackForCode(&frames);
     }},
    {"SymbolStack", "GetNameByOffset", false,
     [](DebugEngineSession* session) {
       std::vector<StackFrameInfo> frames;
       return session->GetSymbolStack(&frames);
     }},
    {"ModuleOfAnAddress", "GetModuleByOffset", false,
     [](DebugEngineSession* session) { return session->IsAddressInModule(0xFFFFF80000000001) == 1 ? 0 : kE_FAIL; }},
};
INSTANTIATE_TEST_SUITE_P(Each, FactsAndTheLock, ::testing::ValuesIn(kLockedFacts),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(DeadSession, HasNoFactsToTell) {
  testing::ScriptedPlatform platform;
  DebugEngineSession session(kEngineFromSystemFolder);  // no engine on this machine
  ASSERT_FALSE(session.IsEngineReady());
  std::uint32_t code = 0;
  std::uint64_t parameters[4] = {};
  RegisterMap map;
  std::vector<StackFrameInfo> frames;
  std::vector<ModuleInfo> modules;
  std::u16string a;
  std::u16string b;
  EXPECT_EQ(session.GetBugCheckInfo(&code, parameters), kE_POINTER);
  EXPECT_EQ(session.GetRegisters(&map), kE_FAIL);
  EXPECT_EQ(session.ScanStackForCode(&frames), kE_FAIL);
  EXPECT_EQ(session.GetSymbolStack(&frames), kE_FAIL);
  EXPECT_EQ(session.GetModuleAndOffset(1, &a, nullptr), kE_FAIL);
  EXPECT_EQ(session.IsAddressInModule(1), 1u);
  EXPECT_EQ(session.GetLoadedModules(&modules), kHresultWrongState);
  EXPECT_EQ(session.GetCrashModuleAndProcess(&a, &b), kHresultWrongState);
  EXPECT_EQ(session.GetNtVersion(&a, &b), kHresultWrongState);
}

}  // namespace
}  // namespace varnel

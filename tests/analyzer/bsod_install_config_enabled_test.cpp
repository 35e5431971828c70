// The setup switched on: this program compiles its file once more, and the linker takes that in place of the module's.
#include <atomic>
#include <chrono>
#include <thread>

#include "analyzer/analyzer_lock.h"
#include "analyzer/bsod_analyzer_object.h"
#include "analyzer/bsod_install_config.h"
#include "base/log.h"
#include "tests/analyzer/analyzer_fixture.h"
#include "tests/support/heap_faults.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class EnabledInstallConfig : public AnalyzerTest {
 protected:
  EnabledInstallConfig() {
    SetControl(u"LogEvent", 0);
    SetControl(u"AutoReboot", 0);
    plan.Clear();
  }
  ~EnabledInstallConfig() override { TheAnalyzerLock().Delete(); }

  std::int32_t Install() {
    const std::int32_t result = SetBsodInstallConfig(kProduct.c_str());
    ExpectNothingHeld();
    ExpectLockFree();
    return result;
  }
  std::int32_t Configure() {
    std::int32_t result = 0;
    {
      const BsodAnalyzer analyzer(kProduct);
      AnalysisState state(kProduct);
      result = analyzer.ConfigureBsodDump(&state);
      found = state.installConfigFound;
    }
    ExpectNothingHeld();
    return result;
  }
  static void ExpectLockFree() {
    if (!TheAnalyzerLock().IsReady()) return;
    const AnalyzerLockScope held(TheAnalyzerLock());  // would wait for ever
  }
  std::uint32_t Control(const std::u16string& name) const {
    return machine.registry.GetDword(kCrashControl, name).value_or(~0u);
  }
  std::optional<std::uint32_t> Kept(const std::u16string& name) const {
    return machine.registry.GetDword(kProductKey, name);
  }
  /// Makes the write of one value of the settings fail, whichever it is among all writes.
  void FailWriteOf(unsigned nth) { plan.Fail({"RegSetValueExW", nth, false, 112}); }
  /// All settings as they stand.
  std::vector<std::u16string> Settings() const {
    std::vector<std::u16string> all;
    for (const auto& value : machine.registry.Values(kCrashControl)) {
      std::u16string text = value.name + u":";
      for (const std::uint8_t byte : value.data) text.push_back(byte);
      all.push_back(text);
    }
    return all;
  }

  HeapFaultPlan heap_plan;
  FaultyPlatform heap_watched{platform::CurrentPlatform(), &heap_plan};
  static constexpr unsigned kBackupWrites = 7;
  std::uint8_t found = 0;
};

TEST_F(EnabledInstallConfig, IsSwitchedOnHere) {
  EXPECT_TRUE(BsodInstallConfigEnabled);
}

TEST_F(EnabledInstallConfig, AnEmptyProductIsRefusedBeforeAnyLock) {
  EXPECT_EQ(SetBsodInstallConfig(u""), Hr(0x80070057));
  EXPECT_EQ(SetBsodInstallConfig(nullptr), Hr(0x80070057));
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Error: productGuid is empty\n"));
  EXPECT_FALSE(TheAnalyzerLock().IsReady());
}

TEST_F(EnabledInstallConfig, MakesTheLockOnce) {
  EXPECT_EQ(Install(), 0);
  EXPECT_EQ(Install(), 0);
  EXPECT_EQ(plan.CountOf("InitializeCriticalSection"), 1u);
}

TEST_F(EnabledInstallConfig, HoldsTheLockFromItsFirstToItsLastStep) {
  SetControl(u"CrashDumpEnabled", 0);
  std::atomic<bool> waiting{false};
  std::size_t calls_then = 0;
  std::thread other;
  plan.After("RegOpenKeyExW", 1, [&] {
    other = std::thread([&] {
      waiting = true;
      const AnalyzerLockScope held(TheAnalyzerLock());
      calls_then = plan.Calls().size();
    });
    while (!waiting) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // time to come in, were it let in
  });
  EXPECT_EQ(SetBsodInstallConfig(kProduct.c_str()), 0);
  ASSERT_TRUE(other.joinable());
  other.join();
  EXPECT_EQ(calls_then, plan.Calls().size());
}

TEST_F(EnabledInstallConfig, ALockThatCannotBeMadeEndsIt) {
  plan.Fail("InitializeCriticalSection", 14);
  EXPECT_EQ(Install(), kEOutOfMemory);
  EXPECT_FALSE(TheAnalyzerLock().IsReady());
  EXPECT_FALSE(machine.registry.HasKey(kProductKey));
}

TEST_F(EnabledInstallConfig, WithoutMemoryForTheManagerEndsIt) {
  if (!HeapFaults::Work()) GTEST_SKIP() << "the heap of this build cannot fail";
  std::int32_t result = 0;
  {
    const HeapFaults faults(1);
    result = SetBsodInstallConfig(kProduct.c_str());
  }
  EXPECT_EQ(result, kEOutOfMemory);
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Error: Memory allocation failed\n"));
  EXPECT_FALSE(machine.registry.HasKey(kProductKey));
  ExpectLockFree();
}

TEST_F(EnabledInstallConfig, SettingsThatCannotBeReadForWantOfMemoryEndIt) {
  if (!HeapFaults::Work()) GTEST_SKIP() << "the heap of this build cannot fail";
  bool told = false;
  for (unsigned nth = 2; !told && nth < 50; ++nth) {
    machine.registry.RemoveKey(kProductKey);
    plan.Clear();
    std::int32_t result = 0;
    {
      const HeapFaults faults(nth);
      result = SetBsodInstallConfig(kProduct.c_str());
    }
    told = Logged("[SetBsodInstallConfig] Error: Failed to get current config (0x8007000E)\n");
    EXPECT_TRUE(!told || result == kEOutOfMemory);
    ExpectNothingHeld();
    ExpectLockFree();
  }
  EXPECT_TRUE(told);
}

TEST_F(EnabledInstallConfig, WithoutTheSettingsKeyFails) {
  machine.registry.RemoveKey(kCrashControl);
  EXPECT_EQ(Install(), kEFail);
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Error: Config manager initialization failed\n"));
  machine.system.elevated = false;
  EXPECT_EQ(Install(), kEFail) << "told before what the process may do";
  EXPECT_EQ(plan.CountOf("OpenProcessToken"), 0u);
}

TEST_F(EnabledInstallConfig, WithoutElevationIsRefused) {
  machine.system.elevated = false;
  const auto before = Settings();
  EXPECT_EQ(Install(), kEAccessDenied);
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Error: Administrator privileges required\n"));
  EXPECT_EQ(Settings(), before);
  EXPECT_FALSE(machine.registry.HasKey(kProductKey));
}

TEST_F(EnabledInstallConfig, KeepsTheTypeOfAMachineThatWritesDumps) {
  SetControl(u"CrashDumpEnabled", 7);
  EXPECT_EQ(Install(), 0);
  EXPECT_EQ(Control(u"CrashDumpEnabled"), 7u);
  EXPECT_EQ(Control(u"LogEvent"), 1u);
  EXPECT_EQ(Control(u"AutoReboot"), 1u);
  EXPECT_EQ(Kept(u"DumpType"), 7u);
  EXPECT_EQ(Kept(u"LogEvent"), 0u) << "as it was";
  EXPECT_EQ(Lines(), 0u);
}

TEST_F(EnabledInstallConfig, TurnsSmallDumpsOnWhereThereWereNone) {
  SetControl(u"CrashDumpEnabled", 0);
  EXPECT_EQ(Install(), 0);
  EXPECT_EQ(Control(u"CrashDumpEnabled"), 3u);
  EXPECT_EQ(StoredText(kCrashControl, u"MinidumpDir"), u"%SystemRoot%\\Minidump");
  EXPECT_EQ(Control(u"MinidumpsCount"), 10u);
  EXPECT_EQ(Kept(u"DumpType"), 0u);
}

TEST_F(EnabledInstallConfig, TheFirstBackupStaysTheOneThatCounts) {
  SetLogLevels(LOG_DETAIL);
  SetControl(u"CrashDumpEnabled", 0);
  EXPECT_EQ(Install(), 0);
  EXPECT_EQ(Install(), 0);
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Valid backup already exists, skipping backup\n"));
  EXPECT_EQ(Kept(u"DumpType"), 0u);
  EXPECT_EQ(Kept(u"LogEvent"), 0u);
}

TEST_F(EnabledInstallConfig, ABackupThatIsNotValidIsWrittenAnew) {
  SetLogLevels(LOG_DETAIL);
  machine.registry.SetDword(kProductKey, u"DumpType", 1);
  EXPECT_EQ(Install(), 0);
  EXPECT_EQ(Kept(u"DumpType"), 3u);
  EXPECT_FALSE(Logged("Valid backup already exists"));
}

TEST_F(EnabledInstallConfig, ABackupThatFailsEndsItWithoutARollback) {
  FailWriteOf(2);
  const auto before = Settings();
  EXPECT_EQ(Install(), HrOf(112));
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Error: Failed to backup config (0x80070070)\n"));
  EXPECT_EQ(Settings(), before);
  EXPECT_EQ(Lines(), 1u);
}

TEST_F(EnabledInstallConfig, DumpsThatCannotBeTurnedOnAreRolledBack) {
  SetControl(u"CrashDumpEnabled", 0);
  FailWriteOf(kBackupWrites - 1 + 2);  // a backup of no dumps has no count; then the folder behind the type
  EXPECT_EQ(Install(), HrOf(112));
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Error: Failed to enable minidump (0x80070070)\n"));
  EXPECT_EQ(Control(u"CrashDumpEnabled"), 0u) << "off again";
  EXPECT_FALSE(Kept(u"DumpType").has_value()) << "the backup is used up";
  EXPECT_EQ(Control(u"LogEvent"), 0u);
}

TEST_F(EnabledInstallConfig, ALogSwitchThatCannotBeSetIsRolledBack) {
  FailWriteOf(kBackupWrites + 1);
  EXPECT_EQ(Install(), HrOf(112));
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Error: Failed to enable event logging (0x80070070)\n"));
  EXPECT_EQ(Control(u"LogEvent"), 0u);
  EXPECT_EQ(Control(u"AutoReboot"), 0u);
  EXPECT_FALSE(Kept(u"DumpType").has_value());
}

TEST_F(EnabledInstallConfig, ARestartSwitchThatCannotBeSetIsRolledBack) {
  FailWriteOf(kBackupWrites + 2);
  EXPECT_EQ(Install(), HrOf(112));
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Error: Failed to enable automatic restart (0x80070070)\n"));
  EXPECT_EQ(Control(u"LogEvent"), 0u) << "set and put back";
  EXPECT_FALSE(Kept(u"DumpType").has_value());
}

TEST_F(EnabledInstallConfig, ARollbackThatFailsIsLoggedAndTheFirstFailureStaysTheResult) {
  plan.Fail({"RegSetValueExW", kBackupWrites + 1, true, 112});
  EXPECT_EQ(Install(), HrOf(112));
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Error: Failed to enable event logging (0x80070070)\n"));
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Error: Failed to restore config (0x80070070)\n"));
  EXPECT_EQ(Kept(u"DumpType"), 3u) << "the backup stays";
}

TEST_F(EnabledInstallConfig, TheStartsSetupDoesTheSameWithoutACheckOfItsOwnOrALock) {
  SetControl(u"CrashDumpEnabled", 0);
  EXPECT_EQ(Configure(), 0);
  EXPECT_EQ(found, 1);
  EXPECT_EQ(Control(u"CrashDumpEnabled"), 3u);
  EXPECT_EQ(Control(u"MinidumpsCount"), 10u);
  EXPECT_EQ(Control(u"LogEvent"), 1u);
  EXPECT_EQ(Control(u"AutoReboot"), 1u);
  EXPECT_EQ(Kept(u"DumpType"), 0u);
  EXPECT_FALSE(TheAnalyzerLock().IsReady());
  SetLogLevels(LOG_DETAIL);
  EXPECT_EQ(Configure(), 0);
  EXPECT_EQ(found, 1);
  EXPECT_TRUE(Logged("[SetBsodInstallConfig] Valid backup already exists, skipping backup\n"));
}

TEST_F(EnabledInstallConfig, TheStartsSetupWithoutElevationFailsAtItsFirstSetting) {
  machine.system.elevated = false;
  EXPECT_EQ(Configure(), kEAccessDenied);
  EXPECT_TRUE(Logged("[Error] SetLogEvent failed: 0x80070005\n"));
  EXPECT_EQ(found, 1) << "the backup was made";
}

TEST_F(EnabledInstallConfig, TheStartsSetupTellsEachFailureAndNeverRollsBack) {
  struct Row {
    unsigned nth;
    const char* line;
    std::uint8_t found;
  };
  constexpr Row kRows[] = {{1, "[Error] BackupCurrentConfig failed: 0x80070070\n", 0},
                           {kBackupWrites - 1 + 1, "[Error] EnableMinidump failed: 0x80070070\n", 1},
                           {kBackupWrites - 1 + 4, "[Error] SetLogEvent failed: 0x80070070\n", 1},
                           {kBackupWrites - 1 + 5, "[Error] SetAutoReboot failed: 0x80070070\n", 1}};
  for (const Row& row : kRows) {
    machine.registry.RemoveKey(kProductKey);
    SetControl(u"CrashDumpEnabled", 0);
    plan.Clear();
    FailWriteOf(row.nth);
    EXPECT_EQ(Configure(), HrOf(112)) << row.line;
    EXPECT_TRUE(Logged(row.line)) << row.line;
    EXPECT_EQ(found, row.found) << row.line;
    EXPECT_EQ(plan.CountOf("RegDeleteValueW"), 0u) << row.line;
  }
}

TEST_F(EnabledInstallConfig, TheStartsSetupWithoutTheSettingsKeyFails) {
  machine.registry.RemoveKey(kCrashControl);
  EXPECT_EQ(Configure(), kEFail);
  EXPECT_TRUE(Logged("[Error] GetCurrentConfig failed: 0x80004005\n"));
  EXPECT_EQ(found, 0);
}

TEST_F(EnabledInstallConfig, AnAnalyzerThatCannotConfigureTheDumpsDoesNotInitialize) {
  machine.system.elevated = false;
  BsodAnalyzer analyzer(kProduct);
  plan.Clear();
  EXPECT_EQ(analyzer.Initialize(), kEAccessDenied);
  EXPECT_TRUE(Logged("[Error] ConfigureBsodDump failed: 0x80070005\n"));
  EXPECT_EQ(plan.CountOf("CreateFolders"), 0u);  // nothing was prepared
  ExpectNothingHeld();                           // the state is gone
  EXPECT_EQ(
      analyzer.Start([](std::uint8_t, const std::string&, const std::string&, void*) {}, nullptr, nullptr, nullptr),
      kEFail);
}

}  // namespace
}  // namespace varnel

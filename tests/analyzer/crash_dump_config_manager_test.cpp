#include "analyzer/crash_dump_config_manager.h"

#include <functional>

#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class CrashDumpSettings : public AnalyzerTest {
 protected:
  CrashDumpConfig Read() {
    CrashDumpConfig config;
    config.dumpPath = u"of an earlier call";
    config.sendAlert = 99;
    EXPECT_EQ(CrashDumpConfigManager().GetCurrentConfig(&config), 0);
    ExpectNothingHeld();
    return config;
  }
  std::optional<std::uint32_t> Control(const std::u16string& name) const {
    return machine.registry.GetDword(kCrashControl, name);
  }
};

TEST_F(CrashDumpSettings, AreAvailableWhenTheirKeyOpensWhenTheObjectIsMade) {
  EXPECT_TRUE(CrashDumpConfigManager().IsAvailable());
  plan.Fail("RegOpenKeyExW", 5);
  const CrashDumpConfigManager refused;
  EXPECT_FALSE(refused.IsAvailable());
  machine.registry.RemoveKey(kCrashControl);
  EXPECT_FALSE(CrashDumpConfigManager().IsAvailable());
  ExpectNothingHeld();
}

TEST_F(CrashDumpSettings, WithoutTheirKeyAllButThreeCallsFailAndAskNothing) {
  plan.Fail("RegOpenKeyExW", 5);
  CrashDumpConfigManager manager;
  plan.Clear();
  CrashDumpConfig config;
  config.logEvent = 7;
  EXPECT_EQ(manager.GetCurrentConfig(&config), kEFail);
  EXPECT_EQ(config.logEvent, 7u) << "the output is cleared behind this test only";
  EXPECT_EQ(manager.EnableMinidump(u"C:\\x", 1), kEFail);
  EXPECT_EQ(manager.SetAutoReboot(1), kEFail);
  EXPECT_EQ(manager.SetLogEvent(1), kEFail);
  EXPECT_EQ(manager.BackupCurrentConfig(platform::kHkeyLocalMachine, kProductKey), kEFail);
  EXPECT_EQ(manager.RestoreConfig(platform::kHkeyLocalMachine, kProductKey), kEFail);
  EXPECT_TRUE(plan.Calls().empty());
  EXPECT_EQ(manager.SetCrashDumpEnabled(1), 0);
  EXPECT_EQ(Control(u"CrashDumpEnabled"), 1u);
  CrashDumpBackup backup;
  EXPECT_EQ(manager.ReadBackupConfig(platform::kHkeyLocalMachine, kProductKey, &backup), HrOf(2));
  EXPECT_EQ(manager.DeleteBackupConfig(platform::kHkeyLocalMachine, kProductKey), 0);
}

TEST_F(CrashDumpSettings, ANullOutputIsAPointerErrorEvenWithoutTheKey) {
  EXPECT_EQ(CrashDumpConfigManager().GetCurrentConfig(nullptr), kEPointer);
  machine.registry.RemoveKey(kCrashControl);
  EXPECT_EQ(CrashDumpConfigManager().GetCurrentConfig(nullptr), kEPointer);
}

TEST_F(CrashDumpSettings, AbsentCrashDumpEnabledGives0WithEverythingCleared) {
  RemoveControl(u"CrashDumpEnabled");
  SetControl(u"SendAlert", 1);
  const CrashDumpConfig config = Read();
  EXPECT_EQ(config.enabled, 0u);
  EXPECT_EQ(config.dumpType, 0u);
  EXPECT_EQ(config.dumpPath, u"");
  EXPECT_EQ(config.autoReboot, 0u);
  EXPECT_EQ(config.sendAlert, 0u);
  EXPECT_EQ(config.logEvent, 0u);
}

TEST_F(CrashDumpSettings, CrashDumpEnabledOfAnotherTypeCountsAsAbsent) {
  SetControlText(u"CrashDumpEnabled", u"3", platform::kRegSz);
  EXPECT_EQ(Read().enabled, 0u);
  const std::uint64_t wide = 3;
  machine.registry.Set(kCrashControl, u"CrashDumpEnabled", platform::kRegQword, &wide, 8);
  EXPECT_EQ(Read().enabled, 0u);
}

TEST_F(CrashDumpSettings, Type0IsNotEnabledButItsSwitchesAreRead) {
  SetControl(u"CrashDumpEnabled", 0);
  const CrashDumpConfig config = Read();
  EXPECT_EQ(config.enabled, 0u);
  EXPECT_EQ(config.dumpPath, u"");
  EXPECT_EQ(config.autoReboot, 1u);
}

TEST_F(CrashDumpSettings, Type3GivesTheExpandedFolderWithItsPattern) {
  SetControl(u"MinidumpsCount", 12);
  SetControlText(u"DumpFile", u"C:\\other.dmp");
  const CrashDumpConfig config = Read();
  EXPECT_EQ(config.enabled, 1u);
  EXPECT_EQ(config.dumpType, 3u);
  EXPECT_EQ(config.minidumpDir, u"%SystemRoot%\\Minidump");
  EXPECT_EQ(config.dumpPath, u"C:\\Windows\\Minidump\\*.dmp");
  EXPECT_EQ(config.minidumpsCount, 12u);
}

TEST_F(CrashDumpSettings, Type3ReadsItsFolderFromAPlainTextToo) {
  SetControlText(u"MinidumpDir", u"D:\\Small", platform::kRegSz);
  EXPECT_EQ(Read().dumpPath, u"D:\\Small\\*.dmp");
}

TEST_F(CrashDumpSettings, Type3FillsInTheSystemsFolderAndFiveDumps) {
  RemoveControl(u"MinidumpDir");
  const CrashDumpConfig config = Read();
  EXPECT_EQ(config.minidumpDir, u"%SystemRoot%\\Minidump");
  EXPECT_EQ(config.dumpPath, u"C:\\Windows\\Minidump\\*.dmp");
  EXPECT_EQ(config.minidumpsCount, 5u);
  SetControlText(u"MinidumpDir", u"C:\\Bytes", platform::kRegBinary);
  SetControlText(u"MinidumpsCount", u"9", platform::kRegSz);
  EXPECT_EQ(Read().minidumpDir, u"%SystemRoot%\\Minidump") << "a value of another type counts as absent";
  EXPECT_EQ(Read().minidumpsCount, 5u);
}

TEST_F(CrashDumpSettings, AFolderThatCannotBeExpandedStandsAsItIs) {
  plan.FailForEver("ExpandEnvironmentStringsW", 8);
  EXPECT_EQ(Read().dumpPath, u"%SystemRoot%\\Minidump\\*.dmp");
  SetControl(u"CrashDumpEnabled", 2);
  EXPECT_EQ(Read().dumpPath, u"%SystemRoot%\\MEMORY.DMP");
}

TEST_F(CrashDumpSettings, CompleteKernelAndAutomaticGiveTheDumpFile) {
  SetControlText(u"DumpFile", u"%SystemRoot%\\My.dmp");
  for (const std::uint32_t type : {1u, 2u, 7u}) {
    SetControl(u"CrashDumpEnabled", type);
    const CrashDumpConfig config = Read();
    EXPECT_EQ(config.enabled, 1u);
    EXPECT_EQ(config.dumpType, type);
    EXPECT_EQ(config.dumpPath, u"C:\\Windows\\My.dmp");
    EXPECT_EQ(config.minidumpDir, u"");
    EXPECT_EQ(config.minidumpsCount, 0u);
  }
  RemoveControl(u"DumpFile");
  EXPECT_EQ(Read().dumpPath, u"C:\\Windows\\MEMORY.DMP");
}

TEST_F(CrashDumpSettings, Type4IsEnabledWithoutAPath) {
  SetControl(u"CrashDumpEnabled", 4);
  const CrashDumpConfig config = Read();
  EXPECT_EQ(config.enabled, 1u);
  EXPECT_EQ(config.dumpType, 4u);
  EXPECT_EQ(config.dumpPath, u"");
  EXPECT_EQ(config.minidumpDir, u"");
}

TEST_F(CrashDumpSettings, SwitchesThatAreAbsentStandAsTheSystemTakesThem) {
  const CrashDumpConfig config = Read();
  EXPECT_EQ(config.overwrite, 1u);
  EXPECT_EQ(config.autoReboot, 1u);
  EXPECT_EQ(config.sendAlert, 0u);
  EXPECT_EQ(config.logEvent, 1u);
}

TEST_F(CrashDumpSettings, SwitchesAreReadAs0Or1) {
  for (const char16_t* const name : {u"Overwrite", u"AutoReboot", u"SendAlert", u"LogEvent"}) SetControl(name, 77);
  CrashDumpConfig config = Read();
  EXPECT_EQ(config.overwrite, 1u);
  EXPECT_EQ(config.autoReboot, 1u);
  EXPECT_EQ(config.sendAlert, 1u);
  EXPECT_EQ(config.logEvent, 1u);
  for (const char16_t* const name : {u"Overwrite", u"AutoReboot", u"SendAlert", u"LogEvent"}) SetControl(name, 0);
  config = Read();
  EXPECT_EQ(config.overwrite, 0u);
  EXPECT_EQ(config.autoReboot, 0u);
  EXPECT_EQ(config.sendAlert, 0u);
  EXPECT_EQ(config.logEvent, 0u);
}

TEST_F(CrashDumpSettings, NoReadThatFailsBehindTheFirstChangesTheResult) {
  const CrashDumpConfigManager manager;
  CrashDumpConfig config;
  plan.Clear();
  EXPECT_EQ(manager.GetCurrentConfig(&config), 0);
  const unsigned opens = plan.CountOf("RegOpenKeyExW");
  const unsigned queries = plan.CountOf("RegQueryValueExW");
  EXPECT_EQ(opens, 7u) << "each value through a key of its own";
  for (unsigned nth = 2; nth <= opens; ++nth) {
    plan.Clear();
    plan.Fail({"RegOpenKeyExW", nth, false, 5});
    EXPECT_EQ(manager.GetCurrentConfig(&config), 0) << nth;
    EXPECT_EQ(config.dumpType, 3u) << nth;
  }
  for (unsigned nth = 2; nth <= queries; ++nth) {
    plan.Clear();
    plan.Fail({"RegQueryValueExW", nth, false, 5});
    EXPECT_EQ(manager.GetCurrentConfig(&config), 0) << nth;
  }
  EXPECT_EQ(Lines(), 0u) << "in silence";
  ExpectNothingHeld();
}

TEST_F(CrashDumpSettings, EachIsReadInItsTurnAndAFailureCostsItAlone) {
  SetControlText(u"MinidumpDir", u"D:\\Own");
  SetControl(u"MinidumpsCount", 12);
  SetControl(u"Overwrite", 0);
  SetControl(u"AutoReboot", 0);
  SetControl(u"SendAlert", 1);
  SetControl(u"LogEvent", 0);
  const CrashDumpConfigManager manager;
  for (unsigned nth = 2; nth <= 7; ++nth) {
    CrashDumpConfig config;
    plan.Clear();
    plan.Fail({"RegOpenKeyExW", nth, false, 5});
    EXPECT_EQ(manager.GetCurrentConfig(&config), 0) << nth;
    EXPECT_EQ(config.minidumpDir, nth == 2 ? u"%SystemRoot%\\Minidump" : u"D:\\Own") << nth;
    EXPECT_EQ(config.minidumpsCount, nth == 3 ? 5u : 12u) << nth;
    EXPECT_EQ(config.overwrite, nth == 4 ? 1u : 0u) << nth;
    EXPECT_EQ(config.autoReboot, nth == 5 ? 1u : 0u) << nth;
    EXPECT_EQ(config.sendAlert, nth == 6 ? 0u : 1u) << nth;
    EXPECT_EQ(config.logEvent, nth == 7 ? 1u : 0u) << nth;
  }
}

TEST_F(CrashDumpSettings, AnEmptyFolderStandsAsItIs) {
  SetControlText(u"MinidumpDir", u"");
  EXPECT_EQ(Read().dumpPath, u"\\*.dmp") << "it is there, so that nothing is filled in";
  SetControl(u"CrashDumpEnabled", 1);
  SetControlText(u"DumpFile", u"");
  EXPECT_EQ(Read().dumpPath, u"");
}

TEST_F(CrashDumpSettings, EnableMinidumpWritesTypeFolderAndCountAndMakesTheFolder) {
  CrashDumpConfigManager manager;
  SetControl(u"CrashDumpEnabled", 0);
  EXPECT_EQ(manager.EnableMinidump(u"%SystemRoot%\\New\\Dumps", 10), 0);
  EXPECT_EQ(Control(u"CrashDumpEnabled"), 3u);
  EXPECT_EQ(StoredText(kCrashControl, u"MinidumpDir"), u"%SystemRoot%\\New\\Dumps") << "as given";
  EXPECT_EQ(machine.registry.Get(kCrashControl, u"MinidumpDir")->type, platform::kRegExpandSz);
  EXPECT_EQ(Control(u"MinidumpsCount"), 10u);
  EXPECT_TRUE(machine.files.IsFolder(u"C:\\Windows\\New\\Dumps"));
  ExpectNothingHeld();
}

TEST_F(CrashDumpSettings, EnableMinidumpWithoutElevationChangesNothing) {
  CrashDumpConfigManager manager;
  SetControl(u"CrashDumpEnabled", 0);
  machine.system.elevated = false;
  EXPECT_EQ(manager.EnableMinidump(u"C:\\New", 10), kEAccessDenied);
  EXPECT_EQ(Control(u"CrashDumpEnabled"), 0u);
  EXPECT_EQ(StoredText(kCrashControl, u"MinidumpDir"), u"%SystemRoot%\\Minidump");
  EXPECT_FALSE(machine.files.Exists(u"C:\\New"));
  EXPECT_EQ(plan.CountOf("RegSetValueExW"), 0u);
}

TEST_F(CrashDumpSettings, EnableMinidumpStopsAtTheFirstWriteThatFails) {
  CrashDumpConfigManager manager;
  for (unsigned nth = 1; nth <= 3; ++nth) {
    machine.registry.RemoveKey(kCrashControl);
    machine.registry.MakeKey(kCrashControl);
    plan.Clear();
    plan.Fail({"RegSetValueExW", nth, false, 112});
    EXPECT_EQ(manager.EnableMinidump(u"C:\\New", 10), HrOf(112)) << nth;
    EXPECT_EQ(plan.CountOf("RegSetValueExW"), nth);
    EXPECT_EQ(machine.registry.Values(kCrashControl).size(), nth - 1) << "what was written stays";
    EXPECT_FALSE(machine.files.Exists(u"C:\\New"));
  }
  ExpectNothingHeld();
}

TEST_F(CrashDumpSettings, EnableMinidumpLeavesTheFolderOutWhenItCannotBeExpanded) {
  CrashDumpConfigManager manager;
  plan.FailForEver("ExpandEnvironmentStringsW", 8);
  EXPECT_EQ(manager.EnableMinidump(u"C:\\New", 10), 0);
  EXPECT_FALSE(machine.files.Exists(u"C:\\New"));
  EXPECT_EQ(Lines(), 0u);
}

TEST_F(CrashDumpSettings, EnableMinidumpTellsOfAFolderThatCannotBeMade) {
  CrashDumpConfigManager manager;
  machine.files.AddFile(u"C:\\New", "a file");
  EXPECT_EQ(manager.EnableMinidump(u"C:\\New", 10), kEFail);
  plan.Fail("CreateDirectoryW", 5);
  EXPECT_EQ(manager.EnableMinidump(u"C:\\Other", 10), kEAccessDenied);
}

TEST_F(CrashDumpSettings, RebootAndLogSwitchesStoreAnyNumberAs1) {
  CrashDumpConfigManager manager;
  EXPECT_EQ(manager.SetAutoReboot(77), 0);
  EXPECT_EQ(manager.SetLogEvent(0x80000000), 0);
  EXPECT_EQ(Control(u"AutoReboot"), 1u);
  EXPECT_EQ(Control(u"LogEvent"), 1u);
  EXPECT_EQ(manager.SetAutoReboot(0), 0);
  EXPECT_EQ(manager.SetLogEvent(0), 0);
  EXPECT_EQ(Control(u"AutoReboot"), 0u);
  EXPECT_EQ(Control(u"LogEvent"), 0u);
  machine.system.elevated = false;
  EXPECT_EQ(manager.SetAutoReboot(1), kEAccessDenied);
  EXPECT_EQ(manager.SetLogEvent(1), kEAccessDenied);
  EXPECT_EQ(Control(u"AutoReboot"), 0u);
  EXPECT_EQ(manager.SetCrashDumpEnabled(2), 0) << "asks for no elevation";
  EXPECT_EQ(Control(u"CrashDumpEnabled"), 2u);
}

TEST_F(CrashDumpSettings, ANumberThatCannotBeWrittenIsLoggedWithItsNameAndError) {
  CrashDumpConfigManager manager;
  plan.Fail("RegSetValueExW", 5);
  EXPECT_EQ(manager.SetLogEvent(1), kEAccessDenied);
  EXPECT_TRUE(Logged("[Error] Failed to write registry value LogEvent: 0x00000005\n"));
  EXPECT_EQ(Lines(), 1u);
  plan.Fail("RegCreateKeyExW", 1450);
  EXPECT_EQ(manager.SetCrashDumpEnabled(1), HrOf(1450));
  EXPECT_TRUE(Logged("[Error] Cannot open/create registry key CrashControl: 0x000005AA\n"));
  EXPECT_EQ(Lines(), 2u);
  ExpectNothingHeld();
}

TEST_F(CrashDumpSettings, ATextThatCannotBeWrittenIsNotLogged) {
  CrashDumpConfigManager manager;
  plan.Fail({"RegCreateKeyExW", 2, false, 1450});
  EXPECT_EQ(manager.EnableMinidump(u"C:\\New", 10), HrOf(1450)) << "the key of the folder's value";
  plan.Clear();
  plan.Fail({"RegSetValueExW", 2, false, 5});
  EXPECT_EQ(manager.EnableMinidump(u"C:\\New", 10), kEAccessDenied);
  EXPECT_EQ(Lines(), 0u);
}

TEST_F(CrashDumpSettings, AKeyThatIsMissingIsMadeByAWrite) {
  CrashDumpConfigManager manager;
  machine.registry.RemoveKey(kCrashControl);
  EXPECT_EQ(manager.SetCrashDumpEnabled(3), 0);
  EXPECT_EQ(Control(u"CrashDumpEnabled"), 3u);
}

}  // namespace
}  // namespace varnel

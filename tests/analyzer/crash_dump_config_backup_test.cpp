#include "analyzer/crash_dump_config_manager.h"
#include "tests/analyzer/analyzer_fixture.h"
#include "tests/support/civil_time.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names
using platform::kHkeyLocalMachine;

class CrashDumpBackupTest : public AnalyzerTest {
 protected:
  CrashDumpBackupTest() { plan.Clear(); }

  std::int32_t Backup() { return manager.BackupCurrentConfig(kHkeyLocalMachine, kProductKey); }
  std::int32_t Restore() { return manager.RestoreConfig(kHkeyLocalMachine, kProductKey); }
  std::int32_t Delete() { return manager.DeleteBackupConfig(kHkeyLocalMachine, kProductKey); }
  std::int32_t ReadBack(CrashDumpBackup* backup) {
    const std::int32_t result = manager.ReadBackupConfig(kHkeyLocalMachine, kProductKey, backup);
    ExpectNothingHeld();
    return result;
  }
  std::optional<std::uint32_t> Kept(const std::u16string& name) const {
    return machine.registry.GetDword(kProductKey, name);
  }
  void PutBackup(std::uint32_t type) {
    machine.registry.SetDword(kProductKey, u"DumpType", type);
    machine.registry.SetDword(kProductKey, u"AutoReboot", 0);
    machine.registry.SetDword(kProductKey, u"SendAlert", 1);
    machine.registry.SetDword(kProductKey, u"LogEvent", 0);
  }
  void Forget(const std::u16string& name) {
    platform::HKEY key = nullptr;
    machine.registry.RegOpenKeyExW(kHkeyLocalMachine, kProductKey.c_str(), 0, platform::kKeyWrite, &key);
    EXPECT_EQ(machine.registry.RegDeleteValueW(key, name.c_str()), 0u);
    machine.registry.RegCloseKey(key);
  }
  TextList Names() const {
    TextList names;
    for (const auto& value : machine.registry.Values(kProductKey)) names.push_back(value.name);
    return names;
  }

  CrashDumpConfigManager manager;
};

TEST_F(CrashDumpBackupTest, OfSmallDumpsHoldsFolderAndCountInTheOrderOfWriting) {
  SetControl(u"MinidumpsCount", 12);
  EXPECT_EQ(Backup(), 0);
  EXPECT_EQ(Names(), (TextList{u"DumpType", u"MinidumpDir", u"MinidumpsCount", u"AutoReboot", u"SendAlert", u"LogEvent",
                               u"BackupTime"}));
  EXPECT_EQ(Kept(u"DumpType"), 3u);
  EXPECT_EQ(StoredText(kProductKey, u"MinidumpDir"), u"%SystemRoot%\\Minidump");
  EXPECT_EQ(machine.registry.Get(kProductKey, u"MinidumpDir")->type, platform::kRegExpandSz);
  EXPECT_EQ(machine.registry.Get(kProductKey, u"MinidumpDir")->data.size(), 21u * 2 + 2);
  EXPECT_EQ(Kept(u"MinidumpsCount"), 12u);
  ExpectNothingHeld();
}

TEST_F(CrashDumpBackupTest, OfAnyOtherTypeHoldsTheDumpFileEvenIfItIsEmpty) {
  SetControl(u"CrashDumpEnabled", 7);
  EXPECT_EQ(Backup(), 0);
  EXPECT_EQ(StoredText(kProductKey, u"DumpFile"), u"C:\\Windows\\MEMORY.DMP");
  SetControl(u"CrashDumpEnabled", 4);
  EXPECT_EQ(Backup(), 0);
  EXPECT_EQ(StoredText(kProductKey, u"DumpFile"), u"");
  EXPECT_EQ(machine.registry.Get(kProductKey, u"DumpFile")->data.size(), 2u);
  EXPECT_FALSE(Kept(u"MinidumpsCount").has_value());
  EXPECT_EQ(Names(), (TextList{u"DumpType", u"DumpFile", u"AutoReboot", u"SendAlert", u"LogEvent", u"BackupTime"}));
}

TEST_F(CrashDumpBackupTest, OfAMachineThatTellsNoTypeHoldsZerosForAllThatWasNotRead) {
  RemoveControl(u"CrashDumpEnabled");
  SetControl(u"AutoReboot", 1);
  EXPECT_EQ(Backup(), 0);
  EXPECT_EQ(Kept(u"DumpType"), 0u);
  EXPECT_EQ(StoredText(kProductKey, u"DumpFile"), u"");
  EXPECT_EQ(Kept(u"AutoReboot"), 0u);
  EXPECT_EQ(Kept(u"SendAlert"), 0u);
  EXPECT_EQ(Kept(u"LogEvent"), 0u);
}

TEST_F(CrashDumpBackupTest, IsStampedWithTheLocalDate) {
  machine.system.SetTime(FileTimeOf(2026, 12, 31, 23, 30, 0, 0));
  machine.system.zone_bias = -480;
  EXPECT_EQ(Backup(), 0);
  EXPECT_EQ(Kept(u"BackupTime"), (2027u << 16) | (1u << 8) | 1u) << "it is the next year already there";
}

TEST_F(CrashDumpBackupTest, StopsAtTheFirstWriteThatFailsAndLeavesWhatItWrote) {
  for (unsigned nth = 1; nth <= 7; ++nth) {
    machine.registry.RemoveKey(kProductKey);
    plan.Clear();
    plan.Fail({"RegSetValueExW", nth, false, 112});
    EXPECT_EQ(Backup(), HrOf(112)) << nth;
    EXPECT_EQ(Names().size(), nth - 1);
    EXPECT_EQ(plan.CountOf("RegSetValueExW"), nth);
  }
  EXPECT_EQ(Lines(), 0u);
  ExpectNothingHeld();
}

TEST_F(CrashDumpBackupTest, OfAKeyThatCannotBeMadeFails) {
  plan.Fail("RegCreateKeyExW", 5);
  EXPECT_EQ(Backup(), kEAccessDenied);
  EXPECT_FALSE(machine.registry.HasKey(kProductKey));
}

TEST_F(CrashDumpBackupTest, ReadsBackAsItWasWritten) {
  SetControl(u"MinidumpsCount", 12);
  SetControl(u"SendAlert", 9);
  SetControl(u"LogEvent", 0);
  machine.system.SetTime(FileTimeOf(2026, 11, 21, 10, 0, 0, 0));
  ASSERT_EQ(Backup(), 0);
  CrashDumpBackup backup;
  EXPECT_EQ(ReadBack(&backup), 0);
  EXPECT_EQ(backup.valid, 1u);
  EXPECT_EQ(backup.dumpType, 3u);
  EXPECT_EQ(backup.minidumpDir, u"%SystemRoot%\\Minidump");
  EXPECT_EQ(backup.minidumpsCount, 12u);
  EXPECT_EQ(backup.dumpFile, u"");
  EXPECT_EQ(backup.autoReboot, 1u);
  EXPECT_EQ(backup.sendAlert, 1u);
  EXPECT_EQ(backup.logEvent, 0u);
  EXPECT_EQ(backup.backupDate.wYear, 2026);
  EXPECT_EQ(backup.backupDate.wMonth, 11);
  EXPECT_EQ(backup.backupDate.wDay, 21);
  EXPECT_EQ(backup.backupDate.wHour, 0);
  EXPECT_EQ(backup.backupDate.wDayOfWeek, 0);
}

TEST_F(CrashDumpBackupTest, OfAnotherTypeReadsTheDumpFileAndNoFolder) {
  PutBackup(1);
  machine.registry.SetText(kProductKey, u"DumpFile", u"D:\\full.dmp");
  machine.registry.SetText(kProductKey, u"MinidumpDir", u"left over");
  machine.registry.SetDword(kProductKey, u"MinidumpsCount", 8);
  CrashDumpBackup backup;
  EXPECT_EQ(ReadBack(&backup), 0);
  EXPECT_EQ(backup.dumpFile, u"D:\\full.dmp");
  EXPECT_EQ(backup.minidumpDir, u"");
  EXPECT_EQ(backup.minidumpsCount, 0u);
}

TEST_F(CrashDumpBackupTest, ANullOutputIsAPointerError) {
  EXPECT_EQ(manager.ReadBackupConfig(kHkeyLocalMachine, kProductKey, nullptr), kEPointer);
}

TEST_F(CrashDumpBackupTest, ThatIsNotThereGivesItsErrorAndIsNotValid) {
  CrashDumpBackup backup;
  backup.valid = 1;
  backup.dumpFile = u"of an earlier call";
  EXPECT_EQ(ReadBack(&backup), HrOf(2));
  EXPECT_EQ(backup.valid, 0u);
  EXPECT_EQ(backup.dumpFile, u"");
}

TEST_F(CrashDumpBackupTest, WithoutItsTypeFailsAndReadsNothingElse) {
  PutBackup(3);
  Forget(u"DumpType");
  plan.Clear();
  CrashDumpBackup backup;
  EXPECT_EQ(ReadBack(&backup), kEFail);
  EXPECT_EQ(backup.valid, 0u);
  EXPECT_EQ(plan.CountOf("RegQueryValueExW"), 1u);
}

TEST_F(CrashDumpBackupTest, WithoutItsCountReads50WhereTheLiveSettingsGive5) {
  PutBackup(3);
  CrashDumpBackup backup;
  EXPECT_EQ(ReadBack(&backup), 0);
  EXPECT_EQ(backup.minidumpsCount, 50u);
  EXPECT_EQ(backup.minidumpDir, u"") << "a missing text stays empty";
  EXPECT_EQ(backup.valid, 1u);
  CrashDumpConfig config;
  EXPECT_EQ(manager.GetCurrentConfig(&config), 0);
  EXPECT_EQ(config.minidumpsCount, 5u);
}

TEST_F(CrashDumpBackupTest, WithoutItsDateIsValid) {
  PutBackup(2);
  CrashDumpBackup backup;
  EXPECT_EQ(ReadBack(&backup), 0);
  EXPECT_EQ(backup.valid, 1u);
  EXPECT_EQ(backup.backupDate.wYear, 0);
}

TEST_F(CrashDumpBackupTest, WithoutOneOfItsThreeSwitchesIsNotValid) {
  for (const char16_t* const name : {u"AutoReboot", u"SendAlert", u"LogEvent"}) {
    PutBackup(2);
    Forget(name);
    CrashDumpBackup backup;
    EXPECT_EQ(ReadBack(&backup), kEFail);
    EXPECT_EQ(backup.valid, 0u);
    EXPECT_EQ(backup.dumpType, 2u);
    machine.registry.SetText(kProductKey, name, u"1");
    EXPECT_EQ(ReadBack(&backup), kEFail) << "nor with one of another type";
  }
}

TEST_F(CrashDumpBackupTest, EachValueIsReadInItsTurnAndAFailureCostsItAlone) {
  PutBackup(3);
  machine.registry.SetText(kProductKey, u"MinidumpDir", u"D:\\Own");
  machine.registry.SetDword(kProductKey, u"MinidumpsCount", 12);
  machine.registry.SetDword(kProductKey, u"AutoReboot", 77);
  machine.registry.SetDword(kProductKey, u"SendAlert", 77);
  machine.registry.SetDword(kProductKey, u"LogEvent", 0x80000000);
  machine.registry.SetDword(kProductKey, u"BackupTime", (2026u << 16) | (11u << 8) | 21u);
  for (unsigned nth = 2; nth <= 8; ++nth) {  // a text takes two queries, its size first
    CrashDumpBackup backup;
    plan.Clear();
    plan.Fail({"RegQueryValueExW", nth, false, 5});
    const bool valid = nth < 6;
    EXPECT_EQ(ReadBack(&backup), valid ? 0 : kEFail) << nth;
    EXPECT_EQ(backup.valid, valid ? 1u : 0u) << nth;
    EXPECT_EQ(backup.minidumpDir, nth == 2 || nth == 3 ? u"" : u"D:\\Own") << nth;
    EXPECT_EQ(backup.minidumpsCount, nth == 4 ? 50u : 12u) << nth;
    EXPECT_EQ(backup.backupDate.wDay, nth == 5 ? 0 : 21) << nth;
    EXPECT_EQ(backup.autoReboot, nth == 6 ? 0u : 1u) << nth;
    EXPECT_EQ(backup.sendAlert, nth == 7 ? 0u : 1u) << nth;
    EXPECT_EQ(backup.logEvent, nth == 8 ? 0u : 1u) << nth;
  }
}

TEST_F(CrashDumpBackupTest, ADateOfAnotherTypeCountsAsMissing) {
  PutBackup(2);
  machine.registry.SetText(kProductKey, u"BackupTime", u"x");
  CrashDumpBackup backup;
  EXPECT_EQ(ReadBack(&backup), 0);
  EXPECT_EQ(backup.valid, 1u);
  EXPECT_EQ(backup.backupDate.wYear, 0);
}

TEST_F(CrashDumpBackupTest, OfType3RestoresTheSwitchesOnlyAndIsDeleted) {
  PutBackup(3);
  machine.registry.SetText(kProductKey, u"MinidumpDir", u"C:\\Old");
  SetControl(u"CrashDumpEnabled", 2);
  SetControl(u"Overwrite", 0);
  EXPECT_EQ(Restore(), 0);
  EXPECT_EQ(machine.registry.GetDword(kCrashControl, u"CrashDumpEnabled"), 2u) << "untouched";
  EXPECT_EQ(StoredText(kCrashControl, u"MinidumpDir"), u"%SystemRoot%\\Minidump") << "never written back";
  EXPECT_EQ(machine.registry.GetDword(kCrashControl, u"Overwrite"), 0u);
  EXPECT_EQ(machine.registry.GetDword(kCrashControl, u"AutoReboot"), 0u);
  EXPECT_EQ(machine.registry.GetDword(kCrashControl, u"SendAlert"), 1u);
  EXPECT_EQ(machine.registry.GetDword(kCrashControl, u"LogEvent"), 0u);
  EXPECT_TRUE(Names().empty());
  EXPECT_TRUE(machine.registry.HasKey(kProductKey));
}

TEST_F(CrashDumpBackupTest, OfType0PutsDumpsOffAgain) {
  PutBackup(0);
  EXPECT_EQ(Restore(), 0);
  EXPECT_EQ(machine.registry.GetDword(kCrashControl, u"CrashDumpEnabled"), 0u);
}

TEST_F(CrashDumpBackupTest, IsNotRestoredWithoutElevation) {
  PutBackup(0);
  machine.system.elevated = false;
  EXPECT_EQ(Restore(), kEAccessDenied);
  EXPECT_EQ(machine.registry.GetDword(kCrashControl, u"CrashDumpEnabled"), 3u);
  EXPECT_EQ(Names().size(), 4u);
}

TEST_F(CrashDumpBackupTest, ThatCannotBeReadOrIsNotValidRestoresNothing) {
  EXPECT_EQ(Restore(), HrOf(2));
  PutBackup(0);
  Forget(u"LogEvent");
  EXPECT_EQ(Restore(), kEFail);
  EXPECT_EQ(machine.registry.GetDword(kCrashControl, u"CrashDumpEnabled"), 3u);
  EXPECT_EQ(plan.CountOf("RegSetValueExW"), 0u);
  EXPECT_EQ(Names().size(), 3u);
}

TEST_F(CrashDumpBackupTest, StaysInPlaceWhenAWriteOfTheRestoreFails) {
  for (unsigned nth = 1; nth <= 4; ++nth) {
    PutBackup(0);
    plan.Clear();
    plan.Fail({"RegSetValueExW", nth, false, 112});
    EXPECT_EQ(Restore(), HrOf(112)) << nth;
    EXPECT_EQ(plan.CountOf("RegSetValueExW"), nth) << "the first failure ends it";
    EXPECT_EQ(Names().size(), 4u);
  }
}

TEST_F(CrashDumpBackupTest, IsRestoredWhateverItsDeletionReports) {
  PutBackup(3);
  plan.FailForEver("RegDeleteValueW", 5);
  EXPECT_EQ(Restore(), 0);
  EXPECT_EQ(machine.registry.GetDword(kCrashControl, u"SendAlert"), 1u);
}

TEST_F(CrashDumpBackupTest, DeletionLeavesTheKeyAndTheFirstRunsValues) {
  PutBackup(3);
  machine.registry.SetDword(kProductKey, u"BackupTime", 5);
  machine.registry.SetText(kProductKey, u"DumpFile", u"x");
  machine.registry.SetText(kProductKey, u"MinidumpDir", u"x");
  machine.registry.SetDword(kProductKey, u"MinidumpsCount", 5);
  machine.registry.SetDword(kProductKey, u"NoSymbol_Completed", 1);
  EXPECT_EQ(Delete(), 0);
  EXPECT_EQ(Names(), TextList{u"NoSymbol_Completed"});
  EXPECT_EQ(Delete(), 0) << "values that are not there count as nothing";
  ExpectNothingHeld();
}

TEST_F(CrashDumpBackupTest, DeletionOfAKeyThatIsNotThereDoesNothing) {
  EXPECT_EQ(Delete(), 0);
  EXPECT_EQ(plan.CountOf("RegDeleteValueW"), 0u);
  plan.Fail("RegOpenKeyExW", 5);
  EXPECT_EQ(Delete(), kEAccessDenied) << "any other failure of the open is told";
}

TEST_F(CrashDumpBackupTest, DeletionTriesAllValuesAndTellsTheFirstFailure) {
  PutBackup(3);
  plan.Fail({"RegDeleteValueW", 4, false, 2});
  plan.Fail({"RegDeleteValueW", 5, false, 5});
  plan.Fail({"RegDeleteValueW", 7, false, 1450});
  EXPECT_EQ(Delete(), kEAccessDenied);
  EXPECT_EQ(plan.CountOf("RegDeleteValueW"), 8u);
  EXPECT_EQ(Names(), (TextList{u"AutoReboot", u"LogEvent"}));
}

}  // namespace
}  // namespace varnel

#include "tool/install.h"

#include <gtest/gtest.h>

#include <string>

#include "base/log.h"
#include "tests/tool/tool_fixture.h"

namespace varnel {
namespace {

using testing::kAutologgerKey;
using testing::kModuleFolder;
using testing::kSessionName;
using testing::kSetupFolder;

class InstallTest : public testing::ToolTest {
 protected:
  static std::u16string Placed(const char16_t* name) { return std::u16string(kModuleFolder) + u"\\" + name; }
  bool SessionRuns() const { return platform_.trace.FindSession(kSessionName).has_value(); }
};

TEST_F(InstallTest, RegistersStartsASessionPlacesTheFilesAndFlushes) {
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_TRUE(platform_.registry.HasKey(kAutologgerKey));
  EXPECT_TRUE(SessionRuns());
  EXPECT_EQ(platform_.files.Contents(Placed(u"symsrv.dll")), "library");
  EXPECT_EQ(platform_.files.Contents(Placed(u"symsrv.yes")), "yes");
  EXPECT_EQ(faults_.CountOf("RegFlushKey"), 2u);
  EXPECT_TRUE(Logged("InstallVarnel func return(0x0).\r\n"));
}

TEST_F(InstallTest, AMissingSessionIsToldWithItsNameThoughItIsNoFailure) {
  InstallVarnel(kSetupFolder);
  EXPECT_TRUE(
      Logged("InstallVarnel func call CheckTraceSessionExists session(KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-"
             "12593BD342A8}) not exist, need create temp session.\r\n"));
}

TEST_F(InstallTest, ARunningSessionIsLeftAloneAndNotTold) {
  platform_.trace.AddSession(kSessionName, u"");
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_EQ(faults_.CountOf("StartTraceW"), 0u);
  EXPECT_FALSE(Logged("need create temp session"));
}

TEST_F(InstallTest, OnlyTheMissingSessionIsToldAmongTheErrorsOfAGoodInstall) {
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.system.ClearDebug();
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
  EXPECT_TRUE(Logged("not exist, need create temp session.\r\n"));
  platform_.system.ClearDebug();
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_EQ(UninstallVarnel(), 0u);
  EXPECT_TRUE(platform_.system.DebugLines().empty()) << "with the session running no error is told";
}

TEST_F(InstallTest, WhatAnInstallAndAnUninstallReturnIsInformation) {
  WrapLogInit(LOG_INFO, nullptr);
  ASSERT_EQ(InstallVarnel(kSetupFolder), 0u);
  ASSERT_EQ(UninstallVarnel(), 0u);
  EXPECT_EQ(TimesLogged("] InstallVarnel func return(0x0).\r\n"), 1u);
  EXPECT_EQ(TimesLogged("] UninstallVarnel func return(0x0).\r\n"), 1u);
}

TEST_F(InstallTest, ASecondInstallCopiesNothing) {
  ASSERT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_EQ(faults_.CountOf("CopyFileW"), 2u);
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_EQ(faults_.CountOf("CopyFileW"), 2u);
}

TEST_F(InstallTest, APresentFileWithOtherContentIsOverwritten) {
  platform_.files.AddFile(Placed(u"symsrv.dll"), "older");
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_EQ(platform_.files.Contents(Placed(u"symsrv.dll")), "library");
}

TEST_F(InstallTest, ASumThatCantBeMadeCopiesTheFile) {
  platform_.files.AddFile(Placed(u"symsrv.dll"), "library");
  faults_.Fail("CryptAcquireContextW", 5);
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_EQ(faults_.CountOf("CopyFileW"), 2u);
}

TEST_F(InstallTest, AFailedRegistrationAnswers0AndNoLaterStepRuns) {
  faults_.Fail({"RegSetValueExW", 3, false, 5});
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_TRUE(Logged("InstallVarnel func call EtwAutoLoggerInstall failed(0x0)!\r\n"));
  EXPECT_TRUE(Logged("InstallVarnel func return(0x0).\r\n"));
  EXPECT_FALSE(platform_.registry.HasKey(kAutologgerKey)) << "rolled back";
  EXPECT_FALSE(SessionRuns());
  EXPECT_EQ(faults_.CountOf("CopyFileW"), 0u);
  EXPECT_EQ(faults_.CountOf("RegFlushKey"), 0u);
}

TEST_F(InstallTest, AFailedSessionBringsItsCodeAndTheRegistrationStays) {
  faults_.Fail("StartTraceW", 1450);
  EXPECT_EQ(InstallVarnel(kSetupFolder), 1450u);
  EXPECT_TRUE(Logged("InstallVarnel func call CreateTempSession failed(0x5aa)!\r\n"));
  EXPECT_TRUE(platform_.registry.HasKey(kAutologgerKey));
  EXPECT_EQ(faults_.CountOf("CopyFileW"), 0u);
}

TEST_F(InstallTest, AnUnknownModulePathBringsItsCodeUnderAnotherFunctionsName) {
  platform_.registry.RemoveKey(u"SOFTWARE\\KelvoCLSID");
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0x90000000u);
  EXPECT_TRUE(Logged("EtwConsumerStart func call GetVarnelFullPathByGuid failed!\r\n"));
  EXPECT_TRUE(SessionRuns());
}

TEST_F(InstallTest, AFailedCopyOfTheFirstFileBringsEFailAndBothFlags) {
  faults_.Fail("CopyFileW", 5);
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0x80004005u);
  EXPECT_TRUE(
      Logged("EtwConsumerStart func bFileExist(0) bMd5Same(0) call WrapCopyVarnelsFile(symsrv.dll) "
             "failed(0x80004005)!\r\n"));
  EXPECT_FALSE(platform_.files.Exists(Placed(u"symsrv.yes")));
  EXPECT_EQ(faults_.CountOf("RegFlushKey"), 0u);
}

TEST_F(InstallTest, AFailedCopyOfTheSecondFileLeavesTheFirst) {
  platform_.files.AddFile(Placed(u"symsrv.yes"), "older");
  faults_.Fail({"CopyFileW", 2, false, 32});
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0x80004005u);
  EXPECT_TRUE(
      Logged("EtwConsumerStart func bFileExist(1) bMd5Same(0) call WrapCopyVarnelsFile(symsrv.yes) "
             "failed(0x80004005)!\r\n"));
  EXPECT_TRUE(platform_.files.Exists(Placed(u"symsrv.dll")));
}

TEST_F(InstallTest, ASourceThatIsGoneCantBeSummedSoItsCopyIsTriedAndFails) {
  ASSERT_EQ(InstallVarnel(kSetupFolder), 0u);
  platform_.files.Remove(std::u16string(kSetupFolder) + u"\\symsrv.dll");
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0x80004005u);
  EXPECT_TRUE(platform_.files.Exists(Placed(u"symsrv.dll")));
}

TEST_F(InstallTest, EachFailedStepIsAnError) {
  WrapLogInit(LOG_ERROR, nullptr);
  const auto errors_with = [&](const char* operation, unsigned nth) {
    platform_.system.ClearDebug();
    faults_.Clear();
    faults_.Fail({operation, nth, false, 5});
    InstallVarnel(kSetupFolder);
    return platform_.system.DebugLines().size();
  };
  EXPECT_EQ(errors_with("StartTraceW", 1), 2u) << "the missing session, and its start";
  EXPECT_EQ(errors_with("CopyFileW", 1), 3u) << "the missing session, the copy, and the step";
  EXPECT_EQ(errors_with("CopyFileW", 1), 2u) << "the copy, and the step";
  platform_.registry.RemoveKey(u"SOFTWARE\\KelvoCLSID");
  EXPECT_EQ(errors_with("CopyFileW", 1), 2u) << "the unknown path, and the step";
  EXPECT_EQ(errors_with("GetSystemDirectoryW", 1), 2u) << "the registration's, and the step";
}

TEST_F(InstallTest, AFailedFlushIsPassedOver) {
  faults_.FailForEver("RegFlushKey", 5);
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0u);
}

TEST_F(InstallTest, UninstallRemovesTheRegistrationAndNothingElse) {
  ASSERT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_EQ(UninstallVarnel(), 0u);
  EXPECT_TRUE(Logged("UninstallVarnel func return(0x0).\r\n"));
  EXPECT_FALSE(platform_.registry.HasKey(kAutologgerKey));
  EXPECT_TRUE(SessionRuns());
  EXPECT_TRUE(platform_.files.Exists(Placed(u"symsrv.dll")));
  EXPECT_TRUE(platform_.files.Exists(Placed(u"symsrv.yes")));
}

TEST_F(InstallTest, NeitherInstallNorUninstallTouchesTheDumpSettingsOrAKeptBackup) {
  constexpr char16_t kSettings[] = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
  constexpr char16_t kBackup[] = u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\{4A234956-2B7D-4221-BADF-12593BD342A8}";
  platform_.registry.SetDword(kSettings, u"CrashDumpEnabled", 0);
  for (const char16_t* name : {u"DumpType", u"AutoReboot", u"SendAlert", u"LogEvent"}) {
    platform_.registry.SetDword(kBackup, name, 1);
  }
  EXPECT_EQ(InstallVarnel(kSetupFolder), 0u);
  EXPECT_EQ(UninstallVarnel(), 0u);
  EXPECT_EQ(platform_.registry.Values(kSettings).size(), 1u);
  EXPECT_EQ(platform_.registry.GetDword(kSettings, u"CrashDumpEnabled"), 0u);
  EXPECT_EQ(platform_.registry.Values(kBackup).size(), 4u);
}

TEST_F(InstallTest, UninstallOnACleanSystemGives0) {
  EXPECT_EQ(UninstallVarnel(), 0u);
}

TEST_F(InstallTest, AFailedUninstallBringsItsCode) {
  ASSERT_EQ(InstallVarnel(kSetupFolder), 0u);
  faults_.Fail("RegDeleteTreeW", 5);
  EXPECT_EQ(UninstallVarnel(), 5u);
  EXPECT_TRUE(Logged("UninstallVarnel func return(0x5).\r\n"));
}

}  // namespace
}  // namespace varnel

#include "session/housekeeping.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "tests/support/fault_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

constexpr char16_t kName[] = u"KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr char16_t kKey[] =
    u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr char16_t kFolder[] = u"C:\\Windows\\System32\\LogFiles\\WMI";
const std::u16string kModule = u"{4A234956-2B7D-4221-BADF-12593BD342A8}";
const std::u16string kIn = std::u16string(kFolder) + u"\\";
const std::u16string kTempOne = kIn + u"KWDTempTrace" + kModule + u"{00000001-0000-0000-0000-000000000001}.etl";
const std::u16string kTempTwo = kIn + u"KWDTempTrace" + kModule + u"{00000002-0000-0000-0000-000000000002}.etl";
const std::u16string kAutoOne = kIn + u"KWDAutoTrace" + kModule + u".etl.001";
const std::u16string kAutoTwo = kIn + u"KWDAutoTrace" + kModule + u".etl.002";
const std::u16string kForeign = kIn + u"LwtNetLog.etl";

class Housekeeping : public ::testing::Test {
 protected:
  Housekeeping() {
    WrapLogInit(LOG_ERROR | LOG_INFO | LOG_DETAIL, nullptr);
    platform_.system.ClearDebug();
    for (const auto& path : {kTempOne, kTempTwo, kAutoOne, kAutoTwo, kForeign}) platform_.files.AddFile(path, "x");
    platform_.files.AddFolder(kIn + u"RtBackup");
  }
  ~Housekeeping() override { EXPECT_EQ(platform_.registry.open_keys(), 0u); }

  static std::uint32_t IsOurs(const std::u16string& path, std::uint32_t is_temp) {
    std::uint32_t is_ours = 7;
    EXPECT_EQ(CheckIsOurEtwLogFiles(path.c_str(), is_temp, &is_ours), 0u);
    return is_ours;
  }
  std::vector<std::u16string> Left() const {
    std::vector<std::u16string> left;
    for (const auto& path : {kTempOne, kTempTwo, kAutoOne, kAutoTwo, kForeign}) {
      if (platform_.files.Exists(path)) left.push_back(path);
    }
    return left;
  }
  void RunSession(const std::u16string& file) { platform_.trace.AddSession(kName, file); }

  testing::ScriptedPlatform platform_;
  testing::FaultPlan plan_;
};

class HousekeepingFaults : public Housekeeping {
 protected:
  testing::FaultyPlatform faulty_{platform_.ports, &plan_};
};

using Paths = std::vector<std::u16string>;

TEST_F(Housekeeping, KnowsItsOwnFilesByKind) {
  EXPECT_EQ(IsOurs(kTempOne, 1), 1u);
  EXPECT_EQ(IsOurs(kTempOne, 0), 0u);
  EXPECT_EQ(IsOurs(kAutoOne, 0), 1u);
  EXPECT_EQ(IsOurs(kAutoOne, 1), 0u);
  EXPECT_EQ(IsOurs(kForeign, 1), 0u);
  EXPECT_EQ(IsOurs(kForeign, 0), 0u);
}

TEST_F(Housekeeping, OnlyTheLengthCountsBehindTheModulesGuid) {
  std::u16string wrong = kTempOne;
  wrong[wrong.size() - 6] = u'Z';
  EXPECT_EQ(IsOurs(wrong, 1), 1u);
  EXPECT_EQ(IsOurs(kIn + u"KWDAutoTrace" + kModule + u".xyz_abc", 0), 1u);
}

TEST_F(Housekeeping, ANameThatDiffersOnlyInCaseIsOurs) {
  EXPECT_EQ(IsOurs(u"c:\\WINDOWS\\system32\\logfiles\\wmi\\kwdtemptrace" + kModule +
                       u"{00000001-0000-0000-0000-000000000001}.ETL",
                   1),
            1u);
}

TEST_F(Housekeeping, AnotherModulesFileAPlainEndingAndFourDigitsAreLeftAlone) {
  EXPECT_EQ(
      IsOurs(kIn + u"KWDTempTrace{4A234957-2B7D-4221-BADF-12593BD342A8}{00000001-0000-0000-0000-000000000001}.etl", 1),
      0u);
  EXPECT_EQ(IsOurs(kIn + u"KWDAutoTrace" + kModule + u".etl", 0), 0u);
  EXPECT_EQ(IsOurs(kIn + u"KWDAutoTrace" + kModule + u".etl.1000", 0), 0u);
}

TEST_F(Housekeeping, APathOutsideTheFolderIsNotOursWhateverItsName) {
  EXPECT_EQ(IsOurs(u"C:\\Windows\\Temp\\KWDAutoTrace" + kModule + u".etl.001", 0), 0u);
  EXPECT_EQ(IsOurs(u"D:" + kAutoOne.substr(2), 0), 0u);
}

TEST_F(HousekeepingFaults, WithoutAModelNameTheCheckGivesItsCodeAfterALine) {
  plan_.Fail({"GetSystemDirectoryW", 2, false, 5});  // the first one forms the folder
  std::uint32_t is_ours = 7;
  EXPECT_EQ(CheckIsOurEtwLogFiles(kTempOne.c_str(), 1, &is_ours), 5u);
  EXPECT_EQ(is_ours, 0u);
  EXPECT_TRUE(platform_.system.Logged(
      "CheckIsTargetSessionLogFile func call GenericUniqueTempSessionLogFile failed(0x5)!\r\n"));
}

TEST_F(Housekeeping, CallbacksRefuseNullPaths) {
  EXPECT_EQ(DeleteTempSessionLogFiles(nullptr, nullptr), 87u);
  char16_t keep[1] = {};
  EXPECT_EQ(DeleteAutoSessionLogFiles(nullptr, keep), 87u);
  EXPECT_EQ(DeleteAutoSessionLogFiles(kAutoOne.c_str(), nullptr), 87u);
  EXPECT_EQ(Left().size(), 5u);
}

TEST_F(Housekeeping, AnEmptyPathToKeepKeepsNothing) {
  char16_t keep[1] = {};
  EXPECT_EQ(DeleteAutoSessionLogFiles(kAutoOne.c_str(), keep), 0u);
  EXPECT_EQ(DeleteTempSessionLogFiles(kTempOne.c_str(), keep), 0u);
  EXPECT_EQ(Left(), (Paths{kTempTwo, kAutoTwo, kForeign}));
  EXPECT_TRUE(platform_.system.Logged("DeleteAutoSessionLogFiles func successfully deleted file: C:\\"));
  EXPECT_TRUE(platform_.system.Logged("DeleteTempSessionLogFiles func successfully deleted file: C:\\"));
}

TEST_F(Housekeeping, ATemporaryFileNeedsNoPathToKeep) {
  EXPECT_EQ(DeleteTempSessionLogFiles(kTempOne.c_str(), nullptr), 0u);
  EXPECT_EQ(Left(), (Paths{kTempTwo, kAutoOne, kAutoTwo, kForeign}));
}

TEST_F(Housekeeping, APathToKeepThatDiffersOnlyInCaseIsKept) {
  std::u16string keep = kTempOne;
  keep[0] = u'c';
  keep[keep.size() - 1] = u'L';
  EXPECT_EQ(DeleteTempSessionLogFiles(kTempOne.c_str(), keep.data()), 0u);
  EXPECT_EQ(Left().size(), 5u);
}

TEST_F(HousekeepingFaults, ACallbackPassesOnAFailedCheck) {
  plan_.Fail({"GetSystemDirectoryW", 2, false, 5});
  char16_t keep[1] = {};
  EXPECT_EQ(DeleteTempSessionLogFiles(kTempOne.c_str(), keep), 5u);
  EXPECT_TRUE(
      platform_.system.Logged("DeleteTempSessionLogFiles func call CheckIsOurEtwLogFiles failed(0x5) for file: C:\\"));
}

TEST_F(Housekeeping, WithoutASessionNothingIsDeletedAndTheTwoKindsAnswer0And31) {
  EXPECT_EQ(DeleteAllTempSessionLogFiles(kFolder), 0u);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_EQ(Left().size(), 5u);
  EXPECT_TRUE(platform_.system.Logged("DeleteAllTempSessionLogFiles func call bSessionExist is false.\r\n"));
  EXPECT_TRUE(platform_.system.Logged("DeleteAllAutoSessionLogFiles func call bSessionExist is false.\r\n"));
}

TEST_F(Housekeeping, ATemporarySessionKeepsItsOwnFileAndAllAutoLoggerFiles) {
  platform_.registry.SetDword(kKey, u"FileCounter", 2);
  RunSession(kTempTwo);
  EXPECT_EQ(DeleteAllTempSessionLogFiles(kFolder), 0u);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_EQ(Left(), (Paths{kTempTwo, kAutoOne, kAutoTwo, kForeign}));
  EXPECT_TRUE(
      platform_.system.Logged("DeleteAllAutoSessionLogFiles func Current session log file (C:\\Windows\\System32"
                              "\\LogFiles\\WMI\\KWDTempTrace"));
  EXPECT_TRUE(
      platform_.system.Logged("KWDAutoTrace{4A234956-2B7D-4221-BADF-12593BD342A8}.etl.002), skip deletion\r\n"));
}

TEST_F(Housekeeping, AnAutoLoggerSessionWithItsNumberKeepsOnlyItsOwnFile) {
  platform_.registry.SetDword(kKey, u"FileCounter", 2);
  RunSession(kAutoTwo);
  EXPECT_EQ(DeleteAllTempSessionLogFiles(kFolder), 0u);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 0u);
  EXPECT_EQ(Left(), (Paths{kAutoTwo, kForeign}));
}

TEST_F(Housekeeping, AnAutoLoggerSessionWithoutARegisteredNumberKeepsAllAutoLoggerFiles) {
  platform_.registry.MakeKey(kKey);
  RunSession(kAutoTwo);
  EXPECT_EQ(DeleteAllTempSessionLogFiles(kFolder), 0u);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_EQ(Left(), (Paths{kAutoOne, kAutoTwo, kForeign}));
  EXPECT_TRUE(platform_.system.Logged(
      "DeleteAllAutoSessionLogFiles func Failed to read FileCounter from registry (0x2), may be just create auto "
      "logger.\r\n"));
}

TEST_F(Housekeeping, AnAutoLoggerSessionOfAnotherNumberKeepsAllAutoLoggerFiles) {
  platform_.registry.SetDword(kKey, u"FileCounter", 1);
  RunSession(kAutoTwo);
  EXPECT_EQ(DeleteAllTempSessionLogFiles(kFolder), 0u);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_EQ(Left(), (Paths{kAutoOne, kAutoTwo, kForeign}));
}

TEST_F(Housekeeping, ANumberOfAnotherTypeIsNoNumber) {
  platform_.registry.SetText(kKey, u"FileCounter", u"2");
  RunSession(kAutoTwo);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_EQ(Left().size(), 5u);
}

TEST_F(Housekeeping, ASessionWithoutARegistrationKeepsAllAutoLoggerFiles) {
  RunSession(kAutoTwo);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_TRUE(
      platform_.system.Logged("DeleteAllAutoSessionLogFiles func Failed to open session registry key: SYSTEM\\"));
}

TEST_F(Housekeeping, ANullFolderIsRefused) {
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(nullptr), 87u);
}

TEST_F(HousekeepingFaults, WithoutASystemFolderTheAutoLoggerFilesStayAndTheErrorIsReturned) {
  RunSession(kAutoTwo);
  plan_.Fail("GetSystemDirectoryW", 5);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 5u);
  EXPECT_TRUE(platform_.system.Logged("DeleteAllAutoSessionLogFiles func call GetSystemDirectoryW failed(0x5)\r\n"));
}

TEST_F(HousekeepingFaults, OnlyAMissingSystemFolderIsAnErrorAndOnlyADeletionADetail) {
  RunSession(kAutoTwo);
  WrapLogInit(LOG_ERROR, nullptr);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_TRUE(platform_.system.DebugLines().empty()) << "a key that is missing";
  plan_.Fail("GetSystemDirectoryW", 5);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 5u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
  WrapLogInit(LOG_INFO, nullptr);
  platform_.system.ClearDebug();
  platform_.files.SetInUse(kAutoOne, true);
  platform_.registry.SetDword(kKey, u"FileCounter", 2);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 32u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u) << "a file that is in use";
  platform_.files.SetInUse(kAutoOne, false);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 0u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
}

TEST_F(HousekeepingFaults, WhatKeepsTheFilesIsInformation) {
  WrapLogInit(LOG_INFO, nullptr);
  const auto told = [this](const char* piece) { return platform_.system.Logged(piece); };
  EXPECT_EQ(DeleteAllTempSessionLogFiles(kFolder), 0u);
  EXPECT_TRUE(told("DeleteAllTempSessionLogFiles func call bSessionExist is false.\r\n"));
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_TRUE(told("DeleteAllAutoSessionLogFiles func call bSessionExist is false.\r\n"));
  RunSession(kTempTwo);
  plan_.Fail({"GetSystemDirectoryW", 2, false, 5});
  EXPECT_EQ(DeleteAllTempSessionLogFiles(kFolder), 5u);
  EXPECT_TRUE(told("CheckIsTargetSessionLogFile func call GenericUniqueTempSessionLogFile failed(0x5)!\r\n"));
  EXPECT_TRUE(told("DeleteAllTempSessionLogFiles func call CheckIsOurEtwLogFiles failed(0x5) for file: C:\\"));
  plan_.Fail({"GetSystemDirectoryW", 2, false, 5});
  EXPECT_EQ(DeleteTempSessionLogFiles(kTempOne.c_str(), nullptr), 5u);
  EXPECT_TRUE(told("] DeleteTempSessionLogFiles func call CheckIsOurEtwLogFiles failed(0x5) for file: C:\\"));
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_TRUE(told("DeleteAllAutoSessionLogFiles func Failed to open session registry key: SYSTEM\\"));
  platform_.registry.MakeKey(kKey);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_TRUE(told("DeleteAllAutoSessionLogFiles func Failed to read FileCounter from registry (0x2)"));
  platform_.registry.SetDword(kKey, u"FileCounter", 2);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 31u);
  EXPECT_TRUE(told("DeleteAllAutoSessionLogFiles func Current session log file (C:\\"));
  EXPECT_EQ(Left().size(), 5u);
}

TEST_F(HousekeepingFaults, ARunningFileThatCanNotBeJudgedEndsTheTemporaryKind) {
  RunSession(kTempTwo);
  plan_.Fail({"GetSystemDirectoryW", 2, false, 5});
  EXPECT_EQ(DeleteAllTempSessionLogFiles(kFolder), 5u);
  EXPECT_TRUE(platform_.system.Logged(
      "DeleteAllTempSessionLogFiles func call CheckIsOurEtwLogFiles failed(0x5) for file: C:\\"));
  EXPECT_EQ(Left().size(), 5u);
}

TEST_F(Housekeeping, ATemporaryFileThatCanNotBeDeletedStopsTheWalkAndIsNoFailure) {
  platform_.files.SetInUse(kTempOne, true);
  platform_.registry.SetDword(kKey, u"FileCounter", 2);
  RunSession(kAutoTwo);
  EXPECT_EQ(DeleteAllTempSessionLogFiles(kFolder), 0u);
  EXPECT_EQ(Left().size(), 5u) << "the files behind it stay until the next run";
  EXPECT_TRUE(platform_.system.Logged("DeleteTempSessionLogFiles func DeleteFileW failed(0x20) for file: C:\\"));
}

TEST_F(Housekeeping, AnAutoLoggerFileThatCanNotBeDeletedStopsTheWalkWithItsCode) {
  platform_.files.SetInUse(kAutoOne, true);
  const std::u16string three = kIn + u"KWDAutoTrace" + kModule + u".etl.003";
  platform_.files.AddFile(three);
  platform_.registry.SetDword(kKey, u"FileCounter", 2);
  RunSession(kAutoTwo);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 32u);
  EXPECT_TRUE(platform_.files.Exists(three));
  EXPECT_TRUE(platform_.system.Logged("DeleteAutoSessionLogFiles func DeleteFileW failed(0x20) for file: C:\\"));
}

TEST_F(Housekeeping, AnEmptyFolderGivesTheWalksResultAndDeletesNothing) {
  for (const auto& path : {kTempOne, kTempTwo, kAutoOne, kAutoTwo, kForeign}) platform_.files.Remove(path);
  platform_.registry.SetDword(kKey, u"FileCounter", 2);
  RunSession(kAutoTwo);
  EXPECT_EQ(DeleteAllTempSessionLogFiles(kFolder), 0u);
  EXPECT_EQ(DeleteAllAutoSessionLogFiles(kFolder), 0u);
}

}  // namespace
}  // namespace varnel

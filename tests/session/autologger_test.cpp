#include "session/autologger.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "session/provider_table.h"
#include "tests/support/fault_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

constexpr char16_t kSession[] =
    u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr char16_t kByGuidAlone[] =
    u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr char16_t kSampleText[] = u"{D8909C24-5BE9-4502-98CA-AB7BDC24899D}";
constexpr char16_t kName[] = u"KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr char16_t kFile[] =
    u"C:\\Windows\\System32\\LogFiles\\WMI\\KWDAutoTrace{4A234956-2B7D-4221-BADF-12593BD342A8}.etl";

class AutoLogger : public ::testing::Test {
 protected:
  AutoLogger() {
    WrapLogInit(LOG_ERROR | LOG_INFO | LOG_DETAIL, nullptr);
    platform_.system.ClearDebug();
  }
  ~AutoLogger() override { EXPECT_EQ(platform_.registry.open_keys(), 0u); }

  std::u16string ProviderKey(std::size_t index) const {
    const auto names = platform_.registry.SubKeys(kSession);
    return std::u16string(kSession) + u"\\" + names.at(index);
  }
  int LinesWith(const std::string& piece) const {
    int count = 0;
    for (const auto& line : platform_.system.DebugLines()) count += line.find(piece) != std::string::npos;
    return count;
  }

  testing::ScriptedPlatform platform_;
  testing::FaultPlan plan_;
};

/// The same with failing registry calls.
class AutoLoggerFaults : public AutoLogger {
 protected:
  testing::FaultyRegistry faulty_{&platform_.registry, &plan_};
  platform::Platform ports_ = [this] {
    platform::Platform ports = platform_.ports;
    ports.registry = &faulty_;
    return ports;
  }();
  platform::ScopedPlatform in_force_{&ports_};
};

/// Keeps the rights that were asked for.
class KeepsTheRights : public testing::FaultyRegistry {
 public:
  using FaultyRegistry::FaultyRegistry;

  std::vector<std::uint32_t> rights;

  std::uint32_t RegOpenKeyExW(platform::HKEY key, const char16_t* sub_key, std::uint32_t options, std::uint32_t access,
                              platform::HKEY* result) override {
    rights.push_back(access);
    return FaultyRegistry::RegOpenKeyExW(key, sub_key, options, access, result);
  }
  std::uint32_t RegCreateKeyExW(platform::HKEY key, const char16_t* sub_key, std::uint32_t options,
                                std::uint32_t access, platform::HKEY* result, std::uint32_t* disposition) override {
    rights.push_back(access);
    return FaultyRegistry::RegCreateKeyExW(key, sub_key, options, access, result, disposition);
  }
};

TEST_F(AutoLogger, InstallWritesTheElevenValuesOfTheSessionInOrder) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  const auto values = platform_.registry.Values(kSession);
  const std::vector<std::u16string> names = {u"Guid",           u"Start",          u"FileName",    u"BufferSize",
                                             u"MinimumBuffers", u"MaximumBuffers", u"LogFileMode", u"ClockType",
                                             u"MaxFileSize",    u"FlushTimer",     u"FileMax"};
  ASSERT_EQ(values.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(values[i].name, names[i]);
  auto& registry = platform_.registry;
  EXPECT_EQ(registry.GetText(kSession, u"Guid"), u"{4A234956-2B7D-4221-BADF-12593BD342A8}");
  EXPECT_EQ(values[0].data.size(), 2u * 39) << "the stored size includes the NUL";
  EXPECT_EQ(registry.GetDword(kSession, u"Start"), 1u);
  EXPECT_EQ(registry.GetText(kSession, u"FileName"), kFile);
  EXPECT_EQ(registry.GetDword(kSession, u"BufferSize"), 80u);
  EXPECT_EQ(registry.GetDword(kSession, u"MinimumBuffers"), 2u);
  EXPECT_EQ(registry.GetDword(kSession, u"MaximumBuffers"), 16u);
  EXPECT_EQ(registry.GetDword(kSession, u"LogFileMode"), 0x18000102u);
  EXPECT_EQ(registry.GetDword(kSession, u"ClockType"), 1u);
  EXPECT_EQ(registry.GetDword(kSession, u"MaxFileSize"), 8u);
  EXPECT_EQ(registry.GetDword(kSession, u"FlushTimer"), 1u);
  EXPECT_EQ(registry.GetDword(kSession, u"FileMax"), 22u);
}

TEST_F(AutoLogger, InstallWritesFourValuesForEachOfTheSevenProviders) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  ASSERT_EQ(platform_.registry.SubKeys(kSession).size(), 7u);
  for (const auto& name : platform_.registry.SubKeys(kSession)) {
    const std::u16string key = std::u16string(kSession) + u"\\" + name;
    const auto values = platform_.registry.Values(key);
    ASSERT_EQ(values.size(), 4u);
    EXPECT_EQ(values[0].name, u"Enabled");
    EXPECT_EQ(values[1].name, u"EnableLevel");
    EXPECT_EQ(values[2].name, u"MatchAllKeyword");
    EXPECT_EQ(values[3].name, u"MatchAnyKeyword");
    EXPECT_EQ(platform_.registry.GetDword(key, u"Enabled"), 1u);
    EXPECT_EQ(platform_.registry.GetDword(key, u"EnableLevel"), 5u);
    EXPECT_EQ(platform_.registry.GetQword(key, u"MatchAllKeyword"), 0u);
    EXPECT_EQ(platform_.registry.GetQword(key, u"MatchAnyKeyword"), ~std::uint64_t{0});
  }
}

TEST_F(AutoLogger, InstallOverAnExistingSessionRewritesItsValuesAndKeepsForeignProviders) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  platform_.registry.SetDword(kSession, u"BufferSize", 4);
  platform_.registry.MakeKey(std::u16string(kSession) + u"\\{11111111-0000-0000-0000-000000000000}");
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  EXPECT_EQ(platform_.registry.GetDword(kSession, u"BufferSize"), 80u);
  EXPECT_EQ(platform_.registry.SubKeys(kSession).size(), 8u);
}

TEST_F(AutoLogger, OnDriveDThePathBeginsWithDAndKeepsItsFolders) {
  platform_.system.system_directory = u"D:\\WINNT\\Sys";
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  std::u16string expected = kFile;
  expected[0] = u'D';
  EXPECT_EQ(platform_.registry.GetText(kSession, u"FileName"), expected);
}

TEST_F(AutoLogger, UninstallRemovesTheProvidersAndWithTheLastOneTheSession) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  platform_.system.ClearDebug();
  EXPECT_EQ(EtwAutoLoggerUninstall(), 0u);
  EXPECT_FALSE(platform_.registry.HasKey(kSession));
  EXPECT_EQ(LinesWith("Successfully deleted provider("), 7);
  EXPECT_EQ(LinesWith("still has 6 provider(s), keeping session"), 1);
  EXPECT_EQ(LinesWith("still has 1 provider(s), keeping session"), 1);
  EXPECT_EQ(LinesWith("Successfully deleted empty Session(KelvoVarnelWardlet{4A234956"), 1);
}

TEST_F(AutoLogger, UninstallOnACleanMachineSucceedsAndSaysNotFoundSevenTimes) {
  EXPECT_EQ(EtwAutoLoggerUninstall(), 0u);
  EXPECT_EQ(LinesWith("DeleteAutoLoggerProvider func Session(KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}) "
                      "not found\n"),
            7);
}

TEST_F(AutoLogger, WhatIsNotFoundIsInformationAndNoError) {
  WrapLogInit(LOG_INFO, nullptr);
  platform_.system.ClearDebug();
  EXPECT_EQ(EtwAutoLoggerUninstall(), 0u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 7u);
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.system.ClearDebug();
  EXPECT_EQ(EtwAutoLoggerUninstall(), 0u);
  EXPECT_EQ(EtwAutoLoggerUninstall(), 0u);
  EXPECT_TRUE(platform_.system.DebugLines().empty());
}

TEST_F(AutoLoggerFaults, EachFailedStepOfARegistrationIsAnErrorAndSoIsItsEnd) {
  WrapLogInit(LOG_ERROR, nullptr);
  std::vector<testing::Fault> faults = {{"RegOpenKeyExW", 1, false, 5},    // the session's key
                                        {"RegCreateKeyExW", 1, false, 5},  // the same
                                        {"RegOpenKeyExW", 2, false, 5},    // the session's for a provider
                                        {"RegCreateKeyExW", 2, false, 5}};
  for (unsigned value = 1; value <= 15; ++value) faults.push_back({"RegSetValueExW", value, false, 5});
  for (const testing::Fault& fault : faults) {
    plan_.Clear();
    platform_.system.ClearDebug();
    plan_.Fail(fault);
    EXPECT_EQ(EtwConsumerInstall(), 5u);
    EXPECT_EQ(platform_.system.DebugLines().size(), 2u) << fault.operation << " " << fault.nth;
    EXPECT_EQ(LinesWith("EtwConsumerInstall func call CreateAutoLogger"), 1) << fault.operation << " " << fault.nth;
    EXPECT_FALSE(platform_.registry.HasKey(kSession));
  }
}

TEST_F(AutoLoggerFaults, EachFailedStepOfARemovalIsAnErrorAndSoIsItsEnd) {
  WrapLogInit(LOG_ERROR, nullptr);
  const testing::Fault faults[] = {{"RegOpenKeyExW", 1, false, 5},
                                   {"RegDeleteTreeW", 1, false, 5},
                                   {"RegOpenKeyExW", 2, false, 5},  // to count
                                   {"RegQueryInfoKeyW", 1, false, 5},
                                   {"RegDeleteTreeW", 8, false, 5}};  // the empty session
  for (const testing::Fault& fault : faults) {
    plan_.Clear();
    ASSERT_EQ(EtwConsumerInstall(), 0u);
    platform_.system.ClearDebug();
    plan_.Fail(fault);
    EXPECT_EQ(EtwAutoLoggerUninstall(), 5u);
    EXPECT_EQ(platform_.system.DebugLines().size(), 2u) << fault.operation << " " << fault.nth;
    EXPECT_EQ(LinesWith("EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with "), 1)
        << fault.operation << " " << fault.nth;
  }
}

TEST_F(AutoLoggerFaults, WhatGoodCallsFoundAndRemovedIsInformationAndWhatTheyMadeADetail) {
  WrapLogInit(LOG_INFO, nullptr);
  const auto lines_of = [this](std::uint32_t (*call)()) {
    platform_.system.ClearDebug();
    EXPECT_EQ(call(), 0u);
    return platform_.system.DebugLines().size();
  };
  EXPECT_EQ(lines_of(EtwConsumerInstall), 1u) << "that the session will be created";
  EXPECT_EQ(lines_of(EtwConsumerInstall), 0u);
  EXPECT_EQ(lines_of(EtwAutoLoggerUninstall), 14u) << "seven providers, six sessions that are kept, one deleted";
  platform_.registry.MakeKey(std::u16string(kSession) + u"\\{11111111-0000-0000-0000-000000000000}");
  EXPECT_EQ(lines_of(EtwAutoLoggerUninstall), 14u) << "no provider, and a session that is kept, seven times";
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  plan_.Fail({"RegOpenKeyExW", 2, false, 2});
  EXPECT_EQ(lines_of(EtwAutoLoggerUninstall), 14u);
  EXPECT_EQ(LinesWith(") already deleted\n"), 1) << "before it was counted";
  platform_.registry.RemoveKey(kSession);
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  plan_.Fail({"RegDeleteTreeW", 8, false, 3});
  EXPECT_EQ(lines_of(EtwAutoLoggerUninstall), 14u);
  EXPECT_EQ(LinesWith(") already deleted\n"), 1) << "in place of the empty session";
}

TEST_F(AutoLogger, EachKeyIsOpenedWithTheRightsOfItsUseAndNoOthers) {
  KeepsTheRights registry(&platform_.registry, &plan_);
  platform::Platform ports = platform_.ports;
  ports.registry = &registry;
  const platform::ScopedPlatform in_force(&ports);
  constexpr std::uint32_t kRead = 0x20019;
  constexpr std::uint32_t kWrite = 0x20006;
  constexpr std::uint32_t kDelete = 0x2000E;
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  std::vector<std::uint32_t> expected = {kRead, kWrite};  // looked for, and made
  expected.insert(expected.end(), 2 * 7, kWrite);         // the session and the provider, seven times
  EXPECT_EQ(registry.rights, expected);
  registry.rights.clear();
  ASSERT_EQ(EtwAutoLoggerUninstall(), 0u);
  expected.clear();
  for (int i = 0; i < 7; ++i) expected.insert(expected.end(), {kDelete, kRead});
  EXPECT_EQ(registry.rights, expected);
}

TEST_F(AutoLogger, UninstallKeepsTheSessionForAForeignProvider) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  platform_.registry.MakeKey(std::u16string(kSession) + u"\\{11111111-0000-0000-0000-000000000000}");
  EXPECT_EQ(EtwAutoLoggerUninstall(), 0u);
  ASSERT_EQ(platform_.registry.SubKeys(kSession).size(), 1u);
}

TEST_F(AutoLogger, AMissingSessionIsAnErrorForCreationAndNoneForDeletion) {
  EXPECT_EQ(CreateAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, 5, ~0ull, kName), 2u);
  EXPECT_EQ(LinesWith("CreateAutoLoggerProvider func Failed to open session key: 0x00000002\n"), 1);
  EXPECT_EQ(DeleteAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kName), 0u);
}

TEST_F(AutoLogger, AnEmptyOrNullSessionNameStandsForTheBracedGuid) {
  ASSERT_EQ(CreateAutoLoggerSession(&GUID_WARDLET_TOOL, nullptr, kFile, 5, ~0ull, u""), 0u);
  EXPECT_TRUE(platform_.registry.HasKey(kByGuidAlone));
  EXPECT_EQ(CreateAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, 5, ~0ull, nullptr), 0u);
  EXPECT_TRUE(platform_.registry.HasKey(std::u16string(kByGuidAlone) + u"\\" + kSampleText));
  EXPECT_EQ(DeleteAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, u""), 0u);
  EXPECT_FALSE(platform_.registry.HasKey(kByGuidAlone));
}

TEST_F(AutoLogger, ASessionCreatedWithAProviderRegistersItToo) {
  ASSERT_EQ(CreateAutoLoggerSession(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kFile, 3, 1, kName), 0u);
  const std::u16string key = std::u16string(kSession) + u"\\" + kSampleText;
  EXPECT_EQ(platform_.registry.GetDword(key, u"EnableLevel"), 3u);
  EXPECT_EQ(platform_.registry.GetQword(key, u"MatchAnyKeyword"), ~std::uint64_t{0}) << "whatever was asked for";
}

TEST_F(AutoLogger, CreationSaysWhatItFoundAndMade) {
  ASSERT_EQ(CreateAutoLoggerSession(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kFile, 5, ~0ull, kName), 0u);
  EXPECT_EQ(
      LinesWith("CreateAutoLoggerSession func RegOpenKeyExW (SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\"
                "KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}) Session not found, will create: "
                "KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}\n"),
      1);
  EXPECT_EQ(LinesWith("CreateAutoLoggerSession func Successfully created AutoLogger session: KelvoVarnelWardlet{"), 1);
  EXPECT_EQ(LinesWith("CreateAutoLoggerProvider func Successfully created AutoLogger provider: {D8909C24-"), 1);
}

TEST_F(AutoLoggerFaults, NullArgumentsAreRefusedBeforeAnyRegistryCall) {
  const GUID* const sample = &g_ProviderSampleGUID;
  EXPECT_EQ(CreateAutoLoggerSession(nullptr, nullptr, kFile, 5, 0, kName), 87u);
  EXPECT_EQ(CreateAutoLoggerSession(&GUID_WARDLET_TOOL, nullptr, nullptr, 5, 0, kName), 87u);
  EXPECT_EQ(CreateAutoLoggerProvider(nullptr, sample, 5, 0, kName), 87u);
  EXPECT_EQ(CreateAutoLoggerProvider(&GUID_WARDLET_TOOL, nullptr, 5, 0, kName), 87u);
  EXPECT_EQ(DeleteAutoLoggerProvider(nullptr, sample, kName), 87u);
  EXPECT_EQ(DeleteAutoLoggerProvider(&GUID_WARDLET_TOOL, nullptr, kName), 87u);
  EXPECT_TRUE(plan_.Calls().empty());
}

TEST_F(AutoLoggerFaults, AFailedCheckOfTheSessionEndsBeforeTheProvider) {
  plan_.Fail("RegOpenKeyExW", 5);
  EXPECT_EQ(CreateAutoLoggerSession(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kFile, 5, 0, kName), 5u);
  EXPECT_EQ(LinesWith("CreateAutoLoggerSession func Failed to check session: 0x00000005\n"), 1);
  EXPECT_EQ(plan_.CountOf("RegCreateKeyExW"), 0u);
}

TEST_F(AutoLoggerFaults, APathThatIsNotFoundReadsAsAMissingSession) {
  plan_.Fail("RegOpenKeyExW", 3);
  EXPECT_EQ(CreateAutoLoggerSession(&GUID_WARDLET_TOOL, nullptr, kFile, 5, 0, kName), 0u);
  EXPECT_TRUE(platform_.registry.HasKey(kSession));
}

TEST_F(AutoLoggerFaults, AFailedCreationOfTheSessionKeyIsReturned) {
  plan_.Fail("RegCreateKeyExW", 1450);
  EXPECT_EQ(CreateAutoLoggerSession(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kFile, 5, 0, kName), 1450u);
  EXPECT_EQ(LinesWith("CreateAutoLoggerSession func Failed to create session key: 0x000005AA\n"), 1);
}

TEST_F(AutoLoggerFaults, EachFailingSessionValueIsNamedStopsTheRestAndIsRolledBack) {
  const std::vector<std::string> names = {"Guid",           "Start",          "FileName",    "BufferSize",
                                          "MinimumBuffers", "MaximumBuffers", "LogFileMode", "ClockType",
                                          "MaxFileSize",    "FlushTimer",     "FileMax"};
  for (unsigned i = 0; i < names.size(); ++i) {
    plan_.Clear();
    platform_.system.ClearDebug();
    plan_.Fail({"RegSetValueExW", i + 1, false, 5});
    EXPECT_EQ(EtwConsumerInstall(), 5u);
    EXPECT_EQ(plan_.CountOf("RegSetValueExW"), i + 1) << "nothing is written behind the failure";
    EXPECT_EQ(LinesWith("CreateAutoLoggerSession func Failed to set "
                        "Session(KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}) " +
                        names[i] + ": 0x00000005\n"),
              1)
        << names[i];
    EXPECT_EQ(LinesWith("EtwConsumerInstall func call CreateAutoLoggerSession(KelvoVarnelWardlet{"), 1);
    EXPECT_FALSE(platform_.registry.HasKey(kSession)) << "the rollback takes the half-written session away";
    EXPECT_EQ(LinesWith(") not found in Session("), 1) << "at its first removal";
  }
}

TEST_F(AutoLoggerFaults, EachFailingProviderValueIsNamedWithItsProvider) {
  const std::vector<std::string> names = {"Enabled", "EnableLevel", "MatchAllKeyword", "MatchAnyKeyword"};
  platform_.registry.MakeKey(kSession);
  for (unsigned i = 0; i < names.size(); ++i) {
    plan_.Clear();
    plan_.Fail({"RegSetValueExW", i + 1, false, 8});
    EXPECT_EQ(CreateAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, 5, 0, kName), 8u);
    EXPECT_EQ(
        LinesWith("CreateAutoLoggerProvider func Failed to set Provider({D8909C24-5BE9-4502-98CA-AB7BDC24899D}) " +
                  names[i] + ": 0x00000008\n"),
        1);
    EXPECT_EQ(platform_.registry.open_keys(), 0u);
  }
}

TEST_F(AutoLoggerFaults, AFailedSubKeyIsNamedWithItsProvider) {
  platform_.registry.MakeKey(kSession);
  plan_.Fail("RegCreateKeyExW", 5);
  EXPECT_EQ(CreateAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, 5, 0, kName), 5u);
  EXPECT_EQ(LinesWith("CreateAutoLoggerProvider func Failed to create "
                      "provider({D8909C24-5BE9-4502-98CA-AB7BDC24899D}) subkey: 0x00000005\n"),
            1);
}

TEST_F(AutoLoggerFaults, InstallStopsAtTheFirstFailingProviderNamesItAndRollsBack) {
  const std::vector<std::string> names = {
      "g_ProviderSampleGUID",  "GUID_SOURCE_USB_REDIRECT_TOOL", "GUID_DESTINATION_USB_REDIRECT_TOOL",
      "GUID_VIRTUAL_HID_TOOL", "GUID_KVIRTUAL_AUDIO_TOOL",      "GUID_KELVO_GAMEPAD_TOOL",
      "GUID_KELVO_IDD_TOOL"};
  for (unsigned i = 0; i < names.size(); ++i) {
    plan_.Clear();
    platform_.system.ClearDebug();
    plan_.Fail({"RegCreateKeyExW", i + 2, false, 5});  // the first one makes the session's key
    EXPECT_EQ(EtwConsumerInstall(), 5u);
    EXPECT_EQ(LinesWith("EtwConsumerInstall func call CreateAutoLoggerProvider with " + names[i] + " failed(0x5)"), 1);
    EXPECT_EQ(LinesWith("EtwConsumerInstall func call CreateAutoLoggerProvider with "), 1);
    EXPECT_FALSE(platform_.registry.HasKey(kSession));
  }
}

TEST_F(AutoLoggerFaults, UninstallGoesOnAfterAFailureAndReturnsTheLastOne) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  plan_.Clear();
  plan_.Fail({"RegDeleteTreeW", 2, false, 5});
  plan_.Fail({"RegDeleteTreeW", 4, false, 32});
  EXPECT_EQ(EtwAutoLoggerUninstall(), 32u);
  EXPECT_EQ(LinesWith("EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with GUID_SOURCE_USB_REDIRECT_TOOL "
                      "failed(0x5)"),
            1);
  EXPECT_EQ(LinesWith("EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with GUID_VIRTUAL_HID_TOOL "
                      "failed(0x20)"),
            1);
  EXPECT_EQ(LinesWith("DeleteAutoLoggerProvider func Failed to delete "
                      "provider({4A234950-2B7D-4221-BADF-12593BD342A8}): 0x00000005\n"),
            1);
  EXPECT_EQ(platform_.registry.SubKeys(kSession).size(), 2u);
}

TEST_F(AutoLoggerFaults, DeletionReturnsWhatKeepsItFromOpeningTheSession) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  plan_.Clear();
  plan_.Fail("RegOpenKeyExW", 5);
  EXPECT_EQ(DeleteAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kName), 5u);
  EXPECT_EQ(LinesWith("DeleteAutoLoggerProvider func Failed to open session key: 0x00000005\n"), 1);
}

TEST_F(AutoLoggerFaults, DeletionTellsASessionThatVanishedBeforeItWasCounted) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  plan_.Clear();
  plan_.Fail({"RegOpenKeyExW", 2, false, 2});
  EXPECT_EQ(DeleteAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kName), 0u);
  EXPECT_EQ(LinesWith("DeleteAutoLoggerProvider func Session(KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}) "
                      "already deleted\n"),
            1);
}

TEST_F(AutoLoggerFaults, DeletionReturnsAFailedSecondOpen) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  plan_.Clear();
  plan_.Fail({"RegOpenKeyExW", 2, false, 5});
  EXPECT_EQ(DeleteAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kName), 5u);
  EXPECT_EQ(LinesWith("DeleteAutoLoggerProvider func Failed to reopen session key for enumeration: 0x00000005\n"), 1);
}

TEST_F(AutoLoggerFaults, DeletionReturnsAFailedCountOfTheProviders) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  plan_.Clear();
  plan_.Fail("RegQueryInfoKeyW", 6);
  EXPECT_EQ(DeleteAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kName), 6u);
  EXPECT_EQ(LinesWith("DeleteAutoLoggerProvider func Failed to query session key info: 0x00000006\n"), 1);
}

TEST_F(AutoLoggerFaults, DeletionOfTheEmptySessionMayFailOrFindItGone) {
  ASSERT_EQ(CreateAutoLoggerSession(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kFile, 5, 0, kName), 0u);
  plan_.Clear();
  plan_.Fail({"RegDeleteTreeW", 2, false, 5});
  EXPECT_EQ(DeleteAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kName), 5u);
  EXPECT_EQ(LinesWith("DeleteAutoLoggerProvider func Failed to delete empty Session(KelvoVarnelWardlet{"), 1);
  plan_.Clear();
  plan_.Fail({"RegDeleteTreeW", 2, false, 3});
  EXPECT_EQ(DeleteAutoLoggerProvider(&GUID_WARDLET_TOOL, &g_ProviderSampleGUID, kName), 0u);
  EXPECT_EQ(LinesWith(") already deleted\n"), 1);
}

TEST_F(AutoLogger, WithoutASystemFolderInstallGivesTheGeneralFailureAndStillRollsBack) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  platform_.system.system_directory.clear();
  EXPECT_EQ(EtwConsumerInstall(), 0x90000000u);
  EXPECT_EQ(LinesWith("EtwConsumerInstall func call GetSystemDirectoryW failed(0x"), 1);
  EXPECT_FALSE(platform_.registry.HasKey(kSession));
}

}  // namespace
}  // namespace varnel

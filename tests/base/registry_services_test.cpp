#include "base/registry_services.h"

#include <gtest/gtest.h>

#include <string>

#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::FaultPlan;
using testing::FaultyPlatform;
using testing::ScriptedPlatform;

constexpr GUID kTool = {0x4A234956, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
constexpr char16_t kKey[] = u"SOFTWARE\\KelvoCLSID\\{4A234956-2B7D-4221-BADF-12593BD342A8}\\InprocServer32";
constexpr auto kUnsuccessful = static_cast<std::int32_t>(kStatusUnsuccessful);

class RegistryServices : public ::testing::Test {
 protected:
  RegistryServices() { WrapLogInit(~0u, nullptr); }
  ~RegistryServices() override { WrapLogClose(); }

  ScriptedPlatform machine;
  char16_t path[kMaxPath] = u"kept";
};

TEST_F(RegistryServices, AToolsFileIsTheDefaultValueUnderItsGuid) {
  machine.registry.SetText(kKey, u"", u"C:\\Tools\\tool.dll");
  EXPECT_EQ(GetVarnelFullPathByGuid(&kTool, path, kMaxPath), 0);
  EXPECT_EQ(std::u16string(path), u"C:\\Tools\\tool.dll");
}

TEST_F(RegistryServices, AToolsFileIsCutToTheCallersRoom) {
  machine.registry.SetText(kKey, u"", u"C:\\Tools\\tool.dll");
  EXPECT_EQ(GetVarnelFullPathByGuid(&kTool, path, 4), 0);
  EXPECT_EQ(std::u16string(path), u"C:\\");
}

TEST_F(RegistryServices, TheTypeOfTheValueIsNotChecked) {
  const char16_t text[] = u"D:\\a.dll";
  machine.registry.Set(kKey, u"", platform::kRegBinary, text, sizeof text);
  EXPECT_EQ(GetVarnelFullPathByGuid(&kTool, path, kMaxPath), 0);
  EXPECT_EQ(std::u16string(path), text);
}

TEST_F(RegistryServices, AValueOf260CharactersWithoutItsNulIsTakenWhole) {
  const std::u16string text(260, u'p');
  machine.registry.Set(kKey, u"", platform::kRegSz, text.data(), 520);
  char16_t room[300];
  EXPECT_EQ(GetVarnelFullPathByGuid(&kTool, room, 300), 0);
  EXPECT_EQ(std::u16string(room), text);
}

TEST_F(RegistryServices, AnUnregisteredToolIsLogged) {
  EXPECT_EQ(GetVarnelFullPathByGuid(&kTool, path, kMaxPath), kUnsuccessful);
  EXPECT_EQ(std::u16string(path), u"kept");
  EXPECT_TRUE(
      machine.system.Logged("GetVarnelFullPathByGuid func RegOpenKeyExW wcsSubKeyPath(SOFTWARE\\KelvoCLSID\\"
                            "{4A234956-2B7D-4221-BADF-12593BD342A8}\\InprocServer32) failed.\r\n"));
}

TEST_F(RegistryServices, AMissingValueLogsNothing) {
  machine.registry.MakeKey(kKey);
  EXPECT_EQ(GetVarnelFullPathByGuid(&kTool, path, kMaxPath), kUnsuccessful);
  EXPECT_EQ(machine.system.DebugText(), "");
}

TEST_F(RegistryServices, AValueThatIsTooLongIsAFailedQuery) {
  machine.registry.SetText(kKey, u"", std::u16string(260, u'p'));
  EXPECT_EQ(GetVarnelFullPathByGuid(&kTool, path, kMaxPath), kUnsuccessful);
}

TEST_F(RegistryServices, TheToolsKeyIsClosedAsAHandleWhichLeavesItOpenHere) {
  machine.registry.SetText(kKey, u"", u"C:\\a.dll");
  FaultPlan plan;
  const FaultyPlatform watched(machine.ports, &plan);
  GetVarnelFullPathByGuid(&kTool, path, kMaxPath);
  EXPECT_EQ(plan.CountOf("CloseHandle"), 1u);
  EXPECT_EQ(plan.CountOf("RegCloseKey"), 0u);
  EXPECT_EQ(machine.registry.open_keys(), 1u);
}

TEST_F(RegistryServices, FlushesSoftwareAndSystem) {
  FlushMachineHives();
  EXPECT_EQ(machine.registry.flush_count(), 2u);
  EXPECT_EQ(machine.registry.open_keys(), 0u);
  EXPECT_EQ(machine.system.DebugText(), "");
}

TEST_F(RegistryServices, AFailedFlushOfSoftwareIsADetailAndSystemFollows) {
  FaultPlan plan;
  plan.Fail("RegFlushKey", 1016);
  const FaultyPlatform faulty(machine.ports, &plan);
  FlushMachineHives();
  EXPECT_TRUE(
      machine.system.Logged("InstallVarnel func RegFlushKey for HKEY_LOCAL_MACHINE\\SOFTWARE failed(0x3f8).\r\n"));
  EXPECT_EQ(machine.registry.flush_count(), 1u);
  EXPECT_EQ(machine.registry.open_keys(), 0u);
}

TEST_F(RegistryServices, AFailedFlushOfSystemIsADetail) {
  FaultPlan plan;
  plan.Fail({"RegFlushKey", 2, false, 1016});
  const FaultyPlatform faulty(machine.ports, &plan);
  FlushMachineHives();
  EXPECT_TRUE(
      machine.system.Logged("InstallVarnel func RegFlushKey for HKEY_LOCAL_MACHINE\\SYSTEM failed(0x3f8).\r\n"));
}

TEST_F(RegistryServices, AFailedFlushIsNotWrittenWithTheModulesMask) {
  WrapLogInit(3, nullptr);
  FaultPlan plan;
  plan.FailForEver("RegFlushKey", 1016);
  const FaultyPlatform faulty(machine.ports, &plan);
  FlushMachineHives();
  EXPECT_EQ(machine.system.DebugText(), "");
}

TEST_F(RegistryServices, AHiveThatCannotBeOpenedIsPassedOverInSilence) {
  FaultPlan plan;
  plan.Fail("RegOpenKeyExW", 5);
  const FaultyPlatform faulty(machine.ports, &plan);
  FlushMachineHives();
  EXPECT_EQ(machine.registry.flush_count(), 1u);
  EXPECT_EQ(machine.system.DebugText(), "");
}

}  // namespace
}  // namespace varnel

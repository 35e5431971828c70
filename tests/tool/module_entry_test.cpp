#include "tool/module_entry.h"

#include <gtest/gtest.h>

#include "base/log.h"
#include "tests/tool/tool_fixture.h"
#include "tool/module_counters.h"

namespace varnel {
namespace {

constexpr char16_t kLogFile[] = u"C:\\ProgramData\\KelvoVarnels\\Log\\{4A234956-2B7D-4221-BADF-12593BD342A8}.txt";

class ModuleEntryTest : public testing::ToolTest {
 protected:
  ModuleEntryTest() { g_dwServerLocks = g_dwObjectCount = 0; }
  ~ModuleEntryTest() override { EXPECT_EQ(platform_.system.heap_blocks(), 0); }

  VarnelClassFactory* Factory() {
    VarnelClassFactory* factory = nullptr;
    EXPECT_EQ(GetClassObject(&GUID_WARDLET_TOOL, &IID_VarnelClassFactory, reinterpret_cast<void**>(&factory)), 0u);
    return factory;
  }
};

TEST_F(ModuleEntryTest, AttachStartsTheLogAndZeroesTheCounters) {
  g_dwServerLocks = 3;
  g_dwObjectCount = 4;
  EXPECT_EQ(DllMain(nullptr, kProcessAttach, nullptr), 1);
  EXPECT_EQ(g_dwServerLocks, 0u);
  EXPECT_EQ(g_dwObjectCount, 0u);
  EXPECT_TRUE(platform_.files.Exists(kLogFile));
  EXPECT_EQ(faults_.CountOf("DisableThreadLibraryCalls"), 1u);
  WrapLogPrint(LOG_DETAIL, u"detail\n");
  WrapLogPrint(LOG_INFO, u"info\n");
  WrapLogPrint(LOG_ERROR, u"error\n");
  EXPECT_FALSE(Logged("detail"));
  EXPECT_TRUE(Logged("info\n"));
  EXPECT_TRUE(Logged("error\n"));
  DllMain(nullptr, kProcessDetach, nullptr);
}

TEST_F(ModuleEntryTest, DetachClosesTheLog) {
  DllMain(nullptr, kProcessAttach, nullptr);
  EXPECT_EQ(platform_.files.open_files(), 1u);
  EXPECT_EQ(DllMain(nullptr, kProcessDetach, nullptr), 1);
  EXPECT_EQ(platform_.files.open_files(), 0u);
}

TEST_F(ModuleEntryTest, OtherReasonsDoNothing) {
  faults_.Clear();
  g_dwObjectCount = 4;
  EXPECT_EQ(DllMain(nullptr, 2, nullptr), 1);
  EXPECT_EQ(DllMain(nullptr, 3, nullptr), 1);
  EXPECT_EQ(g_dwObjectCount, 4u);
  EXPECT_TRUE(faults_.Calls().empty());
  g_dwObjectCount = 0;
}

TEST_F(ModuleEntryTest, AForeignClassIsNotAvailableAndTheCountersStayAt0) {
  void* out = this;
  EXPECT_EQ(GetClassObject(&IID_WardletToolInterface, &IID_VarnelClassFactory, &out), 0x80040111u);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(g_dwObjectCount, 0u);
}

TEST_F(ModuleEntryTest, TheFactoryOffersOnlyItsTwoInterfaces) {
  void* out = this;
  EXPECT_EQ(GetClassObject(&GUID_WARDLET_TOOL, &IID_WardletToolInterface, &out), 0x80000004u);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(g_dwObjectCount, 0u) << "the factory that nobody took is gone";
  for (const GUID* iid : {&IID_VarnelUnknow, &IID_VarnelClassFactory}) {
    ASSERT_EQ(GetClassObject(&GUID_WARDLET_TOOL, iid, &out), 0u);
    EXPECT_EQ(g_dwObjectCount, 1u);
    EXPECT_EQ(static_cast<VarnelUnknown*>(out)->Release(), 0u);
  }
}

TEST_F(ModuleEntryTest, WithoutMemoryThereIsNoFactoryAndOutIsNotTouched) {
  faults_.Fail("HeapAlloc", 8);
  void* out = this;
  EXPECT_EQ(GetClassObject(&GUID_WARDLET_TOOL, &IID_VarnelClassFactory, &out), 0x80000002u);
  EXPECT_EQ(out, this);
}

TEST_F(ModuleEntryTest, LiveObjectsKeepTheModuleLoaded) {
  EXPECT_EQ(CanUnloadNow(), 0u);
  VarnelClassFactory* factory = Factory();
  WardletToolInterface* tool = nullptr;
  ASSERT_EQ(factory->CreateInstance(nullptr, &IID_WardletToolInterface, reinterpret_cast<void**>(&tool)), 0u);
  EXPECT_EQ(g_dwObjectCount, 2u);
  EXPECT_EQ(CanUnloadNow(), 1u);
  factory->Release();
  EXPECT_EQ(CanUnloadNow(), 1u);
  tool->Release();
  EXPECT_EQ(CanUnloadNow(), 0u);
}

TEST_F(ModuleEntryTest, AServerLockKeepsTheModuleLoadedWithoutALiveObject) {
  VarnelClassFactory* factory = Factory();
  EXPECT_EQ(factory->LockServer(1), 0u);
  factory->Release();
  EXPECT_EQ(CanUnloadNow(), 1u);
  factory = Factory();
  EXPECT_EQ(factory->LockServer(0), 0u);
  factory->Release();
  EXPECT_EQ(CanUnloadNow(), 0u);
}

TEST_F(ModuleEntryTest, AStartedModuleWithoutALiveObjectMayBeUnloaded) {
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(CanUnloadNow(), 0u);
  EXPECT_EQ(Stop(), 0u);
}

}  // namespace
}  // namespace varnel

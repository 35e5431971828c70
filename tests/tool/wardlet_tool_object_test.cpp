#include "tool/wardlet_tool_object.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/tool/tool_fixture.h"
#include "tool/module_counters.h"

namespace varnel {
namespace {

class WardletToolObjectTest : public testing::ToolTest {
 protected:
  WardletToolObjectTest() {
    g_dwObjectCount = 0;
    tool_ = WardletToolInterfacePri::Create();
  }
  ~WardletToolObjectTest() override {
    EXPECT_EQ(tool_->Release(), 0u);
    EXPECT_EQ(g_dwObjectCount, 0u);
  }

  WardletToolInterfacePri* tool_;
};

TEST_F(WardletToolObjectTest, TheRootAndTheDefaultInterfaceAreOnePointerAndTheToolInterfaceAnother) {
  void* root = nullptr;
  void* plain = nullptr;
  void* tool = nullptr;
  EXPECT_EQ(tool_->QueryInterface(&IID_VarnelUnknow, &root), 0u);
  EXPECT_EQ(tool_->QueryInterface(&IID_VarnelDefaultInterface, &plain), 0u);
  EXPECT_EQ(tool_->QueryInterface(&IID_WardletToolInterface, &tool), 0u);
  EXPECT_EQ(root, static_cast<VarnelDefaultInterface*>(tool_));
  EXPECT_EQ(plain, root);
  EXPECT_EQ(tool, static_cast<WardletToolInterface*>(tool_));
  EXPECT_NE(tool, root);
  EXPECT_EQ(g_dwObjectCount, 4u);
  for (int i = 0; i < 3; ++i) tool_->Release();
}

TEST_F(WardletToolObjectTest, TheSecondInterfacesRootOperationsActOnTheSameObject) {
  WardletToolInterface* second = tool_;
  EXPECT_EQ(second->AddRef(), 2u);
  EXPECT_EQ(tool_->AddRef(), 3u);
  EXPECT_EQ(second->Release(), 2u);
  void* plain = nullptr;
  EXPECT_EQ(second->QueryInterface(&IID_VarnelDefaultInterface, &plain), 0u);
  EXPECT_EQ(plain, static_cast<VarnelDefaultInterface*>(tool_));
  EXPECT_EQ(tool_->Release(), 2u);
  EXPECT_EQ(second->Release(), 1u);
}

TEST_F(WardletToolObjectTest, AnInterfaceThatTheToolLacksIsNotGiven) {
  void* out = this;
  EXPECT_EQ(tool_->QueryInterface(&IID_VarnelClassFactory, &out), 0x80000004u);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(g_dwObjectCount, 1u);
}

TEST_F(WardletToolObjectTest, TheVersionIs1_0_2_28) {
  VarnelVersionInfo info{12, 0, 0, 0, 0};
  EXPECT_EQ(tool_->GetVarnelVersion(&info), 0u);
  EXPECT_EQ(info.dwSize, 12u);
  EXPECT_EQ(info.wMajor, 1u);
  EXPECT_EQ(info.wMinor, 0u);
  EXPECT_EQ(info.wBuild, 2u);
  EXPECT_EQ(info.wRevision, 28u);
}

TEST_F(WardletToolObjectTest, AVersionRecordOfAnotherSizeIsRefusedEvenWhenItIsLargeEnough) {
  VarnelVersionInfo info{16, 9, 9, 9, 9};
  const VarnelVersionInfo before = info;
  EXPECT_EQ(tool_->GetVarnelVersion(&info), 0x90000013u);
  EXPECT_EQ(std::memcmp(&info, &before, sizeof(info)), 0);
  EXPECT_EQ(tool_->GetVarnelVersion(nullptr), 0x90000000u);
}

TEST_F(WardletToolObjectTest, StartAndStopLeadToTheModulesState) {
  WardletToolInterface* tool = tool_;
  EXPECT_EQ(tool->Stop(), 31u);
  EXPECT_EQ(tool->Start(5, testing::HostRecord::OnText, &host_), 0u);
  EXPECT_TRUE(Logged("EtwConsumerStart func In Flags(0x5).\r\n"));
  EXPECT_EQ(tool->Stop(), 0u);
}

TEST_F(WardletToolObjectTest, InstallAndUninstallLeadToTheModulesOwn) {
  VarnelDefaultInterface* plain = tool_;
  const VarnelWideChar nowhere[] = {'C', ':', '\\', 'n', 'o', 'n', 'e', 0};
  EXPECT_EQ(plain->InstallVarnel(nowhere), 0x80004005u);
  EXPECT_TRUE(Logged("InstallVarnel func return(0x80004005).\r\n"));
  EXPECT_EQ(plain->UninstallVarnel(), 0u);
}

TEST_F(WardletToolObjectTest, DestroyingTheToolStopsNothing) {
  WardletToolInterfacePri* other = WardletToolInterfacePri::Create();
  ASSERT_EQ(other->Start(0, testing::HostRecord::OnText, &host_), 0u);
  EXPECT_EQ(other->Release(), 0u);
  Settle();
  EXPECT_TRUE(WaitForThreads(1)) << "the live collector";
  EXPECT_EQ(tool_->Stop(), 0u);
}

// The layout that hosts compiled elsewhere rely on: the first word of an interface is its table, with the operations in
// their order.
TEST_F(WardletToolObjectTest, AnInterfacesTableHoldsItsOperationsInSlotOrder) {
  using Count = std::uint32_t (*)(void*);
  using GetVersion = std::uint32_t (*)(void*, VarnelVersionInfo*);
  void* plain = static_cast<VarnelDefaultInterface*>(tool_);
  void* tool = static_cast<WardletToolInterface*>(tool_);
  void** plain_table = *static_cast<void***>(plain);
  void** tool_table = *static_cast<void***>(tool);
  VarnelVersionInfo info{12, 0, 0, 0, 0};
  EXPECT_EQ(reinterpret_cast<GetVersion>(plain_table[5])(plain, &info), 0u);
  EXPECT_EQ(info.wRevision, 28u);
  EXPECT_EQ(reinterpret_cast<Count>(tool_table[4])(tool), 31u) << "a stop of a module that does not run";
  EXPECT_EQ(reinterpret_cast<Count>(tool_table[1])(tool), 2u);
  EXPECT_EQ(reinterpret_cast<Count>(tool_table[2])(tool), 1u);
}

}  // namespace
}  // namespace varnel

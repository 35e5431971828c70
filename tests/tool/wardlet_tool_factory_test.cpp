#include "tool/wardlet_tool_factory.h"

#include <gtest/gtest.h>

#include "tests/tool/tool_fixture.h"
#include "tool/module_counters.h"

namespace varnel {
namespace {

class WardletToolFactoryTest : public testing::ToolTest {
 protected:
  WardletToolFactoryTest() {
    g_dwServerLocks = g_dwObjectCount = 0;
    factory_ = WardletToolFactory::Create();
  }
  ~WardletToolFactoryTest() override {
    EXPECT_EQ(factory_->Release(), 0u);
    EXPECT_EQ(g_dwObjectCount, 0u);
    EXPECT_EQ(platform_.system.heap_blocks(), 0);
  }

  VarnelStatus Make(const GUID& iid) { return factory_->CreateInstance(nullptr, &iid, &out_); }

  WardletToolFactory* factory_;
  void* out_ = this;
};

TEST_F(WardletToolFactoryTest, StartsWithOneReference) {
  EXPECT_EQ(g_dwObjectCount, 1u);
  EXPECT_EQ(factory_->AddRef(), 2u);
  EXPECT_EQ(g_dwObjectCount, 2u);
  EXPECT_EQ(factory_->Release(), 1u);
  EXPECT_EQ(g_dwObjectCount, 1u);
}

TEST_F(WardletToolFactoryTest, EachInterfaceOfTheToolCanBeAskedFor) {
  for (const GUID& iid : {IID_WardletToolInterface, IID_VarnelDefaultInterface, IID_VarnelUnknow}) {
    ASSERT_EQ(Make(iid), 0u);
    EXPECT_EQ(g_dwObjectCount, 2u);
    EXPECT_EQ(static_cast<VarnelUnknown*>(out_)->Release(), 0u);
  }
}

TEST_F(WardletToolFactoryTest, AnUnknownIidIsUnexpectedAndNotAMissingInterface) {
  EXPECT_EQ(Make(IID_VarnelClassFactory), 0x8000FFFFu);
  EXPECT_EQ(out_, nullptr);
  EXPECT_EQ(g_dwObjectCount, 1u);
}

TEST_F(WardletToolFactoryTest, AnOuterObjectIsRefused) {
  EXPECT_EQ(factory_->CreateInstance(factory_, &IID_VarnelUnknow, &out_), 0x80040110u);
  EXPECT_EQ(out_, nullptr);
}

TEST_F(WardletToolFactoryTest, ANullResultPointerIsTestedBeforeTheOuterObject) {
  EXPECT_EQ(factory_->CreateInstance(factory_, &IID_VarnelUnknow, nullptr), 0x8000FFFFu);
}

TEST_F(WardletToolFactoryTest, TheOuterObjectIsTestedBeforeTheIid) {
  EXPECT_EQ(factory_->CreateInstance(factory_, &IID_VarnelClassFactory, &out_), 0x80040110u);
}

TEST_F(WardletToolFactoryTest, WithoutMemoryThereIsNoTool) {
  faults_.Fail("HeapAlloc", 8);
  EXPECT_EQ(Make(IID_WardletToolInterface), 0x80000002u);
  EXPECT_EQ(out_, nullptr);
  EXPECT_EQ(g_dwObjectCount, 1u);
}

TEST_F(WardletToolFactoryTest, AnUnmatchedUnlockWrapsTheCount) {
  EXPECT_EQ(factory_->LockServer(0), 0u);
  EXPECT_EQ(g_dwServerLocks, 0xFFFFFFFFu);
  EXPECT_EQ(factory_->LockServer(-5), 0u);
  EXPECT_EQ(g_dwServerLocks, 0u);
}

}  // namespace
}  // namespace varnel

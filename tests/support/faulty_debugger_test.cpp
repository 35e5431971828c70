#include "tests/support/faulty_debugger.h"

#include <gtest/gtest.h>

#include "tests/support/scripted_debugger.h"
#include "tests/support/scripted_platform.h"

namespace varnel::testing {
namespace {

class Decorated : public ::testing::Test {
 protected:
  platform::IDebugControl* MakeControl() {
    void* object = nullptr;
    EXPECT_EQ(faulty.function()(platform::kIidDebugControl, &object), 0);
    return static_cast<platform::IDebugControl*>(object);
  }
  platform::DebugCreateFunction Below() {
    return reinterpret_cast<platform::DebugCreateFunction>(machine.system.procedures.at("DebugCreate"));
  }

  ScriptedPlatform machine;
  ScriptedDebugger debugger{&machine.system};
  FaultPlan plan;
  FaultyDebugger faulty{Below(), &plan};
};

TEST_F(Decorated, RecordsAndForwardsWhatIsNotToFail) {
  platform::IDebugControl* const control = MakeControl();
  std::uint32_t type = 0;
  EXPECT_EQ(control->GetActualProcessorType(&type), 0);
  EXPECT_EQ(type, platform::kMachineX64);
  EXPECT_EQ(plan.CountOf("GetActualProcessorType"), 1u);
  EXPECT_EQ(debugger.calls.CountOf("GetActualProcessorType"), 1u);
  EXPECT_EQ(control->Release(), 0u);
  EXPECT_EQ(debugger.live_engines(), 0);
}

TEST_F(Decorated, FailsTheNthCallWithoutReachingTheEngine) {
  platform::IDebugControl* const control = MakeControl();
  plan.Fail({"GetActualProcessorType", 2, false, 0x8000FFFF});
  std::uint32_t type = 0;
  EXPECT_EQ(control->GetActualProcessorType(&type), 0);
  EXPECT_EQ(control->GetActualProcessorType(&type), static_cast<platform::HRESULT>(0x8000FFFF));
  EXPECT_EQ(control->GetActualProcessorType(&type), 0);
  EXPECT_EQ(debugger.calls.CountOf("GetActualProcessorType"), 2u);
  control->Release();
}

TEST_F(Decorated, FailsTheMakingAndTheInterfaces) {
  plan.Fail("DebugCreate", 0x80004005);
  void* object = nullptr;
  EXPECT_EQ(faulty.function()(platform::kIidDebugClient, &object), static_cast<platform::HRESULT>(0x80004005));
  platform::IDebugControl* const control = MakeControl();
  plan.Fail("QueryInterface(IDebugSymbols3)", 0x80004002);
  EXPECT_EQ(control->QueryInterface(platform::kIidDebugSymbols3, &object), platform::kNoInterface);
  EXPECT_EQ(control->QueryInterface(platform::kIidDebugSymbols3, &object), 0);
  static_cast<platform::IUnknown*>(object)->Release();
  control->Release();
  EXPECT_EQ(debugger.live_engines(), 0);
}

TEST_F(Decorated, HasNoInterfaceThatTheEngineLacks) {
  debugger.has_client4 = false;
  platform::IDebugControl* const control = MakeControl();
  void* object = nullptr;
  EXPECT_EQ(control->QueryInterface(platform::kIidDebugClient4, &object), platform::kNoInterface);
  control->Release();
}

}  // namespace
}  // namespace varnel::testing

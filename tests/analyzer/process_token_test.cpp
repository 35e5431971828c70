#include "analyzer/process_token.h"

#include <gtest/gtest.h>

#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::FaultPlan;
using testing::FaultyPlatform;
using testing::ScriptedPlatform;

TEST(ProcessToken, TellsWhetherTheProcessIsElevatedAndKeepsNothingOpen) {
  ScriptedPlatform machine;
  EXPECT_TRUE(IsCurrentProcessElevated());
  machine.system.elevated = false;
  EXPECT_FALSE(IsCurrentProcessElevated());
  EXPECT_EQ(machine.handles.open_count(), 0u);
}

TEST(ProcessToken, ATokenThatCannotBeOpenedCountsAsNotElevated) {
  ScriptedPlatform machine;
  FaultPlan plan;
  plan.Fail("OpenProcessToken", 5);
  const FaultyPlatform faulty(machine.ports, &plan);
  EXPECT_FALSE(IsCurrentProcessElevated());
  EXPECT_EQ(plan.CountOf("CloseHandle"), 0u);
}

TEST(ProcessToken, AQueryThatFailsCountsAsNotElevatedAndClosesTheToken) {
  ScriptedPlatform machine;
  FaultPlan plan;
  plan.Fail("GetTokenInformation", 24);
  const FaultyPlatform faulty(machine.ports, &plan);
  EXPECT_FALSE(IsCurrentProcessElevated());
  EXPECT_EQ(machine.handles.open_count(), 0u);
}

}  // namespace
}  // namespace varnel

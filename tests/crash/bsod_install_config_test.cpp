#include "crash/bsod_install_config.h"

#include <gtest/gtest.h>

#include "tests/support/fault_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

TEST(SetBsodInstallConfig, Answers0AndAsksNothingOfTheMachine) {
  testing::ScriptedPlatform platform;
  platform.system.elevated = false;
  testing::FaultPlan calls;
  const testing::FaultyPlatform watched(platform.ports, &calls);
  EXPECT_EQ(SetBsodInstallConfig(u"{4A234956-2B7D-4221-BADF-12593BD342A8}"), 0);
  EXPECT_EQ(SetBsodInstallConfig(u""), 0);
  EXPECT_TRUE(calls.Calls().empty());
}

}  // namespace
}  // namespace varnel

#include "base/key_chain.h"

#include <gtest/gtest.h>

#include "tests/support/fault_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

class KeyChainTest : public ::testing::Test {
 protected:
  testing::ScriptedPlatform machine_;
  testing::FaultPlan faults_;
  testing::FaultyPlatform faulty_{machine_.ports, &faults_};
};

TEST_F(KeyChainTest, StartsAtTheMachinesHive) {
  const KeyChain chain;
  EXPECT_EQ(chain.deepest(), platform::kHkeyLocalMachine);
}

TEST_F(KeyChainTest, OpensWhatIsThereAndMakesWhatIsNot) {
  machine_.registry.MakeKey(u"SOFTWARE\\There");
  {
    KeyChain chain;
    EXPECT_EQ(chain.Descend(u"SOFTWARE\\There"), 0u);
    EXPECT_EQ(faults_.CountOf("RegCreateKeyExW"), 0u);
    EXPECT_EQ(chain.Descend(u"New"), 0u);
    EXPECT_EQ(faults_.CountOf("RegCreateKeyExW"), 1u);
    EXPECT_EQ(machine_.registry.open_keys(), 2u);
  }
  EXPECT_TRUE(machine_.registry.HasKey(u"SOFTWARE\\There\\New"));
  EXPECT_EQ(machine_.registry.open_keys(), 0u);
}

TEST_F(KeyChainTest, AKeyThatCannotBeMadeGivesItsCodeAndStaysOut) {
  machine_.registry.MakeKey(u"SOFTWARE");
  faults_.Fail("RegCreateKeyExW", 5);
  KeyChain chain;
  EXPECT_EQ(chain.Descend(u"SOFTWARE\\New"), 5u);
  EXPECT_EQ(chain.deepest(), platform::kHkeyLocalMachine);
}

}  // namespace
}  // namespace varnel

#include "tests/support/hooked_plan.h"

#include <gtest/gtest.h>

#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel::testing {
namespace {

class Hooked : public ::testing::Test {
 protected:
  ScriptedPlatform machine;
  HookedPlan plan;
  FaultyPlatform watched{machine.ports, &plan};
};

TEST_F(Hooked, ActsOnceBehindTheToldCall) {
  unsigned handles_then = 0;
  unsigned acts = 0;
  const std::size_t before = machine.handles.open_count();
  plan.After("CreateEventW", 2, [&] {
    ++acts;
    handles_then = static_cast<unsigned>(machine.handles.open_count() - before);
  });
  platform::HANDLE events[3] = {};
  for (platform::HANDLE& event : events) event = platform::ThreadsPort().CreateEventW(true, false);
  EXPECT_EQ(acts, 1u);
  EXPECT_EQ(handles_then, 2u);
  for (const platform::HANDLE event : events) platform::SystemPort().CloseHandle(event);
}

TEST_F(Hooked, ActsBehindACallThatFailsToo) {
  bool acted = false;
  plan.Fail("CreateEventW", 8);
  plan.After("CreateEventW", 1, [&] { acted = true; });
  EXPECT_EQ(platform::ThreadsPort().CreateEventW(true, false), nullptr);
  EXPECT_TRUE(acted);
}

TEST_F(Hooked, MayCallThePortsItself) {
  plan.After("Sleep", 2, [] { platform::ThreadsPort().Sleep(5); });
  platform::ThreadsPort().Sleep(1);
  EXPECT_EQ(machine.time.now_ms(), 1u);
  platform::ThreadsPort().Sleep(1);
  EXPECT_EQ(machine.time.now_ms(), 7u);
}

}  // namespace
}  // namespace varnel::testing

#include "tests/support/fake_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "tests/support/scripted_platform.h"

namespace varnel::testing {
namespace {

using platform::HANDLE;

TEST(FakeThreads, TimeJumpsToTheEarliestDeadlineWhenAllSleep) {
  ScriptedPlatform machine;
  machine.threads.Sleep(3'600'000);
  EXPECT_EQ(machine.time.now_ms(), 3'600'000u);
}

TEST(FakeThreads, AnAutoResetEventLetsOneWaitThroughForEachSignal) {
  ScriptedPlatform machine;
  const HANDLE event = machine.threads.CreateEventW(false, true);
  EXPECT_EQ(machine.threads.WaitForSingleObject(event, 0), platform::kWaitObject0);
  EXPECT_EQ(machine.threads.WaitForSingleObject(event, 50), platform::kWaitTimeout);
  EXPECT_EQ(machine.time.now_ms(), 50u);
}

TEST(FakeThreads, AManualResetEventStaysSignalledUntilItIsReset) {
  ScriptedPlatform machine;
  const HANDLE event = machine.threads.CreateEventW(true, false);
  machine.threads.SetEvent(event);
  EXPECT_EQ(machine.threads.WaitForSingleObject(event, 0), platform::kWaitObject0);
  EXPECT_EQ(machine.threads.WaitForSingleObject(event, 0), platform::kWaitObject0);
  machine.threads.ResetEvent(event);
  EXPECT_EQ(machine.threads.WaitForSingleObject(event, 0), platform::kWaitTimeout);
}

TEST(FakeThreads, AWaitOnNothingFailsAtOnce) {
  ScriptedPlatform machine;
  EXPECT_EQ(machine.threads.WaitForSingleObject(nullptr, platform::kInfinite), platform::kWaitFailed);
  EXPECT_EQ(machine.system.GetLastError(), platform::kErrorInvalidHandle);
}

struct Steps {
  ScriptedPlatform* machine;
  HANDLE event;
  std::vector<std::uint64_t> at;
};

std::uint32_t SleepTwice(void* parameter) {
  auto* const steps = static_cast<Steps*>(parameter);
  steps->machine->threads.Sleep(30);
  steps->at.push_back(steps->machine->time.now_ms());
  steps->machine->threads.Sleep(70);
  steps->at.push_back(steps->machine->time.now_ms());
  steps->machine->threads.SetEvent(steps->event);
  return 7;
}

TEST(FakeThreads, AThreadRunsInVirtualTimeAndLeavesItsExitCode) {
  ScriptedPlatform machine;
  Steps steps{&machine, machine.threads.CreateEventW(false, false), {}};
  const HANDLE thread = machine.threads.CreateThread(&SleepTwice, &steps);
  EXPECT_EQ(machine.threads.WaitForSingleObject(steps.event, platform::kInfinite), platform::kWaitObject0);
  EXPECT_EQ(steps.at, (std::vector<std::uint64_t>{30, 100}));
  EXPECT_EQ(machine.threads.WaitForSingleObject(thread, platform::kInfinite), platform::kWaitObject0);
  std::uint32_t code = 0;
  EXPECT_TRUE(machine.threads.GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 7u);
}

TEST(FakeThreads, ATestThreadCanLetTheOthersRunUntilSomethingHolds) {
  ScriptedPlatform machine;
  Steps steps{&machine, machine.threads.CreateEventW(false, false), {}};
  machine.threads.CreateThread(&SleepTwice, &steps);
  EXPECT_TRUE(machine.time.RunUntil([&] { return steps.at.size() == 1; }));
  EXPECT_EQ(machine.time.now_ms(), 30u);
  EXPECT_FALSE(machine.time.RunUntil([] { return false; })) << "all wait for ever at last";
  EXPECT_EQ(steps.at.size(), 2u);
}

std::uint32_t WaitForEver(void* parameter) {
  auto* const steps = static_cast<Steps*>(parameter);
  steps->machine->threads.WaitForSingleObject(steps->event, platform::kInfinite);
  steps->at.push_back(1);
  return 0;
}

TEST(FakeThreads, ATerminatedThreadNeverComesBackFromItsWait) {
  ScriptedPlatform machine;
  static Steps steps;
  steps = {&machine, machine.threads.CreateEventW(true, false), {}};
  const HANDLE thread = machine.threads.CreateThread(&WaitForEver, &steps);
  machine.time.Settle();
  EXPECT_TRUE(machine.threads.TerminateThread(thread, 1223));
  machine.threads.SetEvent(steps.event);
  machine.time.Settle();
  EXPECT_TRUE(steps.at.empty());
  std::uint32_t code = 0;
  machine.threads.GetExitCodeThread(thread, &code);
  EXPECT_EQ(code, 1223u);
  EXPECT_EQ(machine.threads.WaitForSingleObject(thread, 0), platform::kWaitObject0);
}

TEST(FakeThreads, ADeadlockIsTold) {
  EXPECT_EXIT(
      {
        ScriptedPlatform machine;
        machine.time.OnDeadlock([] { std::_Exit(33); });
        machine.threads.WaitForSingleObject(machine.threads.CreateEventW(false, false), platform::kInfinite);
      },
      ::testing::ExitedWithCode(33), "");
}

}  // namespace
}  // namespace varnel::testing

// Threads, events, waits and sleep, as operations and results.
#include "platform/threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "platform/platform.h"

namespace varnel::platform {
namespace {

constexpr std::uint32_t kLong = 60000;  // ends only a test that has failed

HANDLE NewEvent(bool manual_reset, bool initial_state) {
  return ThreadsPort().CreateEventW(manual_reset, initial_state);
}
HANDLE AutoEvent() {
  return NewEvent(false, false);
}
HANDLE ManualEvent() {
  return NewEvent(true, false);
}
std::uint32_t Wait(HANDLE handle, std::uint32_t timeout_ms) {
  return ThreadsPort().WaitForSingleObject(handle, timeout_ms);
}
std::uint32_t WaitAny(const std::vector<HANDLE>& handles, std::uint32_t timeout_ms) {
  return ThreadsPort().WaitForMultipleObjects(static_cast<std::uint32_t>(handles.size()), handles.data(), false,
                                              timeout_ms);
}
std::uint32_t WaitAll(const std::vector<HANDLE>& handles, std::uint32_t timeout_ms) {
  return ThreadsPort().WaitForMultipleObjects(static_cast<std::uint32_t>(handles.size()), handles.data(), true,
                                              timeout_ms);
}
void Close(HANDLE handle) {
  EXPECT_TRUE(SystemPort().CloseHandle(handle));
}
std::uint32_t LastError() {
  return SystemPort().GetLastError();
}

TEST(Events, AnAutoResetEventLetsOneWaitThroughForEachSignal) {
  const HANDLE event = AutoEvent();
  EXPECT_EQ(Wait(event, 0), kWaitTimeout);
  EXPECT_TRUE(ThreadsPort().SetEvent(event));
  EXPECT_EQ(Wait(event, 0), kWaitObject0);
  EXPECT_EQ(Wait(event, 0), kWaitTimeout);
  Close(event);
}

TEST(Events, TwoSignalsOfAnAutoResetEventWithoutAWaitBetweenFoldIntoOne) {
  const HANDLE event = AutoEvent();
  EXPECT_TRUE(ThreadsPort().SetEvent(event));
  EXPECT_TRUE(ThreadsPort().SetEvent(event));
  EXPECT_EQ(Wait(event, 0), kWaitObject0);
  EXPECT_EQ(Wait(event, 0), kWaitTimeout);
  Close(event);
}

TEST(Events, AManualResetEventStaysSignalledUntilItIsReset) {
  const HANDLE event = ManualEvent();
  EXPECT_TRUE(ThreadsPort().SetEvent(event));
  EXPECT_EQ(Wait(event, 0), kWaitObject0);
  EXPECT_EQ(Wait(event, kInfinite), kWaitObject0);
  EXPECT_TRUE(ThreadsPort().ResetEvent(event));
  EXPECT_EQ(Wait(event, 0), kWaitTimeout);
  Close(event);
}

TEST(Events, ResetTakesTheSignalOfAnAutoResetEventBack) {
  const HANDLE event = AutoEvent();
  EXPECT_TRUE(ThreadsPort().SetEvent(event));
  EXPECT_TRUE(ThreadsPort().ResetEvent(event));
  EXPECT_EQ(Wait(event, 0), kWaitTimeout);
  Close(event);
}

TEST(Events, AnEventCanBeCreatedSignalled) {
  for (const bool manual_reset : {false, true}) {
    const HANDLE event = NewEvent(manual_reset, true);
    EXPECT_EQ(Wait(event, 0), kWaitObject0);
    EXPECT_EQ(Wait(event, 0), manual_reset ? kWaitObject0 : kWaitTimeout);
    Close(event);
  }
}

TEST(Events, WhatIsNoEventCantBeSetOrReset) {
  const HANDLE closed = AutoEvent();
  Close(closed);
  for (const HANDLE handle : {HANDLE{nullptr}, closed}) {
    SystemPort().SetLastError(0);
    EXPECT_FALSE(ThreadsPort().SetEvent(handle));
    EXPECT_EQ(LastError(), kErrorInvalidHandle);
    SystemPort().SetLastError(0);
    EXPECT_FALSE(ThreadsPort().ResetEvent(handle));
    EXPECT_EQ(LastError(), kErrorInvalidHandle);
  }
}

TEST(Waits, AWaitOnANullHandleFailsAtOnceWithoutATimeLimit) {
  SystemPort().SetLastError(0);
  EXPECT_EQ(Wait(nullptr, kInfinite), kWaitFailed);
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
}

TEST(Waits, AWaitOnAClosedHandleFailsAtOnce) {
  const HANDLE closed = NewEvent(true, true);
  Close(closed);
  SystemPort().SetLastError(0);
  EXPECT_EQ(Wait(closed, kInfinite), kWaitFailed);
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
}

TEST(Waits, AWaitThatMeetsANullHandleAmongSeveralFailsAndTakesNothing) {
  const HANDLE event = NewEvent(false, true);
  SystemPort().SetLastError(0);
  EXPECT_EQ(WaitAny({event, nullptr}, kInfinite), kWaitFailed);
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
  SystemPort().SetLastError(0);
  EXPECT_EQ(WaitAny({nullptr, event}, kInfinite), kWaitFailed);
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
  EXPECT_EQ(Wait(event, 0), kWaitObject0);
  Close(event);
}

TEST(Waits, TheTimeEndsAWaitWith258) {
  const HANDLE event = AutoEvent();
  EXPECT_EQ(Wait(event, 10), kWaitTimeout);
  EXPECT_EQ(WaitAny({event}, 10), kWaitTimeout);
  EXPECT_EQ(WaitAll({event}, 10), kWaitTimeout);
  Close(event);
}

TEST(Waits, AWaitForAnyGivesTheFirstSignalledInTheOrderOfTheList) {
  const HANDLE first = AutoEvent();
  const HANDLE second = AutoEvent();
  const HANDLE third = AutoEvent();
  ThreadsPort().SetEvent(third);
  ThreadsPort().SetEvent(second);
  EXPECT_EQ(WaitAny({first, second, third}, 0), 1u);
  EXPECT_EQ(WaitAny({first, second, third}, 0), 2u);
  EXPECT_EQ(WaitAny({first, second, third}, 0), kWaitTimeout);
  for (const HANDLE event : {first, second, third}) Close(event);
}

TEST(Waits, AWaitForAnyLeavesTheOthersSignalled) {
  const HANDLE first = NewEvent(false, true);
  const HANDLE second = NewEvent(false, true);
  EXPECT_EQ(WaitAny({first, second}, kInfinite), 0u);
  EXPECT_EQ(Wait(second, 0), kWaitObject0);
  for (const HANDLE event : {first, second}) Close(event);
}

TEST(Waits, AWaitForAllTakesNothingUntilAllAreSignalled) {
  const HANDLE first = NewEvent(false, true);
  const HANDLE second = AutoEvent();
  EXPECT_EQ(WaitAll({first, second}, 10), kWaitTimeout);
  EXPECT_EQ(Wait(first, 0), kWaitObject0);
  ThreadsPort().SetEvent(first);
  ThreadsPort().SetEvent(second);
  EXPECT_EQ(WaitAll({first, second}, kInfinite), kWaitObject0);
  EXPECT_EQ(Wait(first, 0), kWaitTimeout);
  EXPECT_EQ(Wait(second, 0), kWaitTimeout);
  for (const HANDLE event : {first, second}) Close(event);
}

TEST(Waits, AWaitForAllRefusesAnObjectThatStandsTwiceInItsList) {
  const HANDLE event = NewEvent(true, true);
  SystemPort().SetLastError(0);
  EXPECT_EQ(WaitAll({event, event}, 0), kWaitFailed);
  EXPECT_EQ(LastError(), kErrorInvalidParameter);
  EXPECT_EQ(WaitAny({event, event}, 0), 0u);
  Close(event);
}

TEST(Waits, From1To64ObjectsCanBeWaitedForAtOnce) {
  std::vector<HANDLE> events;
  for (int i = 0; i < 65; ++i) events.push_back(AutoEvent());
  ThreadsPort().SetEvent(events[63]);
  SystemPort().SetLastError(0);
  EXPECT_EQ(WaitAny(events, 0), kWaitFailed);
  EXPECT_EQ(LastError(), kErrorInvalidParameter);
  const HANDLE last = events.back();
  events.pop_back();
  EXPECT_EQ(WaitAny(events, 0), 63u);
  EXPECT_EQ(WaitAny({}, 0), kWaitFailed);
  EXPECT_EQ(LastError(), kErrorInvalidParameter);
  for (const HANDLE event : events) Close(event);
  Close(last);
}

struct Shared {
  HANDLE first = nullptr;
  HANDLE second = nullptr;
  HANDLE ready = nullptr;
  std::atomic<std::uint32_t> count{0};
  std::atomic<std::uint32_t> result{0};
};

HANDLE Start(ThreadStart start, void* parameter) {
  const HANDLE thread = ThreadsPort().CreateThread(start, parameter);
  EXPECT_NE(thread, nullptr);
  return thread;
}

TEST(Threads, AThreadsHandleIsSignalledAndGivesItsResultWhenItHasEnded) {
  int value = 41;
  const HANDLE thread =
      Start([](void* parameter) { return static_cast<std::uint32_t>(*static_cast<int*>(parameter) + 1); }, &value);
  EXPECT_EQ(Wait(thread, kLong), kWaitObject0);
  std::uint32_t code = 0;
  EXPECT_TRUE(ThreadsPort().GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 42u);
  EXPECT_EQ(Wait(thread, 0), kWaitObject0);
  Close(thread);
}

TEST(Threads, ARunningThreadGivesStillActive) {
  Shared shared;
  shared.first = ManualEvent();
  const HANDLE thread = Start(
      [](void* parameter) -> std::uint32_t { return Wait(static_cast<Shared*>(parameter)->first, kLong); }, &shared);
  std::uint32_t code = 0;
  EXPECT_TRUE(ThreadsPort().GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, kStillActive);
  EXPECT_EQ(Wait(thread, 0), kWaitTimeout);
  ThreadsPort().SetEvent(shared.first);
  EXPECT_EQ(Wait(thread, kLong), kWaitObject0);
  Close(thread);
  Close(shared.first);
}

TEST(Threads, AThreadGoesOnWhenItsHandleIsClosed) {
  Shared shared;
  shared.first = AutoEvent();
  shared.second = AutoEvent();
  Close(Start(
      [](void* parameter) -> std::uint32_t {
        auto* both = static_cast<Shared*>(parameter);
        Wait(both->first, kLong);
        ThreadsPort().SetEvent(both->second);
        return 0;
      },
      &shared));
  ThreadsPort().SetEvent(shared.first);
  EXPECT_EQ(Wait(shared.second, kLong), kWaitObject0);
  Close(shared.first);
  Close(shared.second);
}

TEST(Threads, WhatIsNoThreadHasNoExitCodeAndCantBeEnded) {
  const HANDLE event = AutoEvent();
  for (const HANDLE handle : {HANDLE{nullptr}, event}) {
    std::uint32_t code = 0;
    SystemPort().SetLastError(0);
    EXPECT_FALSE(ThreadsPort().GetExitCodeThread(handle, &code));
    EXPECT_EQ(LastError(), kErrorInvalidHandle);
    SystemPort().SetLastError(0);
    EXPECT_FALSE(ThreadsPort().TerminateThread(handle, 1));
    EXPECT_EQ(LastError(), kErrorInvalidHandle);
  }
  Close(event);
}

TEST(Threads, EachThreadHasALastErrorOfItsOwn) {
  SystemPort().SetLastError(77);
  const HANDLE thread = Start(
      [](void*) -> std::uint32_t {
        SystemPort().SetLastError(78);
        return LastError();
      },
      nullptr);
  EXPECT_EQ(Wait(thread, kLong), kWaitObject0);
  EXPECT_EQ(LastError(), 77u);
  Close(thread);
}

TEST(Waits, OneSignalOfAnAutoResetEventWakesOneOfSeveralThreads) {
  Shared shared;
  shared.first = AutoEvent();
  std::vector<HANDLE> threads;
  for (int i = 0; i < 4; ++i) {
    threads.push_back(Start(
        [](void* parameter) -> std::uint32_t {
          auto* all = static_cast<Shared*>(parameter);
          Wait(all->first, kLong);
          all->count.fetch_add(1);
          return 0;
        },
        &shared));
  }
  for (std::uint32_t i = 1; i <= 4; ++i) {
    ThreadsPort().SetEvent(shared.first);
    while (shared.count.load() < i) ThreadsPort().Sleep(1);
    ThreadsPort().Sleep(5);
    EXPECT_EQ(shared.count.load(), i);
  }
  EXPECT_EQ(WaitAll(threads, kLong), kWaitObject0);
  for (const HANDLE thread : threads) Close(thread);
  Close(shared.first);
}

TEST(Waits, OneSignalOfAManualResetEventWakesAllThreads) {
  Shared shared;
  shared.first = ManualEvent();
  std::vector<HANDLE> threads;
  for (int i = 0; i < 4; ++i) {
    threads.push_back(Start(
        [](void* parameter) -> std::uint32_t { return Wait(static_cast<Shared*>(parameter)->first, kLong); }, &shared));
  }
  ThreadsPort().SetEvent(shared.first);
  EXPECT_EQ(WaitAll(threads, kLong), kWaitObject0);
  for (const HANDLE thread : threads) {
    std::uint32_t code = 1;
    ThreadsPort().GetExitCodeThread(thread, &code);
    EXPECT_EQ(code, kWaitObject0);
    Close(thread);
  }
  Close(shared.first);
}

TEST(Waits, TwoThreadsThatSignalEachOtherLoseNoSignal) {
  Shared shared;
  shared.first = AutoEvent();
  shared.second = AutoEvent();
  constexpr std::uint32_t kRounds = 2000;
  const HANDLE thread = Start(
      [](void* parameter) -> std::uint32_t {
        auto* both = static_cast<Shared*>(parameter);
        for (std::uint32_t i = 0; i < kRounds; ++i) {
          if (Wait(both->first, kLong) != kWaitObject0) return 1;
          both->count.fetch_add(1);
          ThreadsPort().SetEvent(both->second);
        }
        return 0;
      },
      &shared);
  for (std::uint32_t i = 0; i < kRounds; ++i) {
    ThreadsPort().SetEvent(shared.first);
    ASSERT_EQ(WaitAny({shared.second, thread}, kLong), 0u);
    ASSERT_EQ(shared.count.load(), i + 1);
  }
  EXPECT_EQ(Wait(thread, kLong), kWaitObject0);
  Close(thread);
  Close(shared.first);
  Close(shared.second);
}

TEST(Threads, AThreadThatIsEndedInAWaitNeverGoesOnAndHasTheCodeThatWasGiven) {
  Shared shared;
  shared.first = ManualEvent();
  shared.ready = AutoEvent();
  const HANDLE thread = Start(
      [](void* parameter) -> std::uint32_t {
        auto* all = static_cast<Shared*>(parameter);
        ThreadsPort().SetEvent(all->ready);
        Wait(all->first, kInfinite);
        all->count.fetch_add(1);
        return 5;
      },
      &shared);
  EXPECT_EQ(Wait(shared.ready, kLong), kWaitObject0);
  EXPECT_TRUE(ThreadsPort().TerminateThread(thread, 1223));
  EXPECT_EQ(Wait(thread, kLong), kWaitObject0);
  ThreadsPort().SetEvent(shared.first);
  std::uint32_t code = 0;
  EXPECT_TRUE(ThreadsPort().GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 1223u);
  EXPECT_EQ(shared.count.load(), 0u);
  for (const HANDLE handle : {thread, shared.first, shared.ready}) Close(handle);
}

TEST(Threads, AThreadThatIsEndedWhileItSleepsNeverGoesOn) {
  Shared shared;
  shared.ready = AutoEvent();
  const HANDLE thread = Start(
      [](void* parameter) -> std::uint32_t {
        auto* all = static_cast<Shared*>(parameter);
        ThreadsPort().SetEvent(all->ready);
        ThreadsPort().Sleep(kInfinite);
        all->count.fetch_add(1);
        return 5;
      },
      &shared);
  EXPECT_EQ(Wait(shared.ready, kLong), kWaitObject0);
  EXPECT_TRUE(ThreadsPort().TerminateThread(thread, 9));
  EXPECT_EQ(Wait(thread, kLong), kWaitObject0);
  std::uint32_t code = 0;
  EXPECT_TRUE(ThreadsPort().GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 9u);
  EXPECT_EQ(shared.count.load(), 0u);
  for (const HANDLE handle : {thread, shared.ready}) Close(handle);
}

TEST(Threads, EndingAThreadThatHasEndedLeavesItsExitCode) {
  const HANDLE thread = Start([](void*) -> std::uint32_t { return 4; }, nullptr);
  EXPECT_EQ(Wait(thread, kLong), kWaitObject0);
  ThreadsPort().TerminateThread(thread, 5);
  std::uint32_t code = 0;
  EXPECT_TRUE(ThreadsPort().GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 4u);
  Close(thread);
}

TEST(InitOnce, TheFunctionRunsOnceAndItsContextIsGivenToEveryCaller) {
  InitOnce once;
  int runs = 0;
  for (int i = 0; i < 3; ++i) {
    void* context = nullptr;
    EXPECT_TRUE(ThreadsPort().InitOnceExecuteOnce(
        &once,
        [](void* parameter, void** out) {
          ++*static_cast<int*>(parameter);
          *out = reinterpret_cast<void*>(std::uintptr_t{64});
          return true;
        },
        &runs, &context));
    EXPECT_EQ(context, reinterpret_cast<void*>(std::uintptr_t{64}));
  }
  EXPECT_EQ(runs, 1);
}

TEST(InitOnce, AFunctionThatFailedRunsAgain) {
  InitOnce once;
  int runs = 0;
  const auto fail_first = [](void* parameter, void**) { return ++*static_cast<int*>(parameter) > 1; };
  EXPECT_FALSE(ThreadsPort().InitOnceExecuteOnce(&once, fail_first, &runs, nullptr));
  EXPECT_TRUE(ThreadsPort().InitOnceExecuteOnce(&once, fail_first, &runs, nullptr));
  EXPECT_TRUE(ThreadsPort().InitOnceExecuteOnce(&once, fail_first, &runs, nullptr));
  EXPECT_EQ(runs, 2);
}

TEST(CriticalSections, InitialisingOneAnswersTrue) {
  EXPECT_TRUE(ThreadsPort().InitializeCriticalSection());
}

}  // namespace
}  // namespace varnel::platform

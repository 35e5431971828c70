#include "platform/embedded/threads/embedded_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/threads/waitable.h"

namespace varnel::embedded {
namespace {

using platform::kErrorInvalidHandle;
using platform::kWaitFailed;

constexpr std::uint32_t kForever = ~0u;

struct FileLike : Object {
  FileLike() : Object(Kind::kFile) {}
};

TEST(ThreadsPort, AThreadWithoutAStartIsRefused) {
  EmbeddedThreads threads;
  EXPECT_EQ(threads.CreateThread(nullptr, nullptr), nullptr);
  EXPECT_EQ(LastError(), platform::kErrorInvalidParameter);
}

TEST(ThreadsPort, NothingButEventsAndThreadsCanBeWaitedFor) {
  EmbeddedThreads threads;
  const auto file = Handles().Insert(std::make_shared<FileLike>());
  SetLastError(0);
  EXPECT_EQ(threads.WaitForSingleObject(file, kForever), kWaitFailed);
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
  SetLastError(0);
  EXPECT_EQ(threads.WaitForSingleObject(platform::kInvalidHandleValue, kForever), kWaitFailed);
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
  EXPECT_EQ(threads.WaitForMultipleObjects(1, nullptr, false, 0), kWaitFailed);
  EXPECT_EQ(LastError(), platform::kErrorInvalidParameter);
  Handles().Remove(file);
}

TEST(ThreadsPort, AWaitGoesOnWhenItsHandleIsClosedMeanwhile) {
  EmbeddedThreads threads;
  const auto event = threads.CreateEventW(true, false);
  const auto object = Handles().Find(event);
  std::thread waiter([&] { EXPECT_EQ(threads.WaitForSingleObject(event, kForever), platform::kWaitObject0); });
  while (object.use_count() < 3) std::this_thread::yield();  // the table's, this one, and the wait's
  Handles().Remove(event);
  std::static_pointer_cast<Waitable>(object)->Signal();
  waiter.join();
}

TEST(ThreadsPort, AThreadThatEndsItselfByItsHandleGoesNoFurther) {
  struct Shared {
    EmbeddedThreads threads;
    std::atomic<platform::HANDLE> own{nullptr};
    std::atomic<bool> passed{false};
  } shared;
  const auto thread = shared.threads.CreateThread(
      [](void* parameter) -> std::uint32_t {
        auto* all = static_cast<Shared*>(parameter);
        while (all->own.load() == nullptr) std::this_thread::yield();
        all->threads.TerminateThread(all->own.load(), 12);
        all->passed.store(true);
        return 13;
      },
      &shared);
  shared.own.store(thread);
  EXPECT_EQ(shared.threads.WaitForSingleObject(thread, kForever), platform::kWaitObject0);
  std::uint32_t code = 0;
  EXPECT_TRUE(shared.threads.GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 12u);
  EXPECT_FALSE(shared.passed.load());
  Handles().Remove(thread);
}

TEST(ThreadsPort, ASignalIsMetWhetherTheWaiterLooksNapsOrBlocks) {
  EmbeddedThreads threads;
  const platform::HANDLE work = threads.CreateEventW(false, false);
  const platform::HANDLE stop = threads.CreateEventW(true, false);
  std::atomic<int> met{0};
  std::thread waiter([&] {
    const platform::HANDLE handles[] = {work, stop};
    while (threads.WaitForMultipleObjects(2, handles, false, kForever) == platform::kWaitObject0) ++met;
  });
  int signalled = 0;
  for (const int pause_us : {0, 5, 50, 300, 3000}) {
    for (int round = 0; round < 40; ++round) {
      std::this_thread::sleep_for(std::chrono::microseconds(pause_us));
      EXPECT_TRUE(threads.SetEvent(work));
      ++signalled;
      while (met.load() < signalled) std::this_thread::yield();
    }
  }
  EXPECT_TRUE(threads.SetEvent(stop));
  waiter.join();
  EXPECT_EQ(met.load(), signalled);
  Handles().Remove(work);
  Handles().Remove(stop);
}

TEST(ThreadsPort, AThreadThatIsEndedAmongSeveralObjectsLeavesNoWaitBehind) {
  EmbeddedThreads threads;
  platform::HANDLE events[] = {threads.CreateEventW(false, false), threads.CreateEventW(false, false)};
  const auto thread = threads.CreateThread(
      [](void* parameter) -> std::uint32_t {
        const auto* both = static_cast<const platform::HANDLE*>(parameter);
        return EmbeddedThreads().WaitForMultipleObjects(2, both, false, kForever);
      },
      events);
  EXPECT_TRUE(threads.TerminateThread(thread, 1));
  EXPECT_EQ(threads.WaitForSingleObject(thread, kForever), platform::kWaitObject0);
  for (const auto event : events) {
    EXPECT_TRUE(threads.SetEvent(event));
    EXPECT_EQ(threads.WaitForSingleObject(event, 0), platform::kWaitObject0);
    Handles().Remove(event);
  }
  Handles().Remove(thread);
}

TEST(ThreadsPort, AnEndedThreadLeavesAtAWaitThatNeedNotBlockAndAtASleepOfNoTime) {
  struct Shared {
    EmbeddedThreads threads;
    platform::HANDLE signalled = nullptr;
    std::atomic<bool> ended{false};
    std::atomic<bool> passed{false};
    bool sleeps = false;
  };
  for (const bool sleeps : {false, true}) {
    Shared shared;
    shared.sleeps = sleeps;
    shared.signalled = shared.threads.CreateEventW(true, true);
    const auto thread = shared.threads.CreateThread(
        [](void* parameter) -> std::uint32_t {
          auto* all = static_cast<Shared*>(parameter);
          while (!all->ended.load()) std::this_thread::yield();
          if (all->sleeps) {
            all->threads.Sleep(0);
          } else {
            all->threads.WaitForSingleObject(all->signalled, 0);
          }
          all->passed.store(true);
          return 0;
        },
        &shared);
    EXPECT_TRUE(shared.threads.TerminateThread(thread, 1));
    shared.ended.store(true);
    EXPECT_EQ(shared.threads.WaitForSingleObject(thread, kForever), platform::kWaitObject0);
    EXPECT_FALSE(shared.passed.load());
    Handles().Remove(thread);
    Handles().Remove(shared.signalled);
  }
}

TEST(ThreadsPort, SeveralThreadsThatInitialiseOnceRunTheFunctionOnce) {
  EmbeddedThreads threads;
  platform::InitOnce once;
  std::atomic<int> runs{0};
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([&] {
      EXPECT_TRUE(threads.InitOnceExecuteOnce(
          &once,
          [](void* parameter, void**) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            static_cast<std::atomic<int>*>(parameter)->fetch_add(1);
            return true;
          },
          &runs, nullptr));
    });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(runs.load(), 1);
}

}  // namespace
}  // namespace varnel::embedded

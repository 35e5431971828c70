#include "platform/embedded/threads/waitable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace varnel::embedded {
namespace {

constexpr std::uint32_t kForever = ~0u;

struct Event : Waitable {
  explicit Event(Reset reset = Reset::kAutomatic, bool signalled = false) : Waitable(Kind::kEvent, reset, signalled) {}
};

std::uint32_t Wait(std::vector<Waitable*> objects, bool all, std::uint32_t timeout_ms) {
  return Waiter(objects, all).Run(timeout_ms, nullptr, nullptr);
}

TEST(Waitables, ATakenSignalIsGoneForTheNext) {
  Event event(Waitable::Reset::kAutomatic, true);
  EXPECT_TRUE(event.TryTake());
  EXPECT_FALSE(event.TryTake());
}

TEST(Waitables, AManualOneCanBeTakenUntilItIsCleared) {
  Event event(Waitable::Reset::kManual, true);
  EXPECT_TRUE(event.TryTake());
  EXPECT_TRUE(event.TryTake());
  event.Clear();
  EXPECT_FALSE(event.TryTake());
}

TEST(Waitables, AWaitWithoutObjectsEndsWithItsTime) {
  EXPECT_EQ(Wait({}, false, 5), platform::kWaitTimeout);
  EXPECT_EQ(Wait({}, true, 5), platform::kWaitTimeout);
}

TEST(Waitables, ASignalThatAWaitForAllCantUseYetIsLeftToOthers) {
  Event first;
  Event second;
  std::thread waiter([&] { EXPECT_EQ(Wait({&first, &second}, true, kForever), 0u); });
  first.Signal();
  // Whoever comes may take it, though a wait for both may stand.
  EXPECT_TRUE(first.TryTake());
  second.Signal();
  first.Signal();
  waiter.join();
  EXPECT_FALSE(first.TryTake());
  EXPECT_FALSE(second.TryTake());
}

TEST(Waitables, WaitsForAllWithCrossedListsTakeWholeSetsOnly) {
  Event first;
  Event second;
  constexpr int kRounds = 500;
  std::atomic<int> taken{0};
  const auto run = [&](std::vector<Waitable*> objects) {
    for (int i = 0; i < kRounds; ++i) {
      ASSERT_EQ(Wait(objects, true, kForever), 0u);
      taken.fetch_add(1);
    }
  };
  std::thread forward(run, std::vector<Waitable*>{&first, &second});
  std::thread backward(run, std::vector<Waitable*>{&second, &first});
  for (int i = 0; i < 2 * kRounds; ++i) {
    first.Signal();
    second.Signal();
    while (taken.load() <= i) std::this_thread::yield();
  }
  forward.join();
  backward.join();
  EXPECT_EQ(taken.load(), 2 * kRounds);
}

TEST(Waitables, AnInterruptedWaitEndsAtOnceAndTheNextDoesNotBegin) {
  Event event;
  Waiter* current = nullptr;
  bool interrupted = false;
  std::thread waiter([&] {
    Waitable* const one = &event;
    EXPECT_EQ(Waiter({&one, 1}, false).Run(kForever, &current, &interrupted), Waiter::kInterrupted);
    EXPECT_EQ(Waiter({&one, 1}, false).Run(kForever, &current, &interrupted), Waiter::kInterrupted);
  });
  Waiter::Interrupt(&current, &interrupted);
  waiter.join();
  event.Signal();
  EXPECT_TRUE(event.TryTake());
}

TEST(Waitables, ManySignallersAndTakersLoseNothing) {
  Event filled;
  Event empty(Waitable::Reset::kAutomatic, true);
  constexpr int kRounds = 3000;
  int value = 0;  // guarded by the two events
  std::vector<std::thread> threads;
  const auto run = [&](Event* from, Event* to) {
    for (int i = 0; i < kRounds; ++i) {
      Wait({from}, false, kForever);
      ++value;
      to->Signal();
    }
  };
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back(run, &empty, &filled);
    threads.emplace_back(run, &filled, &empty);
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(value, 4 * kRounds);
}

}  // namespace
}  // namespace varnel::embedded

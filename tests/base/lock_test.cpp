#include "base/lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace varnel {
namespace {

TEST(SrwLock, OneExclusiveHolderAtATime) {
  SrwLock lock;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 1000; ++n) {
        const ExclusiveLock held(lock);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 4000);
}

TEST(SrwLock, SharedHoldersStandTogether) {
  SrwLock lock;
  std::atomic<bool> inside{false};
  const SharedLock held(lock);
  std::thread([&] {
    const SharedLock other(lock);
    inside = true;
  }).join();
  EXPECT_TRUE(inside);
}

TEST(CriticalSection, OneHolderAtATime) {
  CriticalSection lock;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 1000; ++n) {
        const CriticalSectionLock held(lock);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 4000);
}

TEST(IntendedLeak, IsCounted) {
  const std::uint32_t before = g_intended_leaks.load();
  VARNEL_INTENDED_LEAK(new int(5));
  EXPECT_EQ(g_intended_leaks.load(), before + 1);
}

}  // namespace
}  // namespace varnel

#include "platform/slim_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#endif

namespace varnel::platform {
namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 1000;

void InThreads(const std::function<void()>& body) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(body);
  for (std::thread& thread : threads) thread.join();
}

TEST(SlimLock, ExclusiveHoldersStandAlone) {
  SlimLock lock;
  int count = 0;
  InThreads([&] {
    for (int n = 0; n < kRounds; ++n) {
      lock.LockExclusive();
      ++count;
      lock.UnlockExclusive();
    }
  });
  EXPECT_EQ(count, kThreads * kRounds);
}

TEST(SlimLock, SharedHoldersSeeNoHalfDoneChange) {
  SlimLock lock;
  int first = 0;
  int second = 0;
  std::atomic<int> torn{0};
  InThreads([&] {
    for (int n = 0; n < kRounds; ++n) {
      lock.LockExclusive();
      ++first;
      ++second;
      lock.UnlockExclusive();
      lock.LockShared();
      if (first != second) ++torn;
      lock.UnlockShared();
    }
  });
  EXPECT_EQ(torn.load(), 0);
  EXPECT_EQ(second, kThreads * kRounds);
}

TEST(SlimLock, SharedHoldersStandTogether) {
  SlimLock lock;
  lock.LockShared();
  std::thread([&] {
    lock.LockShared();
    lock.UnlockShared();
  }).join();
  lock.UnlockShared();
}

#ifdef _WIN32
TEST(SlimLock, UsedLocksLeaveNoHandleBehind) {
  const auto handles = [] {
    DWORD count = 0;
    EXPECT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &count));
    return count;
  };
  const DWORD before = handles();
  for (int n = 0; n < kRounds; ++n) {
    SlimLock lock;
    lock.LockExclusive();
    lock.UnlockExclusive();
    lock.LockShared();
    lock.UnlockShared();
  }
  EXPECT_LT(handles(), before + kRounds / 10);
}
#endif

}  // namespace
}  // namespace varnel::platform

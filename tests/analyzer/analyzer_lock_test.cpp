#include "analyzer/analyzer_lock.h"

#include <thread>

#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class AnalyzerLockTest : public AnalyzerTest {};

TEST_F(AnalyzerLockTest, IsAskedOfThePlatformOnceUntilItIsDeleted) {
  AnalyzerLock lock;
  EXPECT_FALSE(lock.IsReady());
  EXPECT_TRUE(lock.Ensure());
  EXPECT_TRUE(lock.Ensure());
  EXPECT_TRUE(lock.IsReady());
  EXPECT_EQ(plan.CountOf("InitializeCriticalSection"), 1u);
  lock.Delete();
  EXPECT_FALSE(lock.IsReady());
  EXPECT_TRUE(lock.Ensure());
  EXPECT_EQ(plan.CountOf("InitializeCriticalSection"), 2u);
}

TEST_F(AnalyzerLockTest, ThatThePlatformRefusesIsNotThereAndAskedForAgain) {
  AnalyzerLock lock;
  plan.Fail("InitializeCriticalSection", 14);
  EXPECT_FALSE(lock.Ensure());
  EXPECT_FALSE(lock.IsReady());
  EXPECT_TRUE(lock.Ensure());
}

TEST_F(AnalyzerLockTest, KeepsASecondHolderOut) {
  AnalyzerLock lock;
  int held = 0;
  const auto work = [&] {
    for (int i = 0; i < 1000; ++i) {
      const AnalyzerLockScope scope(lock);
      ++held;
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(held, 2000);
}

}  // namespace
}  // namespace varnel

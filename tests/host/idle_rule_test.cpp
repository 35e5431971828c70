#include "host/idle_rule.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

using namespace std::chrono_literals;

const IdleRule::Clock::time_point kStart{1000s};

TEST(IdleRule, IsNeverIdleWithoutASpan) {
  IdleRule rule(0s);
  EXPECT_FALSE(rule.IsIdle(kStart, 0, 0ms));
  EXPECT_FALSE(rule.IsIdle(kStart + 1000h, 0, 0ms));
}

TEST(IdleRule, IsIdleOnceTheSpanPassedWithoutATextOrWork) {
  IdleRule rule(2s);
  EXPECT_FALSE(rule.IsIdle(kStart, 5, 100ms));
  EXPECT_FALSE(rule.IsIdle(kStart + 1999ms, 5, 149ms));
  EXPECT_TRUE(rule.IsIdle(kStart + 2s, 5, 149ms));
}

TEST(IdleRule, ATextBeginsTheSpanAnew) {
  IdleRule rule(2s);
  EXPECT_FALSE(rule.IsIdle(kStart, 5, 0ms));
  EXPECT_FALSE(rule.IsIdle(kStart + 1900ms, 6, 0ms));
  EXPECT_FALSE(rule.IsIdle(kStart + 3800ms, 6, 0ms));
  EXPECT_TRUE(rule.IsIdle(kStart + 3900ms, 6, 0ms));
}

TEST(IdleRule, FiftyMillisecondsOfProcessorTimeBeginTheSpanAnew) {
  IdleRule rule(2s);
  EXPECT_FALSE(rule.IsIdle(kStart, 5, 0ms));
  EXPECT_FALSE(rule.IsIdle(kStart + 2s, 5, 50ms));
  EXPECT_FALSE(rule.IsIdle(kStart + 3999ms, 5, 99ms));
  EXPECT_TRUE(rule.IsIdle(kStart + 4s, 5, 99ms));
}

TEST(IdleRule, ProcessorTimeGrowsWithWork) {
  const auto before = ProcessorTimeUsed();
  // Some systems count in ticks of some milliseconds: work goes on until one has passed.
  volatile unsigned sum = 0;
  for (unsigned round = 0; round < 1000 && ProcessorTimeUsed() == before; ++round) {
    for (unsigned i = 0; i < 20'000'000; ++i) sum = sum + i;
  }
  EXPECT_GT(ProcessorTimeUsed(), before);
}

}  // namespace
}  // namespace varnel::host

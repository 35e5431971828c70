#include "host/counter_sequence.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

/// Follows counters that come one tick after the other from one process.
CounterSequence Follow(const std::vector<std::uint32_t>& counters) {
  CounterSequence sequence;
  std::int64_t time = 100;
  for (const std::uint32_t counter : counters) sequence.Add({counter, time++, 7});
  sequence.Finish();
  return sequence;
}

TEST(CounterSequence, CountersInARowHaveNoGap) {
  const CounterSequence s = Follow({1, 2, 3, 4});
  EXPECT_EQ(s.events(), 4u);
  EXPECT_TRUE(s.gaps().empty());
  EXPECT_TRUE(s.repeats().empty());
  EXPECT_TRUE(s.restarts().empty());
  EXPECT_TRUE(s.wraps().empty());
  EXPECT_EQ(s.first().counter, 1u);
  EXPECT_EQ(s.last().counter, 4u);
}

TEST(CounterSequence, WhatStandsBeforeTheFirstEventIsNoGap) {
  EXPECT_TRUE(Follow({500, 501}).gaps().empty()) << "older files may be gone";
}

TEST(CounterSequence, AGapHasItsFirstAndLastCounterAndTheEventsAroundIt) {
  const CounterSequence s = Follow({1, 2, 6, 7});
  ASSERT_EQ(s.gaps().size(), 1u);
  EXPECT_EQ(s.gaps()[0].first, 3u);
  EXPECT_EQ(s.gaps()[0].last, 5u);
  EXPECT_EQ(s.gaps()[0].missing(), 3u);
  EXPECT_EQ(s.gaps()[0].before.time, 101);
  EXPECT_EQ(s.gaps()[0].after.time, 102);
}

TEST(CounterSequence, TheSameCounterAgainIsARepeat) {
  const CounterSequence s = Follow({1, 2, 2, 3});
  EXPECT_TRUE(s.gaps().empty());
  ASSERT_EQ(s.repeats().size(), 1u);
  EXPECT_EQ(s.repeats()[0].counter, 2u);
}

TEST(CounterSequence, AnEarlierCounterOfTheSameProcessIsARepeatToo) {
  const CounterSequence s = Follow({1, 2, 3, 4, 2, 5});
  EXPECT_TRUE(s.gaps().empty());
  EXPECT_EQ(s.repeats().size(), 1u);
  EXPECT_TRUE(s.restarts().empty());
}

TEST(CounterSequence, AnEventInTwoFilesIsARepeatAndNoGap) {
  CounterSequence s;
  for (std::int64_t time : {10, 20, 30}) {
    for (int file = 0; file < 2; ++file) {
      s.Add({static_cast<std::uint32_t>(time / 10 * 2 - 1), time, 7});
      s.Add({static_cast<std::uint32_t>(time / 10 * 2), time, 7});
    }
  }
  s.Finish();
  EXPECT_TRUE(s.gaps().empty());
  EXPECT_EQ(s.repeats().size(), 6u);
  EXPECT_TRUE(s.restarts().empty());
}

TEST(CounterSequence, EventsOfOneTimeMayComeInAnyOrder) {
  CounterSequence s;
  s.Add({6, 10, 7});
  s.Add({5, 10, 7});
  s.Add({9, 20, 7});
  s.Add({7, 20, 7});
  s.Add({8, 20, 7});
  s.Finish();
  EXPECT_TRUE(s.gaps().empty());
  EXPECT_TRUE(s.late().empty());
  EXPECT_EQ(s.first().counter, 5u);
  EXPECT_EQ(s.last().counter, 9u);
}

TEST(CounterSequence, TheCounterAtOneAgainIsARestart) {
  const CounterSequence s = Follow({1, 2, 3, 1, 2});
  EXPECT_TRUE(s.gaps().empty());
  ASSERT_EQ(s.restarts().size(), 1u);
  EXPECT_EQ(s.restarts()[0].time, 103);
}

TEST(CounterSequence, ARestartOfAnotherProcessWithoutItsFirstEventsIsAGap) {
  CounterSequence s;
  s.Add({10, 1, 7});
  s.Add({11, 2, 7});
  s.Add({4, 3, 8});
  s.Finish();
  EXPECT_EQ(s.restarts().size(), 1u);
  ASSERT_EQ(s.gaps().size(), 1u);
  EXPECT_EQ(s.gaps()[0].first, 1u);
  EXPECT_EQ(s.gaps()[0].last, 3u);
}

TEST(CounterSequence, APassageThroughZeroIsAWrapAndNoGap) {
  const CounterSequence s = Follow({0xFFFFFFFE, 0xFFFFFFFF, 0, 1, 2});
  EXPECT_TRUE(s.gaps().empty());
  EXPECT_TRUE(s.restarts().empty());
  ASSERT_EQ(s.wraps().size(), 1u);
  EXPECT_EQ(s.wraps()[0].counter, 0u);
}

TEST(CounterSequence, AGapCanWrap) {
  const CounterSequence s = Follow({0xFFFFFFFE, 2});
  ASSERT_EQ(s.gaps().size(), 1u);
  EXPECT_EQ(s.gaps()[0].first, 0xFFFFFFFFu);
  EXPECT_EQ(s.gaps()[0].last, 1u);
  EXPECT_EQ(s.gaps()[0].missing(), 3u);
  EXPECT_EQ(s.wraps().size(), 1u);
}

TEST(CounterSequence, AnotherProcessThatBeginsAtOneNearTheWrapIsARestart) {
  CounterSequence s;
  s.Add({0xFFFFFFF0, 1, 7});
  s.Add({1, 2, 8});
  s.Finish();
  EXPECT_TRUE(s.gaps().empty());
  EXPECT_EQ(s.restarts().size(), 1u);
}

TEST(CounterSequence, TheWindowEndsWhereALaterCounterIsNoLongerTakenAsLater) {
  EXPECT_EQ(Follow({10, 10 + 0x3FFFFFFF}).gaps().size(), 1u);
  EXPECT_TRUE(Follow({10, 10 + 0x3FFFFFFF}).restarts().empty());
  EXPECT_EQ(Follow({10, 11u + 0x3FFFFFFF}).restarts().size(), 1u);
}

TEST(CounterSequence, AnEventThatComesLateClosesItsGap) {
  const CounterSequence s = Follow({1, 2, 4, 3, 5});
  EXPECT_TRUE(s.gaps().empty());
  EXPECT_EQ(s.late().size(), 1u);
}

TEST(CounterSequence, ALateEventTakesItsPlaceOutOfAWiderGap) {
  EXPECT_EQ(Follow({1, 6, 2}).gaps()[0].first, 3u);
  EXPECT_EQ(Follow({1, 6, 5}).gaps()[0].last, 4u);
  const CounterSequence middle = Follow({1, 6, 4});
  ASSERT_EQ(middle.gaps().size(), 2u);
  EXPECT_EQ(middle.gaps()[0].first, 2u);
  EXPECT_EQ(middle.gaps()[0].last, 3u);
  EXPECT_EQ(middle.gaps()[1].first, 5u);
  EXPECT_EQ(middle.gaps()[1].last, 5u);
}

TEST(CounterSequence, AGapBeforeARestartStaysOpen) {
  const CounterSequence s = Follow({1, 5, 1, 2, 3, 4, 5});
  ASSERT_EQ(s.gaps().size(), 1u);
  EXPECT_EQ(s.gaps()[0].first, 2u);
  EXPECT_EQ(s.restarts().size(), 1u);
  EXPECT_TRUE(s.late().empty());
}

TEST(CounterSequence, AnEventBeforeTheFirstIsLate) {
  const CounterSequence s = Follow({10, 11, 9, 12});
  EXPECT_TRUE(s.gaps().empty());
  EXPECT_EQ(s.late().size(), 1u);
  EXPECT_TRUE(s.restarts().empty());
}

}  // namespace
}  // namespace varnel::host

#include "pipeline/target_consumer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tests/pipeline/order_model.h"
#include "tests/pipeline/pipeline_fixture.h"

namespace varnel {
namespace {

using ::testing::ElementsAre;
using testing::ModelEvent;
using testing::OrderModel;

class PlaceRawEventTest : public testing::PipelineTest {
 protected:
  void PlaceTimes(const std::vector<std::uint64_t>& times) {
    for (const std::uint64_t time : times) Place(consumer_, {MakeEvent(time, 1)});
  }

  void DropHead() {
    ExclusiveLock lock(consumer_->QueueLock);
    FreeRawEvent(RawEventFromLink(RemoveHeadList(&consumer_->Queue)));
  }

  TargetConsumer* consumer_ = MakeConsumer();
};

TEST_F(PlaceRawEventTest, TheFirstEventStandsAtTheHead) {
  PlaceTimes({10});
  EXPECT_THAT(QueuedTimes(consumer_), ElementsAre(10));
}

TEST_F(PlaceRawEventTest, LaterEventsGoToTheEnd) {
  PlaceTimes({1, 2, 3});
  EXPECT_THAT(QueuedTimes(consumer_), ElementsAre(1, 2, 3));
}

TEST_F(PlaceRawEventTest, AnEarlierEventLandsBehindTheOneThatIsLaterAndNotInFrontOfIt) {
  PlaceTimes({10, 5});
  EXPECT_THAT(QueuedTimes(consumer_), ElementsAre(10, 5));
}

TEST_F(PlaceRawEventTest, TheFirstLaterEventFromTheFrontDecides) {
  PlaceTimes({5, 7, 9, 6});
  EXPECT_THAT(QueuedTimes(consumer_), ElementsAre(5, 7, 6, 9));
}

TEST_F(PlaceRawEventTest, WithEqualTimesTheCounterDecides) {
  Place(consumer_, {MakeEvent(4, 3), MakeEvent(4, 2)});
  EXPECT_THAT(QueuedCounters(consumer_), ElementsAre(3, 2));
}

TEST_F(PlaceRawEventTest, CountersCompareWithoutASign) {
  Place(consumer_, {MakeEvent(4, 0xFFFFFFFF), MakeEvent(4, 1), MakeEvent(4, 0x80000000)});
  EXPECT_THAT(QueuedCounters(consumer_), ElementsAre(0xFFFFFFFF, 0x80000000, 1));
}

TEST_F(PlaceRawEventTest, AnEventEqualInBothValuesPassesItsTwin) {
  RawEvent* first = MakeEvent(4, 3);
  RawEvent* second = MakeEvent(4, 3);
  Place(consumer_, {first, second});
  ExclusiveLock lock(consumer_->QueueLock);
  EXPECT_EQ(consumer_->Queue.Flink, &first->Link);
  EXPECT_EQ(consumer_->Queue.Blink, &second->Link);
}

TEST_F(PlaceRawEventTest, EachInsertionIsCountedAndNoneIsTakenBack) {
  PlaceTimes({1, 2});
  DropHead();
  PlaceTimes({3});
  ExclusiveLock lock(consumer_->QueueLock);
  EXPECT_EQ(consumer_->dwQueueCount, 3u);
}

TEST_F(PlaceRawEventTest, TheBoundIsThatOfTheGreatestEventAndNotOfTheLast) {
  PlaceTimes({10, 5});
  ExclusiveLock lock(consumer_->QueueLock);
  EXPECT_EQ(consumer_->Bound.dwTimeStamp, 10u);
}

TEST_F(PlaceRawEventTest, TheBoundFallsWhenAnEventReachesTheEndBehindAGreatestThatHasLeft) {
  PlaceTimes({10, 5});
  DropHead();
  PlaceTimes({6});
  EXPECT_THAT(QueuedTimes(consumer_), ElementsAre(5, 6));
  ExclusiveLock lock(consumer_->QueueLock);
  EXPECT_EQ(consumer_->Bound.dwTimeStamp, 6u);
}

TEST_F(PlaceRawEventTest, AnEmptiedQueueStartsAfresh) {
  PlaceTimes({10});
  DropHead();
  PlaceTimes({3, 4});
  EXPECT_THAT(QueuedTimes(consumer_), ElementsAre(3, 4));
}

// Insertions and removals in random order stand as the naive walk puts them.
TEST_F(PlaceRawEventTest, RandomInsertionsAndRemovalsStandAsTheModelHasThem) {
  std::mt19937 random(11);
  for (int round = 0; round < 300; ++round) {
    OrderModel model;
    const std::uint32_t spread = 1 + random() % 40;
    std::uint64_t now = 100;
    for (int step = 0; step < 200; ++step) {
      if (random() % 3 == 0 && !model.queue().empty()) {
        model.Look(10);  // the first look delivers or destroys; only the queue counts here
        DropHead();
        while (QueuedTimes(consumer_).size() > model.queue().size()) DropHead();
        continue;
      }
      if (random() % 50 == 0) now += 1000;  // an event from far ahead, so that the greatest leaves early
      const ModelEvent event{now + random() % spread, static_cast<std::uint32_t>(random() % 4), false, 0};
      if (random() % 50 == 1) now -= 900;
      model.Insert(event);
      Place(consumer_, {MakeEvent(event.time_stamp, event.counter)});
    }
    std::vector<std::uint64_t> times;
    std::vector<std::uint32_t> counters;
    for (const ModelEvent& event : model.queue()) {
      times.push_back(event.time_stamp);
      counters.push_back(event.counter);
    }
    ASSERT_EQ(QueuedTimes(consumer_), times) << "round " << round;
    ASSERT_EQ(QueuedCounters(consumer_), counters) << "round " << round;
    while (!QueuedTimes(consumer_).empty()) DropHead();
  }
}

TEST_F(PlaceRawEventTest, WithoutMemoryThereIsNoConsumer) {
  platform_.system.FailAllocation(1);
  EXPECT_EQ(AllocateTargetConsumer(&table_, provider_, 8), nullptr);
}

}  // namespace
}  // namespace varnel

#include "pipeline/event_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "base/compiler.h"
#include "base/log.h"
#include "tests/pipeline/order_model.h"
#include "tests/pipeline/pipeline_fixture.h"

namespace varnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::ModelEvent;
using testing::ModelLook;
using testing::OrderModel;

constexpr char kDestroyed[] = "RawEventDealThread func call DestoryRawEvent cur timestamp(";

class EventOrderTest : public testing::PipelineTest {
 protected:
  EventOrderTest() { SetPosition(100, 4); }

  void SetPosition(std::uint64_t time_stamp, std::uint32_t counter) {
    consumer_->Progress.dwTimeStamp = time_stamp;
    consumer_->Progress.dwCounter = counter;
  }

  /// Queues one event and judges the head.
  std::uint32_t CookOne(std::uint64_t time_stamp, std::uint32_t counter) {
    Place(consumer_, {MakeEvent(time_stamp, counter)});
    return Cook(consumer_);
  }

  void ExpectPosition(std::uint64_t time_stamp, std::uint32_t counter) {
    EXPECT_EQ(consumer_->Progress.dwTimeStamp, time_stamp);
    EXPECT_EQ(consumer_->Progress.dwCounter, counter);
  }

  void ExpectDestroyed(const std::string& line) {
    EXPECT_THAT(host_.Texts(), IsEmpty());
    EXPECT_TRUE(Logged(line)) << platform_.system.DebugText();
    EXPECT_TRUE(Logged(kDestroyed));
    EXPECT_EQ(threads_.sleeps(), 0u);
    ExpectPosition(100, 4);
  }

  TargetConsumer* consumer_ = MakeConsumer();
};

// Row by row.

TEST_F(EventOrderTest, AnEarlierEventIsDestroyedWhateverItsCounterIs) {
  EXPECT_EQ(CookOne(99, 5), 0u);
  ExpectDestroyed("RawEventDealThread func call raw event TimeStamp is less current TimeStamp\r\n");
  EXPECT_TRUE(
      Logged("RawEventDealThread func call DestoryRawEvent cur timestamp(0x64) cur counter(0x4) raw "
             "timestamp(0x63) raw counter(0x5) !\r\n"));
}

TEST_F(EventOrderTest, AnInitEventOfTheSameTimeIsDestroyed) {
  RawEvent* event = MakeEvent(100, 5);
  event->bIsModuleInitEvent = 1;
  Place(consumer_, {event});
  EXPECT_EQ(Cook(consumer_), 0u);
  ExpectDestroyed(
      "RawEventDealThread func check this is a init event and dwTimeStamp same, just destory this event.\r\n");
}

TEST_F(EventOrderTest, AnInitEventOfALaterTimeIsDelivered) {
  RawEvent* event = MakeEvent(101, 5);
  event->bIsModuleInitEvent = 1;
  Place(consumer_, {event});
  EXPECT_EQ(Cook(consumer_), 0u);
  EXPECT_THAT(host_.Texts(), ElementsAre("101/5"));
}

TEST_F(EventOrderTest, ARepeatWithNothingBehindItIsDestroyedUnderTheLineOfAnOldEvent) {
  const std::uint32_t leaks = g_intended_leaks;
  EXPECT_EQ(CookOne(100, 4), 0u);
  ExpectDestroyed(
      "RawEventDealThread func call CheckCounterNewOrOld check raw event dwTimeStamp is old one, just delete.\r\n");
  EXPECT_FALSE(Logged("just destory this duplicate event"));
  EXPECT_THAT(QueuedTimes(consumer_), IsEmpty());
  EXPECT_EQ(g_intended_leaks, leaks);
}

TEST_F(EventOrderTest, ARepeatTakesTheEventBehindItAlongWhichIsNeitherDeliveredNorFreed) {
  const std::uint32_t leaks = g_intended_leaks;
  Place(consumer_, {MakeEvent(100, 4), MakeEvent(101, 5), MakeEvent(102, 6)});
  EXPECT_EQ(Cook(consumer_), 0u);
  EXPECT_THAT(QueuedTimes(consumer_), ElementsAre(102));
  ExpectDestroyed("just delete.\r\n");
  EXPECT_TRUE(Logged("raw timestamp(0x64) raw counter(0x4) !"));
  EXPECT_EQ(g_intended_leaks, leaks + 1);
  lost_blocks_ = 1;
}

TEST_F(EventOrderTest, TheNextCounterAtTheSameTimeIsDelivered) {
  EXPECT_EQ(CookOne(100, 5), 0u);
  EXPECT_THAT(host_.Texts(), ElementsAre("100/5"));
  EXPECT_EQ(threads_.sleeps(), 0u);
  ExpectPosition(100, 5);
}

TEST_F(EventOrderTest, ACounterOutsideTheWindowAtTheSameTimeIsDestroyed) {
  EXPECT_EQ(CookOne(100, 3), 0u);
  ExpectDestroyed("RawEventDealThread func call CheckCounterNewOrOld failed, Destory this event.\r\n");
  EXPECT_TRUE(Logged("CheckCounterNewOrOld func overflow old check dwCounterCurrent(0x4) dwCounterToCheck(0x3)"));
}

TEST_F(EventOrderTest, AnOlderCounterAtTheSameTimeIsDestroyed) {
  consumer_->Progress.dwCounter = 0x50000000;
  EXPECT_EQ(CookOne(100, 0x40000000), 0u);
  EXPECT_THAT(host_.Texts(), IsEmpty());
  EXPECT_TRUE(Logged(
      "RawEventDealThread func call CheckCounterNewOrOld check raw event dwTimeStamp is old one, just delete.\r\n"));
  ExpectPosition(100, 0x50000000);
}

TEST_F(EventOrderTest, ANewCounterWithAGapAtTheSameTimeWaitsTenTimesAndIsDelivered) {
  EXPECT_EQ(CookOne(100, 9), 0u);
  EXPECT_EQ(threads_.sleeps(), 10u);
  EXPECT_EQ(platform_.time.now_ms(), 500u);
  EXPECT_THAT(host_.Texts(), ElementsAre("100/9"));
  ExpectPosition(100, 9);
}

TEST_F(EventOrderTest, TheNextCounterAtALaterTimeIsDeliveredAtOnce) {
  EXPECT_EQ(CookOne(101, 5), 0u);
  EXPECT_EQ(threads_.sleeps(), 0u);
  EXPECT_THAT(host_.Texts(), ElementsAre("101/5"));
  ExpectPosition(101, 5);
}

TEST_F(EventOrderTest, AnyOtherCounterAtALaterTimeWaitsTenTimesAndIsDelivered) {
  EXPECT_EQ(CookOne(101, 2), 0u);
  EXPECT_EQ(threads_.sleeps(), 10u);
  EXPECT_THAT(host_.Texts(), ElementsAre("101/2"));
  ExpectPosition(101, 2);
}

// Waiting.

TEST_F(EventOrderTest, TheMissingEventThatArrivesDuringAWaitIsDeliveredFirst) {
  threads_.on_sleep = [&] {
    if (threads_.sleeps() != 3) return;
    // Lands behind 102, which therefore is delivered after its ten tries all the same.
    Place(consumer_, {MakeEvent(101, 5)});
  };
  EXPECT_EQ(CookOne(102, 6), 0u);
  EXPECT_EQ(threads_.sleeps(), 10u);
  EXPECT_THAT(host_.Texts(), ElementsAre("102/6"));
  EXPECT_THAT(QueuedTimes(consumer_), ElementsAre(101));
}

TEST_F(EventOrderTest, TriesAreNotResetWhenAnotherEventComesToTheHead) {
  // A lower event is made to stand at the head during the fourth wait, as when an earlier head was passed.
  threads_.on_sleep = [&] {
    if (threads_.sleeps() != 4) return;
    ExclusiveLock lock(consumer_->QueueLock);
    InsertHeadList(&consumer_->Queue, &MakeEvent(101, 8)->Link);
  };
  EXPECT_EQ(CookOne(102, 6), 0u);
  EXPECT_EQ(threads_.sleeps(), 10u);
  EXPECT_THAT(host_.Texts(), ElementsAre("101/8"));
  EXPECT_THAT(QueuedTimes(consumer_), ElementsAre(102));
}

TEST_F(EventOrderTest, TheQueueCanBeFilledWhileAnEventWaits) {
  unsigned placed = 0;
  threads_.on_sleep = [&] {
    Place(consumer_, {MakeEvent(200 + placed, 50 + placed)});
    ++placed;
  };
  EXPECT_EQ(CookOne(150, 9), 0u);
  EXPECT_EQ(QueuedTimes(consumer_).size(), 10u);
  EXPECT_THAT(host_.Texts(), ElementsAre("150/9"));
}

// Wrap and restart.

TEST_F(EventOrderTest, TheCounterBehindTheWrapIsTheNext) {
  consumer_->Progress.dwCounter = 0xFFFFFFFF;
  EXPECT_EQ(CookOne(100, 0), 0u);
  EXPECT_EQ(CookOne(101, 1), 0u);
  EXPECT_EQ(threads_.sleeps(), 0u);
  EXPECT_THAT(host_.Texts(), ElementsAre("100/0", "101/1"));
}

TEST_F(EventOrderTest, AProviderThatBeginsItsCounterAnewIsTakenUpFromThatEventOn) {
  consumer_->Progress.dwCounter = 5000;
  EXPECT_EQ(CookOne(101, 1), 0u);
  EXPECT_EQ(threads_.sleeps(), 10u);
  EXPECT_EQ(CookOne(102, 2), 0u);
  EXPECT_EQ(threads_.sleeps(), 10u);
  EXPECT_THAT(host_.Texts(), ElementsAre("101/1", "102/2"));
}

TEST_F(EventOrderTest, TheFirstEventOfANewConsumerWithCounter1IsDeliveredAtOnceAndWithCounter7After500Milliseconds) {
  SetPosition(0, 0);
  EXPECT_EQ(CookOne(50, 1), 0u);
  EXPECT_EQ(platform_.time.now_ms(), 0u);
  SetPosition(0, 0);
  EXPECT_EQ(CookOne(60, 7), 0u);
  EXPECT_EQ(platform_.time.now_ms(), 500u);
}

// The position.

TEST_F(EventOrderTest, EachDeliveryStoresThePositionUnderOneKeyThatStaysOpen) {
  CookOne(101, 5);
  CookOne(102, 6);
  EXPECT_EQ(platform_.registry.open_keys(), 1u);
  const auto value = platform_.registry.Get(kKeyWords, u"0x0000000000000080");
  ASSERT_TRUE(value.has_value());
  ProviderModuleCounter stored{};
  ASSERT_EQ(value->data.size(), sizeof(stored));
  std::memcpy(&stored, value->data.data(), sizeof(stored));
  EXPECT_EQ(stored.dwKeyWord, 0x80u);
  EXPECT_EQ(stored.dwTimeStamp, 102u);
  EXPECT_EQ(stored.dwCounter, 6u);
}

TEST_F(EventOrderTest, ADestroyedEventStoresNothing) {
  CookOne(99, 5);
  EXPECT_FALSE(platform_.registry.HasKey(kKeyWords));
  EXPECT_EQ(key_, nullptr);
}

TEST_F(EventOrderTest, AnEventWithoutThePointRecordBitMovesThePositionAndReachesNoHost) {
  Place(consumer_, {MakeEvent(101, 5, 0)});
  EXPECT_EQ(Cook(consumer_), 0u);
  EXPECT_THAT(host_.Texts(), IsEmpty());
  ExpectPosition(101, 5);
}

TEST_F(EventOrderTest, AFailingCallbackMovesThePositionAndDoesNotStopTheNextEvents) {
  host_.answer = 5;
  CookOne(101, 5);
  CookOne(102, 6);
  EXPECT_THAT(host_.Texts(), ElementsAre("101/5", "102/6"));
  ExpectPosition(102, 6);
}

TEST_F(EventOrderTest, AFailedPositionWriteIsIgnoredAndThePositionMovesInMemory) {
  key_ = reinterpret_cast<platform::HKEY>(std::uintptr_t{0x4});  // none that is open
  EXPECT_EQ(CookOne(101, 5), 0u);
  ExpectPosition(101, 5);
  key_ = nullptr;
}

TEST_F(EventOrderTest, AnEventWithoutATextCantBeDestroyedWhichIsTheResultAndLogged) {
  RawEvent* event = AllocateRawEvent();
  event->dwTimeStamp = 99;
  Place(consumer_, {event});
  EXPECT_EQ(Cook(consumer_), 31u);
  EXPECT_TRUE(Logged("RawEventDealThread func call DestoryRawEvent failed!\r\n"));
  FreeRawEvent(event);
}

TEST_F(EventOrderTest, ADeliveredEventThatCantBeDestroyedMovesThePositionAllTheSame) {
  WrapLogInit(LOG_ERROR, nullptr);
  RawEvent* event = AllocateRawEvent();  // without a text, and no bit that wants one
  event->dwTimeStamp = 101;
  event->dwCounter = 5;
  Place(consumer_, {event});
  EXPECT_EQ(Cook(consumer_), 31u);
  EXPECT_TRUE(Logged("RawEventDealThread func call DestoryRawEvent failed!\r\n"));
  ExpectPosition(101, 5);
  EXPECT_TRUE(platform_.registry.Get(kKeyWords, u"0x0000000000000080").has_value());
  FreeRawEvent(event);
}

TEST_F(EventOrderTest, DestroyedEventsAreDetailsCountersOutsideTheWindowInformationAndFailedDestructionsErrors) {
  WrapLogInit(LOG_INFO, nullptr);
  platform_.system.ClearDebug();
  CookOne(99, 5);
  CookOne(100, 4);
  CookOne(101, 5);
  EXPECT_TRUE(platform_.system.DebugLines().empty());
  CookOne(101, 3);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.system.ClearDebug();
  RawEvent* event = AllocateRawEvent();
  Place(consumer_, {event});
  Cook(consumer_);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
  FreeRawEvent(event);
}

// Random events in random order, with others arriving during the waits, are judged as the model judges them.
class RandomOrder : public testing::PipelineTest {
 protected:
  void Play(std::uint32_t seed);

 private:
  void InsertRandom();
  void CheckQueues();
  /// Lets the model take the same looks as the code took, and gives the events that the host must have seen by now.
  void LookAsTheCodeDid(unsigned waits);

  std::mt19937 random_;
  OrderModel model_;
  TargetConsumer* consumer_ = nullptr;
  std::uint64_t now_ = 0;
  std::uint32_t counter_ = 0;
  std::uint64_t next_id_ = 1;
  unsigned looks_ = 0;  // of the cook that is under way
  std::vector<std::string> expected_;
  unsigned abandoned_ = 0;
};

void RandomOrder::InsertRandom() {
  ModelEvent event;
  switch (random_() % 12) {
    case 0:  // the last one once more
      event.time_stamp = model_.time_stamp();
      event.counter = model_.counter();
      break;
    case 1:  // too old, or old at the same time
      event.time_stamp = model_.time_stamp() - random_() % 3;
      event.counter = model_.counter() - random_() % 5;
      break;
    case 2:  // a provider that starts anew
      counter_ = random_() % 3;
      event.time_stamp = now_ += random_() % 3;
      event.counter = ++counter_;
      break;
    case 3:  // a jump over the border of the window
      counter_ += 0x3FFFFFFC + random_() % 8;
      event.time_stamp = now_;
      event.counter = counter_;
      break;
    case 4:  // out of order
      event.time_stamp = now_ + random_() % 4;
      event.counter = counter_ + random_() % 4;
      break;
    default:
      event.time_stamp = now_ += random_() % 2;
      event.counter = ++counter_;
  }
  event.announces_start = random_() % 20 == 0;
  event.id = next_id_++;
  model_.Insert(event);
  RawEvent* raw = MakeEvent(event.time_stamp, event.counter, NEED_POINT_RECORD, std::to_string(event.id));
  raw->bIsModuleInitEvent = event.announces_start ? 1 : 0;
  Place(consumer_, {raw});
}

void RandomOrder::CheckQueues() {
  std::vector<std::uint64_t> ids;
  {
    ExclusiveLock lock(consumer_->QueueLock);
    for (ListEntry* e = consumer_->Queue.Flink; e != &consumer_->Queue; e = e->Flink) {
      ids.push_back(std::stoull(RawEventFromLink(e)->pszJsonText));
    }
  }
  std::vector<std::uint64_t> model_ids;
  for (const ModelEvent& event : model_.queue()) model_ids.push_back(event.id);
  ASSERT_EQ(ids, model_ids);
  ASSERT_EQ(consumer_->Progress.dwTimeStamp, model_.time_stamp());
  ASSERT_EQ(consumer_->Progress.dwCounter, model_.counter());
}

void RandomOrder::Play(std::uint32_t seed) {
  random_.seed(seed);
  now_ = 1000;
  counter_ = seed % 3 == 0 ? 0xFFFFFFF0 : seed;
  model_ = OrderModel(now_, counter_);
  consumer_ = MakeConsumer();
  consumer_->Progress.dwTimeStamp = now_;
  consumer_->Progress.dwCounter = counter_;
  threads_.on_sleep = [&] {
    // The code has just looked and chosen to wait; so must the model.
    const ModelLook look = model_.Look(looks_);
    EXPECT_EQ(look.fate, ModelLook::Fate::kWaits);
    ++looks_;
    while (random_() % 3 == 0) InsertRandom();
  };
  for (int step = 0; step < 60 && !HasFailure(); ++step) {
    for (unsigned n = random_() % 5; n > 0; --n) InsertRandom();
    if (model_.queue().empty()) continue;
    looks_ = 0;
    ASSERT_EQ(Cook(consumer_), 0u);
    const ModelLook look = model_.Look(looks_);
    ASSERT_NE(look.fate, ModelLook::Fate::kWaits);
    if (look.fate == ModelLook::Fate::kDelivered) expected_.push_back(std::to_string(look.event.id));
    if (look.abandoned.has_value()) ++abandoned_;
    ASSERT_EQ(host_.Texts(), expected_);
    CheckQueues();
  }
  lost_blocks_ = static_cast<int>(abandoned_);
}

TEST_F(RandomOrder, EventsAreJudgedAsTheModelJudgesThem) {
  const std::uint32_t leaks = g_intended_leaks;
  for (std::uint32_t seed = 1; seed <= 150 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Play(seed);
  }
  EXPECT_EQ(g_intended_leaks - leaks, static_cast<std::uint32_t>(lost_blocks_));
  EXPECT_GT(lost_blocks_, 20) << "repeats must come up";
}

}  // namespace
}  // namespace varnel

#include "pipeline/consumer_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "base/log.h"
#include "tests/pipeline/pipeline_fixture.h"

namespace varnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ConsumerThreadTest : public testing::PipelineTest {
 protected:
  ~ConsumerThreadTest() override { StopConsumers(); }

  TargetConsumer* StartConsumer(std::uint64_t keyword = 0x80) {
    EXPECT_EQ(CheckAndCreateTargetConsumerThread(&provider_, keyword, &table_, RawEventDealThread), 0u);
    SharedLock lock(table_.TableLock);
    return ConsumerFromLink(table_.ConsumerList.Blink);
  }

  void Insert(std::uint64_t time_stamp, std::uint32_t counter) {
    EXPECT_EQ(InsertRawEvent(&table_, MakeEvent(time_stamp, counter), &provider_, 0x80), 0u);
  }

  void StorePosition(const char16_t* name, const ProviderModuleCounter& record) {
    char bytes[24];
    std::memcpy(bytes, &record, sizeof(bytes));
    platform_.registry.Set(kKeyWords, name, platform::kRegBinary, bytes, sizeof(bytes));
  }

  bool ThreadEnded(TargetConsumer* consumer) {
    return threads_.WaitForSingleObject(consumer->hThread, 0) == platform::kWaitObject0;
  }
};

TEST_F(ConsumerThreadTest, EventsReachTheHostInTheirOrder) {
  StartConsumer();
  for (std::uint32_t i = 1; i <= 5; ++i) Insert(100 + i, i);
  EXPECT_TRUE(platform_.time.RunUntil([&] { return host_.Texts().size() == 5; }));
  EXPECT_THAT(host_.Texts(), ElementsAre("101/1", "102/2", "103/3", "104/4", "105/5"));
}

TEST_F(ConsumerThreadTest, AConsumerGoesOnFromItsStoredPosition) {
  StorePosition(u"0x0000000000000100", {0x100, 900, 9});
  StorePosition(u"0x0000000000000080", {0x80, 100, 4});
  StartConsumer();
  Insert(99, 3);
  Insert(101, 5);
  EXPECT_TRUE(platform_.time.RunUntil([&] { return !host_.Texts().empty(); }));
  EXPECT_EQ(platform_.time.now_ms(), 0u) << "101/5 is the next of the stored position";
  platform_.time.Settle();
  EXPECT_THAT(host_.Texts(), ElementsAre("101/5"));
}

TEST_F(ConsumerThreadTest, AKeywordWithoutARecordStartsFromZero) {
  StorePosition(u"0x0000000000000100", {0x100, 900, 9});
  TargetConsumer* consumer = StartConsumer();
  platform_.time.Settle();
  EXPECT_EQ(consumer->Progress.dwKeyWord, 0x80u);
  EXPECT_EQ(consumer->Progress.dwTimeStamp, 0u);
  EXPECT_EQ(consumer->Progress.dwCounter, 0u);
}

TEST_F(ConsumerThreadTest, OfTwoRecordsOfOneKeywordTheFirstIsTaken) {
  StorePosition(u"0x80", {0x80, 100, 4});
  StorePosition(u"0x0000000000000080", {0x80, 900, 9});
  TargetConsumer* consumer = StartConsumer();
  platform_.time.Settle();
  EXPECT_EQ(consumer->Progress.dwTimeStamp, 100u);
  EXPECT_EQ(consumer->Progress.dwCounter, 4u);
}

TEST_F(ConsumerThreadTest, APositionIsTakenWithAllItsBytes) {
  ProviderModuleCounter record;
  std::memset(static_cast<void*>(&record), 0xAB, sizeof(record));  // the padding as well
  record.dwKeyWord = 0x80;
  record.dwTimeStamp = 100;
  record.dwCounter = 4;
  StorePosition(u"0x0000000000000080", record);
  TargetConsumer* consumer = StartConsumer();
  platform_.time.Settle();
  EXPECT_EQ(std::memcmp(&consumer->Progress, &record, sizeof(record)), 0);
}

TEST_F(ConsumerThreadTest, APositionThatCantBeReadEndsTheThreadAndItsEventsPileUpUntilStop) {
  WrapLogInit(LOG_ERROR, nullptr);
  StorePosition(u"0x0000000000000100", {0x200, 1, 1});
  platform_.system.SetLastError(0x35);
  TargetConsumer* consumer = StartConsumer();
  platform_.time.Settle();
  EXPECT_TRUE(ThreadEnded(consumer));
  // The line tells the last error of the thread, which the registry does not set, and not the result 13.
  EXPECT_TRUE(Logged("RealTimeEventCollectThread func call GetTargetProviderModulesCounter failed(0x0)!\r\n"));
  Insert(101, 1);
  platform_.time.Settle();
  EXPECT_THAT(host_.Texts(), IsEmpty());
  EXPECT_THAT(QueuedTimes(consumer), ElementsAre(101));
  StopConsumers();
  EXPECT_THAT(host_.Texts(), ElementsAre("101/1"));
}

TEST_F(ConsumerThreadTest, ANullParameterIsLoggedUnderAnotherThreadsName) {
  WrapLogInit(LOG_ERROR, nullptr);
  EXPECT_EQ(RawEventDealThread(nullptr), 0u);
  EXPECT_TRUE(Logged("RealTimeEventCollectThread func check lpParam is zero\r\n"));
}

TEST_F(ConsumerThreadTest, TheStopEventEndsTheThreadOnlyWithAnEmptyQueue) {
  WrapLogInit(LOG_DETAIL, nullptr);
  threads_.SetEvent(table_.hStopEvent);
  // Inserted before the thread looks at its queue for the first time.
  TargetConsumer* consumer = AllocateTargetConsumer(&table_, provider_, 0x80);
  Place(consumer, {MakeEvent(101, 1), MakeEvent(102, 2)});
  consumer->hWakeEvent = threads_.CreateEventW(false, false);
  EXPECT_EQ(RawEventDealThread(consumer), 0u);
  EXPECT_THAT(host_.Texts(), ElementsAre("101/1", "102/2"));
  EXPECT_TRUE(
      Logged("RawEventDealThread func Exit(0x1), ProviderGuid={D8909C24-5BE9-4502-98CA-AB7BDC24899D}, "
             "dwKeyWord=0x80\r\n"));
  EXPECT_EQ(platform_.registry.open_keys(), 0u);
  EXPECT_EQ(CleanupTargetConsumerThread(consumer), 0u);
  FreeTargetConsumer(consumer);
}

TEST_F(ConsumerThreadTest, AWaitThatFailsIsLoggedAndTheThreadGoesOn) {
  WrapLogInit(LOG_ERROR, nullptr);
  threads_.wait_answers = {0xFFFFFFFF, 258, 0};
  TargetConsumer* consumer = StartConsumer();
  platform_.time.Settle();
  EXPECT_TRUE(Logged("RawEventDealThread func wait reason invalid(0xffffffff)!\r\n"));
  EXPECT_FALSE(Logged("wait reason invalid(0x102)"));
  EXPECT_FALSE(ThreadEnded(consumer));
}

TEST_F(ConsumerThreadTest, AFailedCookIsLoggedAndTheThreadGoesOn) {
  WrapLogInit(LOG_ERROR, nullptr);
  StorePosition(u"0x0000000000000080", {0x80, 100, 4});
  StartConsumer();
  RawEvent* without_text = AllocateRawEvent();
  without_text->dwTimeStamp = 99;
  ASSERT_EQ(InsertRawEvent(&table_, without_text, &provider_, 0x80), 0u);
  Insert(101, 5);
  EXPECT_TRUE(platform_.time.RunUntil([&] { return !host_.Texts().empty(); }));
  EXPECT_TRUE(Logged("RawEventDealThread func CookRawEvent failed(0x1f)!\r\n"));
  FreeRawEvent(without_text);
}

TEST_F(ConsumerThreadTest, TheEventBehindARepeatIsLostAndTheOnesBehindThatArriveAfterTheirWait) {
  StorePosition(u"0x0000000000000080", {0x80, 100, 4});
  TargetConsumer* consumer = AllocateTargetConsumer(&table_, provider_, 0x80);
  Place(consumer, {MakeEvent(100, 4), MakeEvent(101, 5), MakeEvent(102, 6)});
  consumer->hWakeEvent = threads_.CreateEventW(false, false);
  threads_.SetEvent(table_.hStopEvent);
  EXPECT_EQ(RawEventDealThread(consumer), 0u);
  EXPECT_THAT(host_.Texts(), ElementsAre("102/6"));
  EXPECT_EQ(platform_.time.now_ms(), 500u);
  EXPECT_EQ(CleanupTargetConsumerThread(consumer), 0u);
  FreeTargetConsumer(consumer);
  lost_blocks_ = 1;
}

TEST_F(ConsumerThreadTest, AnEventThatOvertakesTheOthersTakesThePositionPastThem) {
  StartConsumer();
  Insert(101, 1);
  Insert(102, 2);
  Insert(109, 9);  // live, while a file is still being read
  Insert(103, 3);  // from the file: behind the one that is waited with, which therefore is not helped by it
  Insert(104, 4);
  EXPECT_TRUE(platform_.time.RunUntil([&] { return host_.Texts().size() == 3; }));
  EXPECT_EQ(platform_.time.now_ms(), 500u);
  Insert(105, 5);
  Insert(110, 10);
  EXPECT_TRUE(platform_.time.RunUntil([&] { return host_.Texts().size() == 4; }));
  EXPECT_THAT(host_.Texts(), ElementsAre("101/1", "102/2", "109/9", "110/10"));
  EXPECT_TRUE(Logged("RawEventDealThread func call raw event TimeStamp is less current TimeStamp\r\n"));
}

TEST_F(ConsumerThreadTest, CleaningUpNullGives87) {
  EXPECT_EQ(CleanupTargetConsumerThread(nullptr), 87u);
}

TEST_F(ConsumerThreadTest, CleaningUpWorksThroughTheQueueOnTheCallingThreadAndClosesWhatItOpened) {
  TargetConsumer* consumer = MakeConsumer();
  consumer->hWakeEvent = threads_.CreateEventW(false, false);
  Place(consumer, {MakeEvent(101, 1), MakeEvent(102, 2)});
  EXPECT_EQ(CleanupTargetConsumerThread(consumer), 0u);
  EXPECT_THAT(host_.Texts(), ElementsAre("101/1", "102/2"));
  EXPECT_EQ(consumer->hThread, nullptr);
  EXPECT_EQ(consumer->hWakeEvent, nullptr);
  EXPECT_EQ(platform_.registry.open_keys(), 0u);
}

TEST_F(ConsumerThreadTest, AFailedCookDuringCleanUpIsLoggedAndTheRestIsWorkedThrough) {
  TargetConsumer* consumer = MakeConsumer();
  consumer->Progress = {0x80, 100, 4};
  RawEvent* without_text = AllocateRawEvent();
  without_text->dwTimeStamp = 99;
  Place(consumer, {without_text, MakeEvent(101, 5)});
  EXPECT_EQ(CleanupTargetConsumerThread(consumer), 0u);
  EXPECT_TRUE(Logged("CleanupTargetConsumerThread func call CookRawEvent failed(0x1f)\r\n"));
  EXPECT_THAT(host_.Texts(), ElementsAre("101/5"));
  FreeRawEvent(without_text);
}

TEST_F(ConsumerThreadTest, AFailedCookIsAnErrorOfTheThreadAndInformationOfTheCleanUp) {
  WrapLogInit(LOG_INFO, nullptr);
  TargetConsumer* consumer = AllocateTargetConsumer(&table_, provider_, 0x80);
  consumer->hWakeEvent = threads_.CreateEventW(false, false);
  threads_.SetEvent(table_.hStopEvent);
  StorePosition(u"0x0000000000000080", {0x80, 100, 4});
  RawEvent* without_text = AllocateRawEvent();
  Place(consumer, {without_text});
  platform_.system.ClearDebug();
  EXPECT_EQ(RawEventDealThread(consumer), 0u);
  EXPECT_TRUE(platform_.system.DebugLines().empty());
  InitializeListHead(&without_text->Link);
  Place(consumer, {without_text});
  EXPECT_EQ(CleanupTargetConsumerThread(consumer), 0u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
  FreeRawEvent(without_text);
  FreeTargetConsumer(consumer);
}

TEST_F(ConsumerThreadTest, ConsumersOfOneProviderDeliverSideBySide) {
  StartConsumer(0x80);
  StartConsumer(0x100);
  ASSERT_EQ(InsertRawEvent(&table_, MakeEvent(1, 7, 8, "waits"), &provider_, 0x80), 0u);
  ASSERT_EQ(InsertRawEvent(&table_, MakeEvent(1, 1, 8, "at once"), &provider_, 0x100), 0u);
  EXPECT_TRUE(platform_.time.RunUntil([&] { return host_.Texts().size() == 2; }));
  EXPECT_THAT(host_.Texts(), ElementsAre("at once", "waits"));
}

}  // namespace
}  // namespace varnel

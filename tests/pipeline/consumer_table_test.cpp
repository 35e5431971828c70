#include "pipeline/consumer_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/pipeline/pipeline_fixture.h"

namespace varnel {
namespace {

using ::testing::ElementsAre;

std::atomic<int> g_threads_begun{0};

std::uint32_t EndAtOnce(void* /*consumer*/) {
  ++g_threads_begun;
  return 0;
}

std::uint32_t WaitForWakeAndStop(void* parameter) {
  auto* consumer = static_cast<TargetConsumer*>(parameter);
  platform::ThreadsPort().WaitForSingleObject(consumer->hWakeEvent, platform::kInfinite);
  ++g_threads_begun;
  return 0;
}

class ConsumerTableTest : public testing::PipelineTest {
 protected:
  ConsumerTableTest() { g_threads_begun = 0; }
  ~ConsumerTableTest() override { StopConsumers(); }

  std::uint32_t Create(std::uint64_t keyword) {
    return CheckAndCreateTargetConsumerThread(&provider_, keyword, &table_, EndAtOnce);
  }

  std::vector<std::uint64_t> Keywords() {
    SharedLock lock(table_.TableLock);
    std::vector<std::uint64_t> keywords;
    for (ListEntry* e = table_.ConsumerList.Flink; e != &table_.ConsumerList; e = e->Flink) {
      keywords.push_back(ConsumerFromLink(e)->dwKeyWord);
    }
    return keywords;
  }

  TargetConsumer* First() {
    SharedLock lock(table_.TableLock);
    return ConsumerFromLink(table_.ConsumerList.Flink);
  }
};

TEST_F(ConsumerTableTest, AConsumerIsCreatedWithItsThreadAtTheEndOfTheList) {
  EXPECT_EQ(Create(0x80), 0u);
  EXPECT_EQ(Create(0x100), 0u);
  EXPECT_THAT(Keywords(), ElementsAre(0x80, 0x100));
  EXPECT_EQ(table_.dwConsumerCount, 2u);
  EXPECT_EQ(threads_.created_count(), 2u);
  TargetConsumer* consumer = First();
  EXPECT_EQ(consumer->pTable, &table_);
  EXPECT_EQ(consumer->ProviderGuid, provider_);
  EXPECT_NE(consumer->hThread, nullptr);
  EXPECT_NE(consumer->hWakeEvent, nullptr);
}

TEST_F(ConsumerTableTest, AConsumerThatExistsIsLeftAsItIs) {
  EXPECT_EQ(Create(0x80), 0u);
  EXPECT_EQ(Create(0x80), 0u);
  EXPECT_EQ(table_.dwConsumerCount, 1u);
}

TEST_F(ConsumerTableTest, KeywordsThatDifferInTheLowThreeBitsNameOneConsumer) {
  EXPECT_EQ(Create(0x87), 0u);
  EXPECT_EQ(Create(0x80), 0u);
  EXPECT_THAT(Keywords(), ElementsAre(0x80));
}

TEST_F(ConsumerTableTest, AnEventWithoutAModuleBitHasAConsumerOfItsOwn) {
  EXPECT_EQ(Create(0x80), 0u);
  EXPECT_EQ(Create(0x7), 0u);
  EXPECT_THAT(Keywords(), ElementsAre(0x80, 0));
}

TEST_F(ConsumerTableTest, TheSameKeywordOfAnotherProviderIsAnotherConsumer) {
  const GUID other{1, 2, 3, {}};
  EXPECT_EQ(Create(0x80), 0u);
  EXPECT_EQ(CheckAndCreateTargetConsumerThread(&other, 0x80, &table_, EndAtOnce), 0u);
  EXPECT_EQ(table_.dwConsumerCount, 2u);
}

TEST_F(ConsumerTableTest, NullArgumentsGive87) {
  EXPECT_EQ(CheckAndCreateTargetConsumerThread(nullptr, 8, &table_, EndAtOnce), 87u);
  EXPECT_EQ(CheckAndCreateTargetConsumerThread(&provider_, 8, nullptr, EndAtOnce), 87u);
  EXPECT_EQ(CheckAndCreateTargetConsumerThread(&provider_, 8, &table_, nullptr), 87u);
  EXPECT_EQ(table_.dwConsumerCount, 0u);
}

TEST_F(ConsumerTableTest, WithoutMemoryTheResultIs14AndTheTableIsUnchanged) {
  platform_.system.FailAllocation(1);
  EXPECT_EQ(Create(0x80), 14u);
  EXPECT_THAT(Keywords(), ElementsAre());
  EXPECT_EQ(table_.dwConsumerCount, 0u);
  EXPECT_EQ(Create(0x80), 0u) << "the next event of the key tries again";
}

TEST_F(ConsumerTableTest, AFailedEventGivesItsErrorAndTheNextEventOfTheKeyTriesAgain) {
  threads_.create_event_error = 1450;
  EXPECT_EQ(Create(0x80), 1450u);
  EXPECT_THAT(Keywords(), ElementsAre());
  EXPECT_EQ(platform_.system.heap_blocks(), 0);
  threads_.create_event_error.reset();
  EXPECT_EQ(Create(0x80), 0u);
}

TEST_F(ConsumerTableTest, AFailedThreadGivesItsErrorAndClosesTheWakeEvent) {
  const std::size_t open = platform_.handles.open_count();
  threads_.create_thread_error = 1455;
  EXPECT_EQ(Create(0x80), 1455u);
  EXPECT_THAT(Keywords(), ElementsAre());
  EXPECT_EQ(platform_.handles.open_count(), open);
  EXPECT_EQ(platform_.system.heap_blocks(), 0);
}

TEST_F(ConsumerTableTest, AFailureThatLeavesNoErrorLeavesTheTableUnchangedToo) {
  const std::size_t open = platform_.handles.open_count();
  threads_.create_event_error = 0;
  EXPECT_EQ(Create(0x80), 0u);
  threads_.create_event_error.reset();
  threads_.create_thread_error = 0;
  EXPECT_EQ(Create(0x80), 0u);
  EXPECT_THAT(Keywords(), ElementsAre());
  EXPECT_EQ(table_.dwConsumerCount, 0u);
  EXPECT_EQ(platform_.handles.open_count(), open);
  EXPECT_EQ(platform_.system.heap_blocks(), 0);
  threads_.create_thread_error.reset();
  EXPECT_EQ(Create(0x80), 0u);
  EXPECT_THAT(Keywords(), ElementsAre(0x80)) << "the next event of the key tries again";
}

TEST_F(ConsumerTableTest, TheWakeEventStartsClearAndClearsItselfBehindAWait) {
  ASSERT_EQ(Create(0x80), 0u);
  const platform::HANDLE wake = First()->hWakeEvent;
  EXPECT_EQ(threads_.WaitForSingleObject(wake, 0), platform::kWaitTimeout);
  ASSERT_EQ(InsertRawEvent(&table_, MakeEvent(5, 1), &provider_, 0x80), 0u);
  EXPECT_EQ(threads_.WaitForSingleObject(wake, 0), platform::kWaitObject0);
  EXPECT_EQ(threads_.WaitForSingleObject(wake, 0), platform::kWaitTimeout);
}

TEST_F(ConsumerTableTest, AnInsertionQueuesTheEventAndWakesTheConsumer) {
  ASSERT_EQ(CheckAndCreateTargetConsumerThread(&provider_, 0x80, &table_, WaitForWakeAndStop), 0u);
  EXPECT_EQ(InsertRawEvent(&table_, MakeEvent(5, 1), &provider_, 0x87), 0u);
  EXPECT_TRUE(platform_.time.RunUntil([] { return g_threads_begun == 1; }));
  EXPECT_THAT(QueuedTimes(First()), ElementsAre(5));
}

TEST_F(ConsumerTableTest, AnInsertionWithoutAWakeEventOnlyQueues) {
  ASSERT_EQ(Create(0x80), 0u);
  platform_.system.CloseHandle(First()->hWakeEvent);
  First()->hWakeEvent = nullptr;
  EXPECT_EQ(InsertRawEvent(&table_, MakeEvent(5, 1), &provider_, 0x80), 0u);
  EXPECT_THAT(QueuedTimes(First()), ElementsAre(5));
}

TEST_F(ConsumerTableTest, AnEventForAKeyWithoutAConsumerGives1168AndStaysTheCallers) {
  ASSERT_EQ(Create(0x80), 0u);
  RawEvent* event = MakeEvent(5, 1);
  EXPECT_EQ(InsertRawEvent(&table_, event, &provider_, 0x100), 1168u);
  EXPECT_EQ(DestoryRawEvent(event), 0u);
}

TEST_F(ConsumerTableTest, InsertingNullGives87) {
  RawEvent* event = MakeEvent(5, 1);
  EXPECT_EQ(InsertRawEvent(nullptr, event, &provider_, 8), 87u);
  EXPECT_EQ(InsertRawEvent(&table_, nullptr, &provider_, 8), 87u);
  EXPECT_EQ(InsertRawEvent(&table_, event, nullptr, 8), 87u);
  DestoryRawEvent(event);
}

}  // namespace
}  // namespace varnel

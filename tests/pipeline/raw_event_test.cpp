#include "pipeline/raw_event.h"

#include <gtest/gtest.h>

#include "tests/pipeline/pipeline_fixture.h"

namespace varnel {
namespace {

class RawEventTest : public testing::PipelineTest {};

TEST_F(RawEventTest, DestroyingFreesTheTextAndTheRecord) {
  EXPECT_EQ(DestoryRawEvent(MakeEvent(1, 1)), 0u);
}

TEST_F(RawEventTest, DestroyingNullGives31) {
  EXPECT_EQ(DestoryRawEvent(nullptr), 31u);
}

TEST_F(RawEventTest, DestroyingARecordWithoutTextGives31AndTheRecordStaysAllocated) {
  RawEvent* event = AllocateRawEvent();
  EXPECT_EQ(DestoryRawEvent(event), 31u);
  EXPECT_EQ(platform_.system.heap_blocks(), 1);
  FreeRawEvent(event);
}

TEST_F(RawEventTest, DestroyingDoesNotUnlink) {
  TargetConsumer* consumer = MakeConsumer();
  RawEvent* event = MakeEvent(1, 1);
  Place(consumer, {event});
  ExclusiveLock lock(consumer->QueueLock);
  ListEntry* const first = consumer->Queue.Flink;
  DestoryRawEvent(event);
  EXPECT_EQ(consumer->Queue.Flink, first);
  InitializeListHead(&consumer->Queue);
}

TEST_F(RawEventTest, WithoutMemoryThereIsNoRecord) {
  platform_.system.FailAllocation(1);
  EXPECT_EQ(AllocateRawEvent(), nullptr);
}

}  // namespace
}  // namespace varnel

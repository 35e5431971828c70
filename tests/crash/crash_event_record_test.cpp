#include "crash/crash_event_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using ::testing::ElementsAre;

class CrashEventRecordTest : public ::testing::Test {
 protected:
  CrashEventRecordTest() { InitializeListHead(&list_); }
  ~CrashEventRecordTest() override {
    while (!IsListEmpty(&list_)) FreeFirstCrashEvent(&list_);
    EXPECT_EQ(machine_.system.heap_blocks(), 0);
  }

  CrashEventRecord* Insert(std::uint64_t time) {
    CrashEventRecord* const record = AllocateCrashEvent();
    record->TimeStamp = time;
    InsertCrashEventSorted(record, &list_);
    return record;
  }
  std::vector<std::uint64_t> Times() {
    std::vector<std::uint64_t> times;
    for (ListEntry* at = list_.Flink; at != &list_; at = at->Flink) times.push_back(CrashEventFromLink(at)->TimeStamp);
    return times;
  }
  std::vector<std::uint64_t> TimesBackwards() {
    std::vector<std::uint64_t> times;
    for (ListEntry* at = list_.Blink; at != &list_; at = at->Blink) times.push_back(CrashEventFromLink(at)->TimeStamp);
    return times;
  }

  testing::ScriptedPlatform machine_;
  ListEntry list_;
};

TEST_F(CrashEventRecordTest, ANewRecordIsCleared) {
  CrashEventRecord* const record = Insert(0);
  EXPECT_EQ(record->EventId, 0u);
  EXPECT_EQ(record->BugcheckCode, 0u);
  EXPECT_EQ(record->BugcheckParameter1, 0u);
  EXPECT_EQ(record->BugcheckParameter4, 0u);
}

TEST_F(CrashEventRecordTest, WithoutMemoryThereIsNoRecord) {
  machine_.system.FailAllocation(1);
  EXPECT_EQ(AllocateCrashEvent(), nullptr);
}

TEST_F(CrashEventRecordTest, RecordsThatComeNewestFirstStandInThatOrder) {
  for (const std::uint64_t time : {10u, 8u, 5u}) Insert(time);
  EXPECT_THAT(Times(), ElementsAre(10, 8, 5));
  EXPECT_THAT(TimesBackwards(), ElementsAre(5, 8, 10));
}

TEST_F(CrashEventRecordTest, ARecordOutOfOrderStandsOnePlaceFurtherBackThanASortWouldPutIt) {
  for (const std::uint64_t time : {10u, 8u, 5u, 9u}) Insert(time);
  EXPECT_THAT(Times(), ElementsAre(10, 8, 9, 5));
  EXPECT_THAT(TimesBackwards(), ElementsAre(5, 9, 8, 10));
}

TEST_F(CrashEventRecordTest, TheNewestOfAllStandsBehindTheFirstOlderOne) {
  for (const std::uint64_t time : {10u, 11u}) Insert(time);
  EXPECT_THAT(Times(), ElementsAre(10, 11));
}

TEST_F(CrashEventRecordTest, TiesStandInTheOrderInWhichTheyCame) {
  CrashEventRecord* const first = Insert(7);
  CrashEventRecord* const second = Insert(7);
  EXPECT_EQ(list_.Flink, &first->link);
  EXPECT_EQ(list_.Blink, &second->link);
}

}  // namespace
}  // namespace varnel

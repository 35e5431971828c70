#include "tests/pipeline/order_replay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/pipeline/pipeline_fixture.h"
#include "tests/support/order_recorder.h"

namespace varnel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Fate = ReplayedEvent::Fate;

/// One file for the program: the module's side maps it at its first record.
const std::string& RecordPath() {
  static const std::string path = [] {
    std::string made = (std::filesystem::temp_directory_path() / "varnel-order-XXXXXX").string();
    close(mkstemp(made.data()));
    EXPECT_TRUE(MakeOrderRecordFile(made, 10000));
    setenv("VARNEL_ORDER_RECORD", made.c_str(), 1);
    std::atexit([] { std::filesystem::remove(std::getenv("VARNEL_ORDER_RECORD")); });
    return made;
  }();
  return path;
}

std::vector<std::string> Told(const Replay& replay) {
  std::vector<std::string> told;
  for (const ReplayedEvent& event : replay.events) {
    const char* const names[] = {"delivered", "destroyed", "taken along", "queued"};
    told.push_back(std::to_string(event.time_stamp) + "/" + std::to_string(event.counter) + " " +
                   names[static_cast<int>(event.fate)]);
  }
  return told;
}

OrderRecord Record(OrderRecordKind kind, std::uint64_t time_stamp, std::uint32_t counter, std::uint64_t position = 0,
                   std::uint32_t position_counter = 0, std::uint32_t tries = 0) {
  OrderRecord record;
  record.kind = kind;
  record.process_id = 1;
  record.keyword = 0x80;
  record.time_stamp = time_stamp;
  record.counter = counter;
  record.position_time_stamp = position;
  record.position_counter = position_counter;
  record.tries = tries;
  return record;
}

OrderRecord Insertion(std::uint64_t time_stamp, std::uint32_t counter) {
  return Record(OrderRecordKind::kInsertion, time_stamp, counter);
}

class OrderReplayTest : public PipelineTest {
 protected:
  OrderReplayTest() : before_((RecordPath(), ReadOrderRecords(RecordPath()).size())) {}

  Replay ReplayOfThisTest() {
    std::vector<OrderRecord> records = ReadOrderRecords(RecordPath());
    records.erase(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(before_));
    return ReplayOrderRecords(records);
  }

 private:
  std::size_t before_;
};

TEST_F(OrderReplayTest, WhatTheCodeDidIsWhatTheModelDoesWithTheRecord) {
  TargetConsumer* consumer = MakeConsumer();
  consumer->Progress.dwTimeStamp = 100;
  consumer->Progress.dwCounter = 4;
  threads_.on_sleep = [&] {
    if (threads_.sleeps() == 2) Place(consumer, {MakeEvent(103, 8)});
  };
  Place(consumer, {MakeEvent(99, 3), MakeEvent(100, 4), MakeEvent(101, 5), MakeEvent(102, 7), MakeEvent(200, 9)});
  for (int i = 0; i < 4; ++i) EXPECT_EQ(Cook(consumer), 0u);
  const Replay replay = ReplayOfThisTest();
  EXPECT_THAT(replay.disagreements, IsEmpty());
  EXPECT_THAT(Told(replay), ElementsAre("99/3 destroyed", "100/4 destroyed", "101/5 taken along", "102/7 delivered",
                                        "200/9 delivered", "103/8 queued"));
  EXPECT_THAT(host_.Texts(), ElementsAre("102/7", "200/9"));
  lost_blocks_ = 1;
}

TEST_F(OrderReplayTest, AnotherProcessBeginsWithEmptyQueuesAndThePositionOfItsFirstLook) {
  const Replay replay =
      ReplayOrderRecords({Record(OrderRecordKind::kProcess, 0, 0), Insertion(10, 1), Insertion(11, 2),
                          Record(OrderRecordKind::kLook, 10, 1, 9, 0), Record(OrderRecordKind::kProcess, 0, 0),
                          Insertion(11, 2), Record(OrderRecordKind::kLook, 11, 2, 10, 1)});
  EXPECT_THAT(replay.disagreements, IsEmpty());
  EXPECT_THAT(Told(replay), ElementsAre("10/1 delivered", "11/2 queued", "11/2 delivered"));
}

TEST_F(OrderReplayTest, AModuleThatLooksAtAnotherEventDisagrees) {
  const Replay replay =
      ReplayOrderRecords({Insertion(10, 1), Insertion(11, 2), Record(OrderRecordKind::kLook, 11, 2, 9, 0)});
  EXPECT_THAT(replay.disagreements, ElementsAre(::testing::HasSubstr("another event leads")));
}

TEST_F(OrderReplayTest, APositionThatDidNotMoveDisagrees) {
  const Replay replay =
      ReplayOrderRecords({Insertion(10, 1), Insertion(11, 2), Record(OrderRecordKind::kLook, 10, 1, 9, 0),
                          Record(OrderRecordKind::kLook, 11, 2, 9, 0)});
  EXPECT_THAT(replay.disagreements, ElementsAre(::testing::HasSubstr("the positions differ")));
}

TEST_F(OrderReplayTest, ARecordThatWasNeverFinishedIsPassedOver) {
  EXPECT_THAT(ReplayOrderRecords({Record(OrderRecordKind::kNone, 10, 1)}).events, IsEmpty());
}

TEST(OrderRecorder, WithoutAFileThereAreNoRecords) {
  EXPECT_THAT(ReadOrderRecords("/nonexistent/record"), IsEmpty());
  EXPECT_FALSE(MakeOrderRecordFile("/nonexistent/record", 1));
}

}  // namespace
}  // namespace varnel::testing

#include "tests/scenario/kill_verdict.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace varnel::scenario {
namespace {

using Kind = TraceRecord::Kind;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::OrderRecord;
using testing::OrderRecordKind;

constexpr std::uint64_t kModule = 0x80;
constexpr std::uint32_t kLastTry = 10;

std::uint64_t TimeOf(std::uint32_t number) {
  return number * 100;
}

/// Runs over ten events of one consumer, two in a buffer: events 1 and 2 in buffer 1, 3 and 4 in buffer 2, ...
class Evidence {
 public:
  Evidence() {
    WrittenConsumer consumer;
    consumer.keyword = kModule;
    consumer.name = "one";
    for (std::uint32_t number = 1; number <= 10; ++number) {
      consumer.events.push_back({TimeOf(number), (number + 1) / 2});
    }
    evidence_.consumers.push_back(std::move(consumer));
  }

  /// The next run begins with a live trace from buffer `open` on.
  Evidence& Run() {
    evidence_.runs.emplace_back();
    evidence_.runs.back().texts.resize(1);
    return *this;
  }
  Evidence& Live(std::uint64_t open) {
    TraceRecord record;
    record.kind = Kind::kOpened;
    record.live = 1;
    record.open = record.open_behind = open;
    return Put(record);
  }
  /// The file gives everything up to event `number`, while buffer `open` is the open one.
  Evidence& FileBuffer(std::uint32_t number, std::uint64_t open) {
    TraceRecord record;
    record.kind = Kind::kBuffer;
    record.last_time = TimeOf(number);
    record.open = open;
    return Put(record);
  }
  Evidence& FileEnds() {
    TraceRecord record;
    record.kind = Kind::kEnded;
    return Put(record);
  }
  Evidence& Insert(std::uint32_t number) { return Put(QueueRecord(OrderRecordKind::kInsertion, number)); }
  /// A look at `number` with the position at event `position` (0: none yet).
  Evidence& Look(std::uint32_t number, std::uint32_t position, std::uint32_t tries = 0) {
    OrderRecord record = QueueRecord(OrderRecordKind::kLook, number);
    record.position_time_stamp = TimeOf(position);
    record.position_counter = position;
    record.tries = tries;
    return Put(record);
  }
  Evidence& Text(std::uint32_t number) {
    evidence_.runs.back().texts[0].push_back(number);
    return *this;
  }
  /// The events come from `from` to `to`, each delivered at once.
  Evidence& Deliver(std::uint32_t from, std::uint32_t to) {
    for (std::uint32_t number = from; number <= to; ++number) Insert(number).Look(number, number - 1).Text(number);
    return *this;
  }
  KillVerdict Verdict() {
    evidence_.runs.back().killed = false;
    return Judge(evidence_);
  }

 private:
  static OrderRecord QueueRecord(OrderRecordKind kind, std::uint32_t number) {
    OrderRecord record;
    record.kind = kind;
    record.keyword = kModule;
    record.time_stamp = TimeOf(number);
    record.counter = number;
    return record;
  }
  Evidence& Put(const TraceRecord& record) {
    evidence_.runs.back().traces.push_back(record);
    return *this;
  }
  Evidence& Put(const OrderRecord& record) {
    evidence_.runs.back().order.push_back(record);
    return *this;
  }
  KillEvidence evidence_;
};

TEST(KillVerdict, FindsNothingWhereEachEventCameOnce) {
  const KillVerdict verdict =
      Evidence().Run().Live(1).FileEnds().Deliver(1, 4).Run().Live(3).FileEnds().Deliver(5, 10).Verdict();
  EXPECT_THAT(verdict.failures, IsEmpty());
  EXPECT_EQ(verdict.written, 10u);
  EXPECT_EQ(verdict.delivered, 10u);
  EXPECT_EQ(verdict.repeats, 0u);
}

TEST(KillVerdict, AnEventThatTheLiveTraceLeftOutIsAFailure) {
  const KillVerdict verdict =
      Evidence().Run().Live(1).FileEnds().Deliver(1, 4).Insert(6).Look(6, 4, kLastTry).Text(6).Deliver(7, 10).Verdict();
  EXPECT_THAT(verdict.failures, ElementsAre(HasSubstr("one #5, kill 1: lost, though the live trace was open")));
}

TEST(KillVerdict, AnEventThatTheFileLeftOutIsAFailure) {
  Evidence evidence;
  evidence.Run().Live(1).FileEnds().Deliver(1, 2);
  evidence.Run().Live(4).Insert(4).Look(4, 2, kLastTry).Text(4).Deliver(5, 6).FileBuffer(6, 4).FileEnds();
  EXPECT_THAT(evidence.Deliver(7, 10).Verdict().failures,
              ElementsAre(HasSubstr("one #3, kill 2: lost, though the file was read beyond it")));
}

TEST(KillVerdict, AnEventThatNoRunEverSawIsAFailure) {
  const KillVerdict verdict = Evidence().Run().Live(1).FileEnds().Deliver(1, 9).Verdict();
  EXPECT_THAT(verdict.failures, ElementsAre(HasSubstr("one #10")));
}

TEST(KillVerdict, ABufferThatClosedBetweenTheFilesEndAndTheLiveTraceMayBeLost) {
  Evidence evidence;
  evidence.Run().Deliver(1, 2).FileBuffer(2, 2).FileEnds().Live(3);
  evidence.Insert(5).Look(5, 2, kLastTry).Text(5).Deliver(6, 10);
  const KillVerdict verdict = evidence.Verdict();
  EXPECT_THAT(verdict.failures, IsEmpty());
  EXPECT_EQ(verdict.lost_between, 2u);
}

TEST(KillVerdict, ABufferThatClosedBeforeTheFilesEndMayNotBeLost) {
  Evidence evidence;
  evidence.Run().Deliver(1, 2).FileBuffer(2, 3).FileEnds().Live(3);
  evidence.Insert(5).Look(5, 2, kLastTry).Text(5).Deliver(6, 10);
  EXPECT_THAT(evidence.Verdict().failures, ElementsAre(HasSubstr("#3, kill 1: lost, though its buffer closed before"),
                                                       HasSubstr("#4, kill 1: lost, though its buffer closed before")));
}

TEST(KillVerdict, WithTheLiveTraceOpenFirstNothingMayBeLostBetween) {
  Evidence evidence;
  evidence.Run().Live(3).Deliver(1, 2).FileBuffer(2, 2).FileEnds();
  evidence.Insert(5).Look(5, 2, kLastTry).Text(5).Deliver(6, 10);
  EXPECT_EQ(evidence.Verdict().failures.size(), 2u);
}

TEST(KillVerdict, WhatAKillLeftUnreadBehindLaterLiveEventsIsToldApart) {
  Evidence evidence;
  evidence.Run().Live(1).FileEnds().Deliver(1, 2);
  evidence.Run().Live(3).Insert(5).Look(5, 2, kLastTry).Text(5);
  evidence.Run().Live(4).Insert(3).Look(3, 5).Insert(4).Look(4, 5).FileBuffer(6, 4).FileEnds().Deliver(6, 10);
  const KillVerdict verdict = evidence.Verdict();
  EXPECT_THAT(verdict.failures, IsEmpty());
  EXPECT_EQ(verdict.lost_unread, 2u);
}

TEST(KillVerdict, TheEventBehindARepeatIsLostByTheOrder) {
  Evidence evidence;
  evidence.Run().Live(1).FileEnds().Deliver(1, 2);
  evidence.Run().Live(2).Insert(2).Insert(3).Look(2, 2).Insert(4).Look(4, 2, kLastTry).Text(4).Deliver(5, 10);
  const KillVerdict verdict = evidence.Verdict();
  EXPECT_THAT(verdict.failures, IsEmpty());
  EXPECT_EQ(verdict.lost_by_order, 1u);
}

TEST(KillVerdict, TheLastTextOfAKilledRunMayComeAgainWhenItsPositionWasNotStored) {
  const KillVerdict verdict =
      Evidence().Run().Live(1).FileEnds().Deliver(1, 4).Run().Live(3).FileEnds().Deliver(4, 10).Verdict();
  EXPECT_THAT(verdict.failures, IsEmpty());
  EXPECT_EQ(verdict.repeats, 1u);
}

TEST(KillVerdict, AnEarlierTextMayNotComeAgainAndThePositionMayNotGoBackSoFar) {
  const KillVerdict verdict =
      Evidence().Run().Live(1).FileEnds().Deliver(1, 4).Run().Live(2).FileEnds().Deliver(3, 10).Verdict();
  EXPECT_THAT(verdict.failures, ElementsAre(HasSubstr("the run begins at position"),
                                            HasSubstr("#3, kill 2: came again"), HasSubstr("#4, kill 2: came again")));
}

TEST(KillVerdict, ATextWhoseDeliveryTheKillCutMustComeAgain) {
  Evidence evidence;
  evidence.Run().Live(1).FileEnds().Deliver(1, 3).Insert(4).Look(4, 3);
  evidence.Run().Live(3).FileEnds().Deliver(5, 10);
  // Event 4 never came, so the position may not stand behind it.
  EXPECT_THAT(evidence.Verdict().failures,
              ElementsAre(HasSubstr("the run begins at position"), HasSubstr("one #4, kill 2: lost")));
}

TEST(KillVerdict, ATextThatTheModelDoesNotDeliverIsAFailure) {
  const KillVerdict verdict = Evidence().Run().Live(1).FileEnds().Deliver(1, 10).Text(10).Verdict();
  EXPECT_THAT(verdict.failures, ElementsAre(HasSubstr("the texts are not those that the model delivers"),
                                            HasSubstr("#10, kill 1: came again")));
}

TEST(KillVerdict, AModuleThatLooksAtAnotherEventThanTheModelIsAFailure) {
  // The earlier event belongs behind the later one.
  const KillVerdict verdict = Evidence()
                                  .Run()
                                  .Live(1)
                                  .FileEnds()
                                  .Deliver(1, 8)
                                  .Insert(10)
                                  .Insert(9)
                                  .Look(9, 8)
                                  .Text(9)
                                  .Look(10, 9)
                                  .Text(10)
                                  .Verdict();
  ASSERT_FALSE(verdict.failures.empty());
  EXPECT_THAT(verdict.failures[0], HasSubstr("kill 1: module and model part"));
}

}  // namespace
}  // namespace varnel::scenario

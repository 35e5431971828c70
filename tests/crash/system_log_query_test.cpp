#include "crash/system_log_query.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "crash/crash_event_record.h"
#include "tests/crash/crash_fixture.h"

namespace varnel {
namespace {

using testing::At;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::LogEventXml;
using ::testing::Pair;

class SystemLogQueryTest : public testing::CrashTest {
 protected:
  SystemLogQueryTest() { InitializeListHead(&list_); }
  ~SystemLogQueryTest() override { Forget(); }

  void Forget() {
    while (!IsListEmpty(&list_)) FreeFirstCrashEvent(&list_);
  }
  /// Number and time of each record.
  std::vector<std::pair<std::uint32_t, std::uint64_t>> Kept() {
    std::vector<std::pair<std::uint32_t, std::uint64_t>> kept;
    for (ListEntry* at = list_.Flink; at != &list_; at = at->Flink) {
      kept.emplace_back(CrashEventFromLink(at)->EventId, CrashEventFromLink(at)->TimeStamp);
    }
    return kept;
  }

  ListEntry list_;
};

TEST_F(SystemLogQueryTest, ANullListGives87) {
  EXPECT_EQ(QuerySystemLogEvents(nullptr), 87u);
  EXPECT_THAT(machine_.event_log.Queries(), IsEmpty());
}

TEST_F(SystemLogQueryTest, AsksTheSystemChannelForBootsAndCrashesNewestFirst) {
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  ASSERT_EQ(machine_.event_log.Queries().size(), 1u);
  const auto query = machine_.event_log.Queries().front();
  EXPECT_EQ(query.path, u"System");
  EXPECT_EQ(query.query, u"*[System[(EventID=12 or EventID=41)]]");
  EXPECT_EQ(query.flags, 0x201u);
}

TEST_F(SystemLogQueryTest, AnEmptyLogGivesAnEmptyListAndWritesNoMark) {
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_THAT(Kept(), IsEmpty());
  EXPECT_EQ(StoredMark(), 0u) << "as the first reading makes it";
  EXPECT_EQ(faults_.CountOf("RegSetValueExW"), 1u);
}

TEST_F(SystemLogQueryTest, KeepsBootsAndCrashesAndMovesTheMarkToTheNewest) {
  AddBoot(At(6));
  AddCrash(At(5));
  AddBoot(At(4));
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_THAT(Kept(), ElementsAre(Pair(12, At(6)), Pair(41, At(5)), Pair(12, At(4))));
  EXPECT_EQ(StoredMark(), At(6));
  Forget();
  ExpectNothingOpen();
}

TEST_F(SystemLogQueryTest, ACrashCarriesItsStopErrorAndABootNone) {
  machine_.event_log.AddEvent(LogEventXml("12", "2026-02-03T01:02:03Z", "<Data Name='BugcheckCode'>5</Data>"));
  AddCrash(At(1), 159);
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_EQ(CrashEventFromLink(list_.Flink)->BugcheckCode, 0u);
  const CrashEventRecord* const crash = CrashEventFromLink(list_.Blink);
  EXPECT_EQ(crash->BugcheckCode, 0x159u);
  EXPECT_EQ(crash->BugcheckParameter2, 0xFFFFA00B12345678u);
}

TEST_F(SystemLogQueryTest, ACrashThatIsNotNewerThanTheMarkIsToldAlready) {
  StoreMark(At(5));
  AddCrash(At(6));
  AddCrash(At(5));  // exactly the stored time
  AddCrash(At(4));
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_THAT(Kept(), ElementsAre(Pair(41, At(6))));
  EXPECT_EQ(StoredMark(), At(6));
}

TEST_F(SystemLogQueryTest, ABootIsKeptWhateverItsTimeAndTheMarkNeverFalls) {
  StoreMark(At(5));
  AddBoot(At(5));
  AddBoot(At(4));
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_THAT(Kept(), ElementsAre(Pair(12, At(5)), Pair(12, At(4))));
  EXPECT_EQ(StoredMark(), At(5));
  EXPECT_EQ(faults_.CountOf("RegSetValueExW"), 0u);
}

TEST_F(SystemLogQueryTest, AnEventOfAnotherNumberIsPassedOver) {
  machine_.event_log.AddEvent(LogEventXml("13", "2026-02-03T09:00:00Z", ""));
  AddBoot(At(4));
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_THAT(Kept(), ElementsAre(Pair(12, At(4))));
  EXPECT_EQ(StoredMark(), At(4));
}

TEST_F(SystemLogQueryTest, AnEventThatCannotBeParsedCountsForNothing) {
  AddBoot(At(4));
  machine_.event_log.AddEvent(u"no XML");
  machine_.event_log.AddEvent(LogEventXml("12", "2026", ""));
  AddBoot(At(3));
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_THAT(Kept(), ElementsAre(Pair(12, At(4)), Pair(12, At(3))));
}

TEST_F(SystemLogQueryTest, AnEventThatCannotBeRenderedIsSkippedAndMovesNoMark) {
  for (const unsigned nth : {1u, 2u}) {  // the question for the size, and the text itself
    faults_.Clear();
    machine_.event_log.ClearEvents();
    StoreMark(1);
    AddBoot(At(5));
    AddBoot(At(4));
    faults_.Fail({"EvtRender", nth, false, 15005});
    EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
    EXPECT_THAT(Kept(), ElementsAre(Pair(12, At(4))));
    EXPECT_EQ(StoredMark(), At(4));
    Forget();
    ExpectNothingOpen();
  }
}

TEST_F(SystemLogQueryTest, AnEventThatIsRenderedIntoNothingIsSkipped) {
  class Watched : public testing::FaultyEventLog {
   public:
    using FaultyEventLog::FaultyEventLog;
    bool EvtRender(platform::EVT_HANDLE context, platform::EVT_HANDLE event, std::uint32_t flags,
                   std::uint32_t buffer_size, void* buffer, std::uint32_t* used,
                   std::uint32_t* property_count) override {
      const bool rendered = FaultyEventLog::EvtRender(context, event, flags, buffer_size, buffer, used, property_count);
      // The size of the text, without the failure that asks for the room.
      return std::exchange(first_, false) || rendered;
    }

   private:
    bool first_ = true;
  };
  Watched log(&machine_.event_log, &faults_);
  platform::Platform ports = platform::CurrentPlatform();
  ports.event_log = &log;
  const platform::ScopedPlatform in_force(&ports);
  AddBoot(At(5));
  AddBoot(At(4));
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_THAT(Kept(), ElementsAre(Pair(12, At(4))));
  EXPECT_EQ(faults_.CountOf("EvtRender"), 3u);
  EXPECT_EQ(machine_.event_log.open_handles(), 0u);
}

TEST_F(SystemLogQueryTest, AnEventWithoutMemoryForItsTextIsSkipped) {
  AddBoot(At(5));
  AddBoot(At(4));
  faults_.Fail("HeapAlloc", 8);
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_THAT(Kept(), ElementsAre(Pair(12, At(4))));
  EXPECT_EQ(StoredMark(), At(4));
}

/// A heap that has no memory for the first record.
class NoFirstRecord : public testing::FaultySystem {
 public:
  using FaultySystem::FaultySystem;

  void* HeapAlloc(std::size_t size) override {
    return size == sizeof(CrashEventRecord) && !std::exchange(failed_, true) ? nullptr : FaultySystem::HeapAlloc(size);
  }

 private:
  bool failed_ = false;
};

TEST_F(SystemLogQueryTest, AnEventWithoutMemoryForItsRecordIsSkipped) {
  NoFirstRecord system(&machine_.system, &faults_);
  platform::Platform ports = platform::CurrentPlatform();
  ports.system = &system;
  const platform::ScopedPlatform in_force(&ports);
  AddCrash(At(5));
  AddBoot(At(4));
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_THAT(Kept(), ElementsAre(Pair(12, At(4))));
  EXPECT_EQ(StoredMark(), At(4)) << "so the crash comes at the next start";
}

TEST_F(SystemLogQueryTest, AMarkThatCannotBeMadeGivesItsCodeAndReadsNothing) {
  AddCrash(At(5));
  faults_.Fail("RegCreateKeyExW", 5);
  EXPECT_EQ(QuerySystemLogEvents(&list_), 5u);
  EXPECT_THAT(Kept(), IsEmpty());
  EXPECT_THAT(machine_.event_log.Queries(), IsEmpty());
}

TEST_F(SystemLogQueryTest, AFailedQueryGivesTheLastError) {
  faults_.Fail("EvtQuery", 15007);
  EXPECT_EQ(QuerySystemLogEvents(&list_), 15007u);
  EXPECT_EQ(faults_.CountOf("EvtClose"), 0u);
  ExpectNothingOpen();
}

TEST_F(SystemLogQueryTest, AFailedNextEventGivesItsCodeAndWritesNoMark) {
  StoreMark(1);
  AddCrash(At(5));
  AddBoot(At(4));
  faults_.Fail({"EvtNext", 2, false, 1734});
  EXPECT_EQ(QuerySystemLogEvents(&list_), 1734u);
  EXPECT_EQ(StoredMark(), 1u);
  EXPECT_THAT(Kept(), ElementsAre(Pair(41, At(5)))) << "what was read so far is the caller's to free";
  Forget();
  ExpectNothingOpen();
}

TEST_F(SystemLogQueryTest, EventsAreFetchedOneAtATimeWithoutALimitOfTime) {
  class Watched : public testing::FaultyEventLog {
   public:
    using FaultyEventLog::FaultyEventLog;
    bool EvtNext(platform::EVT_HANDLE result_set, std::uint32_t count, platform::EVT_HANDLE* events,
                 std::uint32_t timeout_ms, std::uint32_t flags, std::uint32_t* returned) override {
      EXPECT_EQ(count, 1u);
      EXPECT_EQ(timeout_ms, platform::kInfinite);
      return FaultyEventLog::EvtNext(result_set, count, events, timeout_ms, flags, returned);
    }
  };
  Watched log(&machine_.event_log, &faults_);
  platform::Platform ports = platform::CurrentPlatform();
  ports.event_log = &log;
  const platform::ScopedPlatform in_force(&ports);
  AddBoot(At(5));
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_EQ(faults_.CountOf("EvtNext"), 2u);
}

TEST_F(SystemLogQueryTest, ASuccessWithoutAnEventEndsTheReading) {
  class Dry : public testing::FaultyEventLog {
   public:
    using FaultyEventLog::FaultyEventLog;
    bool EvtNext(platform::EVT_HANDLE, std::uint32_t, platform::EVT_HANDLE*, std::uint32_t, std::uint32_t,
                 std::uint32_t* returned) override {
      *returned = 0;
      return true;
    }
  };
  Dry log(&machine_.event_log, &faults_);
  platform::Platform ports = platform::CurrentPlatform();
  ports.event_log = &log;
  const platform::ScopedPlatform in_force(&ports);
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_EQ(machine_.event_log.open_handles(), 0u);
}

TEST_F(SystemLogQueryTest, TheNewest2000AreKeptAndNoMoreAreFetched) {
  for (std::uint64_t i = 0; i < 2010; ++i) AddBoot(At(20) - i * 10'000'000);
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_EQ(Kept().size(), 2000u);
  EXPECT_EQ(Kept().back().second, At(20) - 1999 * 10'000'000ull);
  EXPECT_EQ(faults_.CountOf("EvtNext"), 2000u);
  EXPECT_EQ(StoredMark(), At(20));
}

TEST_F(SystemLogQueryTest, WhatIsSkippedDoesNotCountTowardsThe2000) {
  StoreMark(At(21));
  for (std::uint64_t i = 0; i < 500; ++i) {
    AddCrash(At(20));  // told before
    machine_.event_log.AddEvent(u"no XML");
  }
  for (std::uint64_t i = 0; i < 2000; ++i) AddBoot(At(20) - i * 10'000'000);
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_EQ(Kept().size(), 2000u);
  EXPECT_EQ(faults_.CountOf("EvtNext"), 3000u);
}

TEST_F(SystemLogQueryTest, AnEventOutOfOrderStandsOnePlaceFurtherBack) {
  for (const std::uint16_t hour : {10, 8, 5, 9}) AddBoot(At(hour));
  EXPECT_EQ(QuerySystemLogEvents(&list_), 0u);
  EXPECT_THAT(Kept(), ElementsAre(Pair(12, At(10)), Pair(12, At(8)), Pair(12, At(9)), Pair(12, At(5))));
}

}  // namespace
}  // namespace varnel

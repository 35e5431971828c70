#include "host/crash_history.h"

#include <gtest/gtest.h>

#include "formats/iso_time.h"

namespace varnel::host {
namespace {

using formats::LoggedEvent;
using formats::LoggedEventData;

std::uint64_t At(const char* time) {
  return formats::ParseIsoTime(time).value();
}

LoggedEvent Event(std::uint64_t record, const char* provider, std::uint32_t id, const char* time,
                  std::vector<std::pair<std::string, std::string>> data = {}) {
  LoggedEvent event;
  event.record_id = record;
  event.provider_name = provider;
  event.event_id = id;
  event.time_created = At(time);
  event.computer = "pc";
  for (auto& [name, value] : data) event.data.push_back({LoggedEventData::Kind::kData, name, value});
  return event;
}

LoggedEvent Boot(std::uint64_t record, const char* time, const char* start) {
  return Event(record, "Microsoft-Windows-Kernel-General", 12, time, {{"StartTime", start}});
}

LoggedEvent Crash(std::uint64_t record, const char* time, std::vector<std::pair<std::string, std::string>> data) {
  return Event(record, "Microsoft-Windows-Kernel-Power", 41, time, std::move(data));
}

// A boot at 10:00, a last record at 11:00, and a boot at 11:05 that logs what a test adds.
CrashHistory TwoBoots() {
  CrashHistory history;
  history.Feed(Boot(1, "2024-03-01T10:00:01Z", "2024-03-01T10:00:00Z"));
  history.Pass(At("2024-03-01T11:00:00Z"));
  history.Feed(Boot(3, "2024-03-01T11:05:01Z", "2024-03-01T11:05:00Z"));
  return history;
}

TEST(CrashHistory, AStopErrorHasItsDecimalCodeAndItsParameters) {
  CrashHistory history = TwoBoots();
  history.Feed(Crash(4, "2024-03-01T11:05:02Z",
                     {{"BugcheckCode", "307"},
                      {"BugcheckParameter1", "0x1"},
                      {"BugcheckParameter2", "0x1e00"},
                      {"BugcheckParameter3", "0xfffff800576fb320"},
                      {"BugcheckParameter4", "0x0"}}));
  ASSERT_EQ(history.crashes().size(), 1u);
  const CrashSeen& crash = history.crashes()[0];
  EXPECT_EQ(crash.kind, CrashKind::kStopError);
  EXPECT_EQ(crash.code, 0x133u);
  EXPECT_EQ(crash.parameters, (std::array<std::uint64_t, 4>{1, 0x1e00, 0xfffff800576fb320, 0}));
  EXPECT_EQ(crash.computer, "pc");
  EXPECT_EQ(crash.boot_before->record_id, 1u);
  EXPECT_EQ(crash.boot_after->record_id, 3u);
}

TEST(CrashHistory, WithoutALastSignOfLifeTheLastRecordOfTheBootCounts) {
  CrashHistory history = TwoBoots();
  history.Feed(Crash(4, "2024-03-01T11:05:02Z", {{"BugcheckCode", "0"}}));
  const CrashSeen& crash = history.crashes().at(0);
  EXPECT_EQ(crash.last_seen, At("2024-03-01T11:00:00Z"));
  EXPECT_EQ(crash.uptime(), 36'000'000'000u);
  EXPECT_EQ(crash.downtime(), 3'000'000'000u);
}

TEST(CrashHistory, Event6008TellsTheLastSignOfLifeBeforeOrBehindEvent41) {
  // 2024-03-01 11:02:03.004, first in the machine's zone, then in UTC.
  LoggedEvent unexpected = Event(5, "EventLog", 6008, "2024-03-01T11:05:03Z");
  unexpected.data.push_back({LoggedEventData::Kind::kBinary, std::nullopt,
                             "E8070300050001001300020003000400E8070300050001000B00020003000400"});
  const std::uint64_t alive = At("2024-03-01T11:02:03.004Z");
  CrashHistory behind = TwoBoots();
  behind.Feed(Crash(4, "2024-03-01T11:05:02Z", {{"BugcheckCode", "10"}}));
  behind.Feed(unexpected);
  EXPECT_EQ(behind.crashes().at(0).last_seen, alive);
  CrashHistory before = TwoBoots();
  before.Feed(unexpected);
  before.Feed(Crash(6, "2024-03-01T11:05:04Z", {{"BugcheckCode", "10"}}));
  EXPECT_EQ(before.crashes().at(0).last_seen, alive);
}

TEST(CrashHistory, BytesThatAreNoTimeLeaveTheLastRecord) {
  LoggedEvent unexpected = Event(5, "EventLog", 6008, "2024-03-01T11:05:03Z");
  unexpected.data.push_back({LoggedEventData::Kind::kBinary, std::nullopt, "E80703zz"});
  CrashHistory history = TwoBoots();
  history.Feed(unexpected);
  history.Feed(Crash(6, "2024-03-01T11:05:04Z", {}));
  EXPECT_EQ(history.crashes().at(0).last_seen, At("2024-03-01T11:00:00Z"));
}

TEST(CrashHistory, AHeldPowerButtonIsToldByItsTimeOrItsMark) {
  CrashHistory history = TwoBoots();
  history.Feed(Crash(4, "2024-03-01T11:05:02Z", {{"PowerButtonTimestamp", "130849833260468750"}}));
  history.Feed(Crash(5, "2024-03-01T11:05:02Z", {{"LongPowerButtonPressDetected", "true"}}));
  history.Feed(Crash(6, "2024-03-01T11:05:02Z", {{"LongPowerButtonPressDetected", "false"}}));
  EXPECT_EQ(history.crashes().at(0).kind, CrashKind::kPowerButton);
  EXPECT_EQ(history.crashes().at(1).kind, CrashKind::kPowerButton);
  EXPECT_EQ(history.crashes().at(2).kind, CrashKind::kPowerLost);
}

TEST(CrashHistory, TheDumpIsTheOneThatEvent1001OfTheSameBootNames) {
  CrashHistory history = TwoBoots();
  history.Feed(Crash(4, "2024-03-01T11:05:02Z", {{"BugcheckCode", "10"}}));
  history.Feed(Event(5, "Microsoft-Windows-WER-SystemErrorReporting", 1001, "2024-03-01T11:05:09Z",
                     {{"param1", "0x0000000a (...)"}, {"param2", "C:\\Windows\\MEMORY.DMP"}}));
  history.Feed(Boot(6, "2024-03-01T12:00:01Z", "2024-03-01T12:00:00Z"));
  history.Feed(Event(7, "BugCheck", 1001, "2024-03-01T12:00:09Z", {{"param2", "C:\\other.dmp"}}));
  EXPECT_EQ(history.crashes().at(0).dump, "C:\\Windows\\MEMORY.DMP");
}

TEST(CrashHistory, ADumpNamedBeforeEvent41OrByAClassicSourceCountsToo) {
  CrashHistory history = TwoBoots();
  LoggedEvent named = Event(4, "BugCheck", 1001, "2024-03-01T11:05:02Z");
  named.data.push_back({LoggedEventData::Kind::kData, std::nullopt, "0x0000000a (...)"});
  named.data.push_back({LoggedEventData::Kind::kData, std::nullopt, "C:\\Windows\\Minidump\\a.dmp"});
  history.Feed(named);
  history.Feed(Crash(5, "2024-03-01T11:05:03Z", {}));
  EXPECT_EQ(history.crashes().at(0).dump, "C:\\Windows\\Minidump\\a.dmp");
}

TEST(CrashHistory, RecordsOfABootThatStandBeforeItsEvent12AreNotTheBootBefores) {
  CrashHistory history;
  history.Feed(Boot(1, "2024-03-01T10:00:01Z", "2024-03-01T10:00:00Z"));
  history.Pass(At("2024-03-01T11:00:00Z"));
  history.Feed(Event(3, "EventLog", 6009, "2024-03-01T11:05:03Z"));
  history.Feed(Event(4, "EventLog", 6005, "2024-03-01T11:05:03Z"));
  history.Feed(Boot(5, "2024-03-01T11:05:01Z", "2024-03-01T11:05:00Z"));
  history.Feed(Crash(6, "2024-03-01T11:05:02Z", {}));
  EXPECT_EQ(history.crashes().at(0).last_seen, At("2024-03-01T11:00:00Z"));
  EXPECT_EQ(history.crashes().at(0).downtime(), 3'000'000'000u);
}

TEST(CrashHistory, Event6008BeforeItsBootsEvent12SpeaksOfTheBootThatEnded) {
  // 2024-03-01 11:02:03.004 in UTC.
  LoggedEvent unexpected = Event(4, "EventLog", 6008, "2024-03-01T11:05:03Z");
  unexpected.data.push_back({LoggedEventData::Kind::kBinary, std::nullopt,
                             "E8070300050001001300020003000400E8070300050001000B00020003000400"});
  CrashHistory history;
  history.Feed(Boot(1, "2024-03-01T10:00:01Z", "2024-03-01T10:00:00Z"));
  history.Feed(Crash(2, "2024-03-01T10:00:02Z", {}));
  history.Feed(unexpected);
  history.Feed(Boot(5, "2024-03-01T11:05:01Z", "2024-03-01T11:05:00Z"));
  history.Feed(Crash(6, "2024-03-01T11:05:02Z", {}));
  EXPECT_EQ(history.crashes().at(0).last_seen, 0u);
  EXPECT_EQ(history.crashes().at(1).last_seen, At("2024-03-01T11:02:03.004Z"));
}

TEST(CrashHistory, EventsOfOtherProvidersWithTheSameNumbersDoNotCount) {
  CrashHistory history = TwoBoots();
  history.Feed(Event(4, "Microsoft-Windows-UserModePowerService", 12, "2024-03-01T11:06:00Z"));
  history.Feed(Event(5, "Somebody", 41, "2024-03-01T11:06:00Z"));
  EXPECT_TRUE(history.crashes().empty());
  history.Feed(Crash(6, "2024-03-01T11:07:00Z", {}));
  EXPECT_EQ(history.crashes().at(0).boot_after->record_id, 3u);
}

TEST(CrashHistory, AClockThatWasSetBackLeavesTheTimesUnknown) {
  CrashHistory history;
  history.Feed(Boot(1, "2024-03-01T10:00:01Z", "2024-03-01T10:00:00Z"));
  history.Pass(At("2024-03-01T11:00:00Z"));
  history.Feed(Boot(3, "2024-03-01T09:00:01Z", "2024-03-01T09:00:00Z"));
  history.Feed(Crash(4, "2024-03-01T09:00:02Z", {}));
  EXPECT_EQ(history.crashes().at(0).last_seen, 0u);
  EXPECT_EQ(history.crashes().at(0).uptime(), std::nullopt);
  EXPECT_EQ(history.crashes().at(0).downtime(), std::nullopt);
}

TEST(CrashHistory, ALogThatBeginsWithTheCrashKnowsNoBootBefore) {
  CrashHistory history;
  history.Feed(Crash(4, "2024-03-01T09:00:02Z", {}));
  EXPECT_EQ(history.crashes().at(0).boot_before.has_value(), false);
  EXPECT_EQ(history.crashes().at(0).boot_after.has_value(), false);
}

}  // namespace
}  // namespace varnel::host

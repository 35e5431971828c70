#include "platform/embedded/tools/log_writer.h"

#include <fstream>
#include <vector>

#include "formats/event_xml_reader.h"
#include "formats/event_xml_writer.h"
#include "formats/iso_time.h"
#include "machine_fixture.h"
#include "platform/embedded/eventlog/log_reader.h"
#include "platform/embedded/eventlog/system_log.h"

namespace varnel::embedded {
namespace {

class LogWriterTest : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeMachine();
    now_ = *formats::ParseIsoTime("2026-11-21T10:00:00.7Z");
  }

  std::vector<formats::LoggedEvent> Log() const {
    std::vector<formats::LoggedEvent> events;
    const auto reader = LogReader::Open(SystemLogFiles(*machine_), {});
    EXPECT_TRUE(reader.ok());
    LogRecord record;
    while (reader.ok() && reader.value()->Next(&record) == LogReader::Step::kRecord) {
      events.push_back(formats::ReadEventXml(record.xml).value());
    }
    return events;
  }

  /// An exported log beside the machine's own.
  void Bring(std::uint64_t record_id, const char* time) {
    std::filesystem::create_directories(std::filesystem::path(MachineLogFile(*machine_)).parent_path());
    formats::LoggedEvent event;
    event.provider_name = "Brought";
    event.event_id = 1;
    event.record_id = record_id;
    event.time_created = *formats::ParseIsoTime(time);
    std::ofstream(machine_->DrivePath('C') + "/Windows/System32/winevt/Logs/System.xml")
        << formats::WriteEventXml(event);
  }

  static std::string DataOf(const formats::LoggedEvent& event, const std::string& name) {
    for (const auto& data : event.data) {
      if (data.name == name) return data.value;
    }
    return "not there";
  }

  std::uint64_t now_ = 0;
};

TEST_F(LogWriterTest, AMachineThatWasNeverBootedHasAnEmptyLog) {
  EXPECT_TRUE(SystemLogFiles(*machine_).empty());
}

TEST_F(LogWriterTest, ABootIsOneEvent12) {
  const auto logged = LogWriter(*machine_).LogBoot(now_);
  ASSERT_TRUE(logged.ok()) << logged.error().message;
  EXPECT_EQ(logged.value().boot_record_id, 1u);
  EXPECT_FALSE(logged.value().crash_record_id);
  const auto events = Log();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].event_id, 12u);
  EXPECT_EQ(events[0].provider_name, "Microsoft-Windows-Kernel-General");
  EXPECT_EQ(events[0].time_created, now_);
  EXPECT_EQ(events[0].keywords, 0x8000000000000080u);
  EXPECT_EQ(DataOf(events[0], "StartTime"), "2026-11-21T10:00:00.5000000Z") << "to the half second";
  EXPECT_EQ(DataOf(events[0], "BuildVersion"), "26100");
}

TEST_F(LogWriterTest, ABootAfterACrashIsEvent12AndEvent41BehindIt) {
  ASSERT_TRUE(WriteCrashMark(*machine_, {{0x9F, {3, 0xffffffffc0000005, 0, 0x10}, 0}, 0}).ok());
  const auto logged = LogWriter(*machine_).LogBoot(now_);
  ASSERT_TRUE(logged.ok());
  EXPECT_EQ(logged.value().crash_record_id, 2u);
  const auto events = Log();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[1].event_id, 41u);
  EXPECT_EQ(events[1].record_id, 2u);
  EXPECT_EQ(events[1].version, 10u);
  EXPECT_EQ(events[1].level, 1u);
  EXPECT_EQ(events[1].task, 63u);
  EXPECT_GE(events[1].time_created, events[0].time_created + 10'000) << "later by more than a millisecond";
  EXPECT_EQ(DataOf(events[1], "BugcheckCode"), "159") << "decimal, as the platform writes it";
  EXPECT_EQ(DataOf(events[1], "BugcheckParameter1"), "0x3");
  EXPECT_EQ(DataOf(events[1], "BugcheckParameter2"), "0xffffffffc0000005");
  EXPECT_EQ(DataOf(events[1], "BugcheckParameter3"), "0x0");
  EXPECT_EQ(events[1].data.size(), 21u);
  EXPECT_FALSE(ReadCrashMark(*machine_).value());
}

TEST_F(LogWriterTest, ACrashIsToldByOneBootOnly) {
  ASSERT_TRUE(WriteCrashMark(*machine_, {{1, {}, 0}, 0}).ok());
  ASSERT_TRUE(LogWriter(*machine_).LogBoot(now_).ok());
  ASSERT_TRUE(LogWriter(*machine_).LogBoot(now_ + 1).ok());
  EXPECT_EQ(Log().size(), 3u);
}

TEST_F(LogWriterTest, NumbersAndTimesGoOnFromTheNewestOfAll) {
  Bring(500, "2030-01-01T00:00:00Z");
  const auto logged = LogWriter(*machine_).LogBoot(now_);
  ASSERT_TRUE(logged.ok());
  EXPECT_EQ(logged.value().boot_record_id, 501u);
  EXPECT_EQ(logged.value().boot_time, *formats::ParseIsoTime("2030-01-01T00:00:00.001Z"));
  const auto next = LogWriter(*machine_).LogBoot(now_);
  EXPECT_EQ(next.value().boot_record_id, 502u);
  EXPECT_GT(next.value().boot_time, logged.value().boot_time);
}

TEST_F(LogWriterTest, WhatWasBroughtIsNotTouched) {
  Bring(500, "2020-01-01T00:00:00Z");
  const std::string path = machine_->DrivePath('C') + "/Windows/System32/winevt/Logs/System.xml";
  const auto size = std::filesystem::file_size(path);
  ASSERT_TRUE(LogWriter(*machine_).LogBoot(now_).ok());
  EXPECT_EQ(std::filesystem::file_size(path), size);
}

TEST_F(LogWriterTest, ABootThatWasKilledBehindTheCrashEventDoesNotTellItAgain) {
  const CrashFacts facts{5, {}, 0};
  ASSERT_TRUE(WriteCrashMark(*machine_, {facts, 0}).ok());
  ASSERT_TRUE(LogWriter(*machine_).LogBoot(now_).ok());
  ASSERT_TRUE(WriteCrashMark(*machine_, {facts, 2}).ok());  // as if it had not come to take the mark away
  const auto logged = LogWriter(*machine_).LogBoot(now_);
  ASSERT_TRUE(logged.ok());
  EXPECT_FALSE(logged.value().crash_record_id);
  EXPECT_FALSE(ReadCrashMark(*machine_).value());
  EXPECT_EQ(Log().size(), 3u);
}

TEST_F(LogWriterTest, ABootThatWasKilledBeforeTheCrashEventLeavesItToTheNext) {
  // Two boots ended behind their event 12, with the crash's number chosen by the first.
  LogWriter writer(*machine_);
  ASSERT_TRUE(writer.Append(writer.BootEvent(1, now_, now_)).ok());
  ASSERT_TRUE(WriteCrashMark(*machine_, {{5, {}, 0}, 2}).ok());
  const auto logged = writer.LogBoot(now_);
  ASSERT_TRUE(logged.ok());
  EXPECT_EQ(logged.value().boot_record_id, 2u);
  EXPECT_EQ(logged.value().crash_record_id, 3u);
}

TEST_F(LogWriterTest, TheRestOfALineThatWasCutDoesNotSpoilTheNext) {
  LogWriter writer(*machine_);
  ASSERT_TRUE(writer.Append(writer.BootEvent(1, now_, now_)).ok());
  std::ofstream(MachineLogFile(*machine_), std::ios::app) << "<Event xmlns='http://schemas.mic";
  ASSERT_TRUE(writer.LogBoot(now_).ok());
  EXPECT_EQ(Log().size(), 2u);
}

TEST_F(LogWriterTest, ALogWithoutNumbersLeftIsAnError) {
  Bring(~std::uint64_t{0}, "2020-01-01T00:00:00Z");
  EXPECT_FALSE(LogWriter(*machine_).LogBoot(now_).ok());
}

}  // namespace
}  // namespace varnel::embedded

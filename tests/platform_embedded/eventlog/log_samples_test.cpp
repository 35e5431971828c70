// Real logs, read as they stand: every record of theirs, and the events that tell of boots and crashes.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "formats/event_xml_reader.h"
#include "formats/iso_time.h"
#include "platform/embedded/eventlog/log_reader.h"

namespace varnel::embedded {
namespace {

const std::filesystem::path kFolder = std::filesystem::path(VARNEL_SAMPLES_DIR) / "evtx";

std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// The records that each log has, by file name.
std::map<std::string, std::uint64_t> Facts() {
  std::map<std::string, std::uint64_t> facts;
  const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> json(cJSON_Parse(ReadAll(kFolder / "facts.json").c_str()),
                                                             cJSON_Delete);
  const cJSON* entry = nullptr;
  cJSON_ArrayForEach(entry, json.get()) {
    facts[entry->string] = static_cast<std::uint64_t>(cJSON_GetObjectItem(entry, "records")->valuedouble);
  }
  return facts;
}

struct ListedEvent {
  std::uint64_t record_id = 0;
  std::uint32_t event_id = 0;
  std::string provider;
  std::uint64_t time = 0;

  bool operator==(const ListedEvent&) const = default;
};

void PrintTo(const ListedEvent& event, std::ostream* out) {
  *out << event.record_id << ' ' << event.event_id << ' ' << event.provider << ' ' << event.time;
}

/// Events 12 and 41 of a log, in descending order of their number.
std::vector<ListedEvent> Listed(const std::string& file) {
  std::vector<ListedEvent> events;
  std::istringstream lines(ReadAll(kFolder / "events-12-41.tsv"));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string name;
    std::string number;
    std::string id;
    ListedEvent event;
    std::string time;
    std::getline(fields, name, '\t');
    if (name != file) continue;
    std::getline(fields, number, '\t');
    std::getline(fields, id, '\t');
    std::getline(fields, event.provider, '\t');
    std::getline(fields, time, '\t');
    event.record_id = std::stoull(number);
    event.event_id = static_cast<std::uint32_t>(std::stoul(id));
    event.time = formats::ParseIsoTime(time).value_or(0);
    events.push_back(event);
  }
  return events;
}

std::unique_ptr<LogReader> OpenSample(const std::string& file, LogDirection direction, const char* query) {
  LogReaderOptions options;
  options.direction = direction;
  options.filter.query = formats::EventQuery::Parse(query).value();
  auto reader = LogReader::Open({(kFolder / file).string()}, options);
  EXPECT_TRUE(reader.ok()) << (reader.ok() ? "" : reader.error().message);
  return reader.ok() ? std::move(reader).value() : nullptr;
}

class LogSamples : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(kFolder / "facts.json")) GTEST_SKIP() << "no sample logs in " << kFolder;
  }
};

TEST_F(LogSamples, GiveEveryRecordOnceInBothDirections) {
  for (const auto& [file, records] : Facts()) {
    for (const LogDirection direction : {LogDirection::kAscending, LogDirection::kDescending}) {
      const auto reader = OpenSample(file, direction, "*");
      ASSERT_NE(reader, nullptr);
      LogRecord record;
      std::uint64_t last = 0;
      std::uint64_t count = 0;
      while (reader->Next(&record) == LogReader::Step::kRecord) {
        const bool ascending = direction == LogDirection::kAscending;
        EXPECT_TRUE(count == 0 || (record.record_id > last) == ascending);
        last = record.record_id;
        ++count;
        const auto event = formats::ReadEventXml(record.xml);
        ASSERT_TRUE(event.ok()) << record.xml;
        ASSERT_EQ(event.value().record_id, record.record_id);
        ASSERT_EQ(event.value().channel, "System");
      }
      EXPECT_EQ(count, records) << file;
      EXPECT_EQ(reader->counts().skipped, 0u) << file;
      EXPECT_EQ(reader->counts().duplicates, 0u) << file;
      EXPECT_EQ(reader->counts().helper_deaths, 0u) << file;
    }
  }
}

TEST_F(LogSamples, BeginAndEndWithTheNumbersThatTheyHave) {
  // First and last record number of each, as an independent reader tells them.
  const std::map<std::string, std::pair<std::uint64_t, std::uint64_t>> ends = {
      {"w10_1507_dikimevi_System.evtx", {1, 121}},
      {"w10_1709_system.evtx", {1, 1881}},
      {"w10_dell_System_livecopy.evtx", {1, 978}},
      {"w10_dell_system_eventlog.evtx", {1, 978}},
      {"w11_EIS938N_System.evtx", {1, 320}},
      {"w11_unknowndevicex_SystemLog.evtx", {1, 587}},
      {"w2008r2_greendale_System.evtx", {1, 5009}},
      {"w2016tp_airsil_System.evtx", {1, 483}},
      {"win7x64_shieldbase_system.evtx", {12049, 13649}}};
  for (const auto& [file, numbers] : ends) {
    LogRecord record;
    const auto ascending = OpenSample(file, LogDirection::kAscending, "*");
    ASSERT_EQ(ascending->Next(&record), LogReader::Step::kRecord);
    EXPECT_EQ(record.stored_id, numbers.first) << file;
    const auto descending = OpenSample(file, LogDirection::kDescending, "*");
    ASSERT_EQ(descending->Next(&record), LogReader::Step::kRecord);
    EXPECT_EQ(record.stored_id, numbers.second) << file;
  }
}

TEST_F(LogSamples, TellTheHighestNumberThatAnEventBears) {
  EXPECT_EQ(OpenSample("win7x64_shieldbase_system.evtx", LogDirection::kAscending, "*")->HighestRecordId(), 13649u);
  // An export that counts its records anew.
  EXPECT_EQ(OpenSample("w11_unknowndevicex_SystemLog.evtx", LogDirection::kAscending, "*")->HighestRecordId(), 18641u);
}

TEST_F(LogSamples, GiveExactlyTheBootsAndCrashesThatAreListed) {
  for (const auto& [file, records] : Facts()) {
    const auto reader = OpenSample(file, LogDirection::kDescending, "*[System[(EventID=12 or EventID=41)]]");
    ASSERT_NE(reader, nullptr);
    std::vector<ListedEvent> told;
    LogRecord record;
    while (reader->Next(&record) == LogReader::Step::kRecord) {
      const auto event = formats::ReadEventXml(record.xml);
      ASSERT_TRUE(event.ok());
      // The list names the older name of a source where it has one.
      const formats::LoggedEvent& read = event.value();
      told.push_back({record.stored_id, read.event_id,
                      read.event_source_name.empty() ? record.provider : read.event_source_name, record.time});
    }
    EXPECT_EQ(told, Listed(file)) << file;
  }
}

TEST_F(LogSamples, RenderACrashAsThePlatformDoes) {
  const auto reader = OpenSample("w10_dell_System_livecopy.evtx", LogDirection::kDescending, "*[System[EventID=41]]");
  ASSERT_NE(reader, nullptr);
  LogRecord record;
  ASSERT_EQ(reader->Next(&record), LogReader::Step::kRecord);
  EXPECT_EQ(record.xml,
            "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><Provider "
            "Name='Microsoft-Windows-Kernel-Power' Guid='{331C3B3A-2005-44C2-AC5E-77220C37D6B4}'/><EventID>41</EventID>"
            "<Version>8</Version><Level>1</Level><Task>63</Task><Opcode>0</Opcode><Keywords>0x8000400000000002"
            "</Keywords><TimeCreated SystemTime='2024-04-01T10:59:34.3677372Z'/><EventRecordID>887</EventRecordID>"
            "<Correlation/><Execution ProcessID='4' ThreadID='8'/><Channel>System</Channel><Computer>DESKTOP-8S9FH3I"
            "</Computer><Security UserID='S-1-5-18'/></System><EventData><Data Name='BugcheckCode'>26</Data><Data "
            "Name='BugcheckParameter1'>0x41792</Data><Data Name='BugcheckParameter2'>0xffffd680a6737650</Data><Data "
            "Name='BugcheckParameter3'>0x400000000000</Data><Data Name='BugcheckParameter4'>0x0</Data><Data "
            "Name='SleepInProgress'>0</Data><Data Name='PowerButtonTimestamp'>0</Data><Data Name='BootAppStatus'>0"
            "</Data><Data Name='Checkpoint'>0</Data><Data Name='ConnectedStandbyInProgress'>false</Data><Data "
            "Name='SystemSleepTransitionsToOn'>1</Data><Data Name='CsEntryScenarioInstanceId'>0</Data><Data "
            "Name='BugcheckInfoFromEFI'>false</Data><Data Name='CheckpointStatus'>0</Data><Data "
            "Name='CsEntryScenarioInstanceIdV2'>0</Data><Data Name='LongPowerButtonPressDetected'>false</Data>"
            "</EventData></Event>");
}

TEST_F(LogSamples, GiveARecordOfTwoCopiesOfALogOnce) {
  LogReaderOptions options;
  options.direction = LogDirection::kDescending;
  auto reader = LogReader::Open(
      {(kFolder / "w10_dell_System_livecopy.evtx").string(), (kFolder / "w10_dell_system_eventlog.evtx").string()},
      options);
  ASSERT_TRUE(reader.ok());
  LogRecord record;
  std::uint64_t count = 0;
  while (reader.value()->Next(&record) == LogReader::Step::kRecord) ++count;
  EXPECT_EQ(count, 978u);
  EXPECT_EQ(reader.value()->counts().records, 978u);
  EXPECT_EQ(reader.value()->counts().duplicates, 978u);
}

}  // namespace
}  // namespace varnel::embedded

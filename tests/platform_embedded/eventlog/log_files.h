// Log files for tests: a temporary folder, exported logs and what a reader makes of them.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "formats/event_xml_writer.h"
#include "platform/embedded/eventlog/log_reader.h"
#include "tests/support/evtx_builder.h"

namespace varnel::embedded {

class LogFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-log-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string Write(const std::string& name, const std::string& bytes) const {
    const std::string path = folder_ + "/" + name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  static std::string Xml(std::uint64_t record_id, std::uint32_t event_id = 7, std::uint64_t time = 1,
                         const std::string& provider = "Test", const std::string& value = "v") {
    formats::LoggedEvent event;
    event.provider_name = provider;
    event.event_id = event_id;
    event.record_id = record_id;
    event.time_created = time;
    event.channel = "System";
    event.computer = "PC";
    event.data.push_back({formats::LoggedEventData::Kind::kData, "a", value});
    return formats::WriteEventXml(event);
  }

  /// A binary log with records of the numbers `first` to `last`.
  static std::string Evtx(std::uint64_t first, std::uint64_t last) {
    testing::EvtxBuilder builder;
    for (std::uint64_t id = first; id <= last; ++id) builder.Add(Event(id));
    return builder.Build();
  }
  static testing::EvtxEvent Event(std::uint64_t record_id) {
    testing::EvtxEvent event;
    event.record_id = record_id;
    event.event_id = record_id % 10 == 0 ? 41 : 7;
    event.data = {{"a", "value"}};
    return event;
  }

  struct ReadLog {
    std::vector<std::uint64_t> numbers;
    std::vector<std::string> texts;
    LogCounts counts;
  };
  static ReadLog ReadAll(const std::vector<std::string>& paths, LogReaderOptions options = {}) {
    ReadLog read;
    auto reader = LogReader::Open(paths, options);
    EXPECT_TRUE(reader.ok()) << (reader.ok() ? "" : reader.error().message);
    if (!reader.ok()) return read;
    LogRecord record;
    while (reader.value()->Next(&record) == LogReader::Step::kRecord) {
      read.numbers.push_back(record.record_id);
      read.texts.push_back(record.xml);
    }
    read.counts = reader.value()->counts();
    return read;
  }
  static LogReaderOptions Descending() {
    LogReaderOptions options;
    options.direction = LogDirection::kDescending;
    return options;
  }
  using Numbers = std::vector<std::uint64_t>;

  std::string folder_;
};

}  // namespace varnel::embedded

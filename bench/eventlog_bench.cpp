// What reading a System log costs: logs of 20,000 and of 200,000 records, exported and binary, newest first, asked for
// boots and crashes as the module does. The figure is the ratio of the two sizes' times for one record: 1 is linear.
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "bench_figures.h"
#include "formats/event_xml_writer.h"
#include "platform/embedded/eventlog/log_reader.h"
#include "tests/support/evtx_builder.h"

namespace {

using namespace varnel;
using bench::Require;

constexpr std::size_t kSmall = 20'000;
constexpr std::size_t kLarge = 200'000;
constexpr int kTurns = 3;

std::uint32_t EventId(std::size_t record_id) {
  return record_id % 100 == 0 ? 41 : 7;
}

std::string MakeExport(const std::string& folder, std::size_t records) {
  const std::string path = folder + "/" + std::to_string(records) + ".xml";
  std::ofstream out(path, std::ios::binary);
  formats::LoggedEvent event;
  event.provider_name = "Service Control Manager";
  event.channel = "System";
  event.computer = "PC";
  for (std::size_t id = 1; id <= records; ++id) {
    event.event_id = EventId(id);
    event.record_id = id;
    event.time_created = id;
    event.data = {{formats::LoggedEventData::Kind::kData, "param1", "Windows Update"},
                  {formats::LoggedEventData::Kind::kData, "param2", "running"}};
    out << formats::WriteEventXml(event) << "\r\n";
  }
  return path;
}

std::string MakeBinary(const std::string& folder, std::size_t records) {
  const std::string path = folder + "/" + std::to_string(records) + ".evtx";
  std::ofstream out(path, std::ios::binary);
  out << testing::EvtxBuilder::FileHeader(1);
  testing::EvtxBuilder builder;
  testing::EvtxEvent event;
  event.data = {{"param1", "Windows Update"}, {"param2", "running"}};
  for (std::size_t id = 1; id <= records; ++id) {
    event.event_id = EventId(id);
    event.record_id = id;
    builder.Add(event);
    if (id % 1000 == 0) out << builder.TakeFullChunks();
  }
  out << builder.TakeFullChunks() << builder.LastChunk();
  return path;
}

double NanosecondsOfRecord(const std::string& path, std::size_t records) {
  return bench::NanosecondsOfOne(records, [&] {
    embedded::LogReaderOptions options;
    options.direction = embedded::LogDirection::kDescending;
    options.filter.query = formats::EventQuery::Parse("*[System[(EventID=12 or EventID=41)]]").value();
    auto reader = embedded::LogReader::Open({path}, options);
    Require(reader.ok(), "opening the log");
    std::size_t found = 0;
    embedded::LogRecord record;
    while (reader.value()->Next(&record) == embedded::LogReader::Step::kRecord) ++found;
    Require(found == records / 100, "reading the log");
  });
}

void Measure(const char* name, const std::string& small, const std::string& large) {
  const bench::Turns turns = bench::TakeTurns(
      kTurns, [&] { return NanosecondsOfRecord(large, kLarge); }, [&] { return NanosecondsOfRecord(small, kSmall); });
  char text[96];
  std::snprintf(text, sizeof text, "%.2f (%.1f us a record)", turns.ratio, turns.ours / 1000);
  bench::PrintFigure(name, text, "at most 1.2", "a record of a log of 200,000 to one of a log of 20,000");
}

}  // namespace

int main() {
  std::string folder = (std::filesystem::temp_directory_path() / "varnel-bench-XXXXXX").string();
  Require(::mkdtemp(folder.data()) != nullptr, "mkdtemp");
  Measure("event log, exported", MakeExport(folder, kSmall), MakeExport(folder, kLarge));
  Measure("event log, binary", MakeBinary(folder, kSmall), MakeBinary(folder, kLarge));
  std::filesystem::remove_all(folder);
  return 0;
}

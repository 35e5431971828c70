// Trace files that Windows wrote, read whole and compared with the figures that an independent reader gave for them.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "formats/etl_reader.h"
#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "platform/unpack.h"

namespace varnel::formats {
namespace {

const char* const kSamples[] = {
    "AMSITrace.etl",
    "BasicPerfCounters.blg",
    "BondEtwSample.etl",
    "HTTP_Server.etl",
    "KernelNetwork.etl",
    "Panther_setup_17763.etl",
    "SelfDescribingSingleEvent.etl",
    "ShutdownPerfDiagLogger.etl",
    "diaghub.kernel.1.etl",
    "diaghub.user_injected.1.etl",
    "gcevents.etl",
    "hw3d_trace.etl",
    "iis.etl",
    "image_data_32_v0.etl",
    "image_data_64_v2.etl",
    "kernel_process_example.etl",
    "live_LwtNetLog.etl",
    "live_Wifi.etl",
    "mytrace.etl",
    "net.4.5.2.x86.etl",
    "powershell.etl",
    "primitive-types.etl",
    "process_data_32_v3.etl",
    "process_data_64_v2.etl",
    "pyetw_out.etl",
    "yhan_trace1.etl",
};

std::filesystem::path SamplePath(const std::string& name) {
  return std::filesystem::path(VARNEL_SAMPLES_DIR) / "etl" / name;
}

std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

struct FreeJson {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, FreeJson>;

double Number(const cJSON* facts, const char* key) {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(facts, key);
  EXPECT_TRUE(cJSON_IsNumber(item)) << key;
  return item == nullptr ? -1 : item->valuedouble;
}

std::string Text(const cJSON* facts, const char* key) {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(facts, key);
  return cJSON_IsString(item) ? item->valuestring : "";
}

/// Microseconds since 1601 of a time in the form of the facts; 0 for none.
std::int64_t Microseconds(const std::string& text) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, micros = 0;
  if (std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%d.%dZ", &year, &month, &day, &hour, &minute, &second, &micros) != 7) {
    return 0;
  }
  const auto days = std::chrono::sys_days(std::chrono::year(year) / month / day) -
                    std::chrono::sys_days(std::chrono::year(1601) / 1 / 1);
  const std::int64_t seconds = ((days.count() * 24LL + hour) * 60 + minute) * 60 + second;
  return seconds * 1'000'000 + micros;
}

/// A FILETIME as the independent reader turned it into microseconds: through a double, whose last digit it then lost.
std::int64_t AsTheFactsRound(std::int64_t file_time) {
  constexpr double kSecondsTo1970 = 11644473600.0;
  if (file_time == 0) return 0;
  const double seconds = static_cast<double>(file_time) * 1e-7 - kSecondsTo1970;
  double whole = 0;
  const double fraction = std::modf(seconds, &whole);
  return static_cast<std::int64_t>(kSecondsTo1970 + whole) * 1'000'000 + std::llrint(fraction * 1e6);
}

class EtlSample : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    bytes_ = ReadAll(SamplePath(GetParam()));
    if (bytes_.empty()) GTEST_SKIP() << "the sample files are not there";
    all_facts_.reset(cJSON_Parse(ReadAll(SamplePath("facts.json")).c_str()));
    facts_ = cJSON_GetObjectItemCaseSensitive(all_facts_.get(), GetParam());
    ASSERT_NE(facts_, nullptr);
    source_ = std::make_unique<EtlMemorySource>(std::as_bytes(std::span(bytes_)));
    EtlReadOptions options;
    options.unpack = platform::Unpack;
    options.buffer_done = [this](const EtlBufferEntry&) { return ++hook_calls_ > 0; };
    auto reader = EtlReader::Open(*source_, options);
    ASSERT_TRUE(reader.ok()) << reader.error().message;
    reader_ = std::move(reader).value();
  }

  /// A buffer with its body unpacked.
  std::vector<std::byte> PlainBuffer(const EtlBufferEntry& entry) {
    const auto view = source_->View(entry.offset, entry.file_bytes);
    std::vector<std::byte> plain(view.begin(), view.end());
    if (!entry.info.packed()) return plain;
    plain.resize(entry.info.valid_end);
    const auto packing = static_cast<std::uint16_t>(reader_->index().entries.front().info.state);
    EXPECT_TRUE(platform::Unpack(packing, view.subspan(72), std::span(plain).subspan(72)));
    return plain;
  }

  std::string bytes_;
  Json all_facts_;
  const cJSON* facts_ = nullptr;
  std::unique_ptr<EtlMemorySource> source_;
  std::unique_ptr<EtlReader> reader_;
  std::uint64_t hook_calls_ = 0;
};

TEST_P(EtlSample, HasTheLogHeaderThatTheFactsTell) {
  const EtlLogHeader& header = reader_->header();
  EXPECT_EQ(header.buffer_size, Number(facts_, "buffer_size"));
  EXPECT_EQ(header.buffers_written, Number(facts_, "buffers_written"));
  EXPECT_EQ(header.provider_version, Number(facts_, "build"));
  EXPECT_EQ(header.processors, Number(facts_, "processors"));
  EXPECT_EQ(header.cpu_speed_mhz, Number(facts_, "cpu_mhz"));
  EXPECT_EQ(header.events_lost, Number(facts_, "events_lost"));
  EXPECT_EQ(header.buffers_lost, Number(facts_, "buffers_lost"));
  EXPECT_EQ(header.pointer_size, Number(facts_, "pointer_size"));
  EXPECT_EQ(header.clock_type, Number(facts_, "clock_type"));
  EXPECT_EQ(static_cast<double>(header.perf_freq), Number(facts_, "perf_freq"));
  EXPECT_EQ(header.log_file_mode, std::stoul(Text(facts_, "log_file_mode"), nullptr, 16));
  EXPECT_EQ(Utf16ToUtf8(header.logger_name), Text(facts_, "logger_name"));
  EXPECT_EQ(AsTheFactsRound(header.start_time), Microseconds(Text(facts_, "start")));
  EXPECT_EQ(AsTheFactsRound(header.end_time), Microseconds(Text(facts_, "end")));
}

TEST_P(EtlSample, GivesEveryEventOfEveryBufferByProvider) {
  std::map<std::string, double> providers;
  while (const EtlEventView* event = reader_->Next()) ++providers[FormatGuid(event->provider)];
  EXPECT_EQ(static_cast<double>(reader_->account().events), Number(facts_, "events"));
  EXPECT_EQ(static_cast<double>(reader_->account().buffers), Number(facts_, "buffers"));
  EXPECT_EQ(hook_calls_, reader_->account().buffers);
  EXPECT_EQ(static_cast<double>(providers.size()), Number(facts_, "providers_in_all"));
  const cJSON* item = nullptr;
  cJSON_ArrayForEach(item, cJSON_GetObjectItemCaseSensitive(facts_, "providers_top")) {
    EXPECT_EQ(providers[item->string], item->valuedouble) << item->string;
  }
}

TEST_P(EtlSample, AccountsForEveryByteAndSkipsNone) {
  while (reader_->Next() != nullptr) {
  }
  const EtlAccount& account = reader_->account();
  EXPECT_EQ(account.skipped_bytes, 0u);
  EXPECT_EQ(account.damaged_buffers, 0u);
  EXPECT_FALSE(account.cut);
  EXPECT_EQ(account.header_bytes, account.buffers * 72);
  EXPECT_EQ(account.header_bytes + account.event_bytes + account.filler_bytes, bytes_.size());
}

/// The stamps and identities in the order of the file, buffer by buffer.
struct Seen {
  std::int64_t stamp;
  std::uint16_t processor;
  std::uint16_t id;
  std::size_t payload;
  bool operator==(const Seen&) const = default;
};
Seen See(const EtlEventView& event) {
  return {event.stamp, event.processor, event.id, event.payload.size()};
}

TEST_P(EtlSample, ComesInTheOrderOfAStableSortByStamp) {
  std::vector<Seen> sorted;
  for (const EtlBufferEntry& entry : reader_->index().entries) {
    const std::vector<std::byte> buffer = PlainBuffer(entry);
    EtlBufferCursor cursor(buffer, entry.info, reader_->header().Clock());
    EtlEventView event;
    while (cursor.Next(&event)) sorted.push_back(See(event));
  }
  std::stable_sort(sorted.begin() + 1, sorted.end(), [](const Seen& a, const Seen& b) { return a.stamp < b.stamp; });
  std::vector<Seen> merged;
  while (const EtlEventView* event = reader_->Next()) merged.push_back(See(*event));
  if (reader_->header().log_file_mode & kEtlModeCircular) {
    // Here equal stamps follow the order of writing, not of the file.
    EXPECT_EQ(merged.size(), sorted.size());
    EXPECT_TRUE(std::is_sorted(merged.begin() + 1, merged.end(),
                               [](const Seen& a, const Seen& b) { return a.stamp < b.stamp; }));
    return;
  }
  EXPECT_TRUE(merged == sorted);
}

TEST_P(EtlSample, StandsBetweenItsStartAndItsEnd) {
  const EtlLogHeader header = reader_->header();
  const EtlEventView* event = reader_->Next();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->opcode, 0);
  std::int64_t last = 0;
  while ((event = reader_->Next()) != nullptr) last = std::max(last, event->file_time);
  // Merging a file adds events behind its end.
  constexpr std::uint32_t kModeRelog = 0x10000;
  EXPECT_TRUE(header.end_time == 0 || (header.log_file_mode & kModeRelog) != 0 || last <= header.end_time);
  EXPECT_GT(last, header.boot_time);
}

std::string NameOf(const testing::TestParamInfo<const char*>& info) {
  std::string name = info.param;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
  return name;
}
INSTANTIATE_TEST_SUITE_P(Windows, EtlSample, testing::ValuesIn(kSamples), NameOf);

}  // namespace
}  // namespace varnel::formats

#include "host/trace_info.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>

#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "host/exit_code.h"
#include "host/trace_file.h"

namespace varnel::host {
namespace {

constexpr char kCommand[] = "trace info";

using ProviderCounts = std::map<std::string, std::uint64_t>;

ProviderCounts CountProviders(formats::EtlReader& reader) {
  std::unordered_map<GUID, std::uint64_t, formats::GuidHash> counts;
  GUID last = {};
  std::uint64_t* counter = nullptr;
  while (const formats::EtlEventView* event = reader.Next()) {
    // Events of one provider mostly come in a row.
    if (counter == nullptr || event->provider != last) {
      last = event->provider;
      counter = &counts[last];
    }
    ++*counter;
  }
  ProviderCounts named;
  for (const auto& [provider, count] : counts) named[formats::FormatGuid(provider)] = count;
  return named;
}

const char* ClockName(std::uint32_t type) {
  switch (type) {
    case formats::kEtlClockPerformanceCounter:
      return "performance counter";
    case formats::kEtlClockSystemTime:
      return "system time";
    case formats::kEtlClockCpuCycles:
      return "processor cycles";
    default:
      return "raw";
  }
}

std::string HexMode(std::uint32_t mode) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%08X", mode);
  return text;
}

void AddTime(cJSON* object, const char* key, std::int64_t file_time) {
  if (file_time == 0) {
    cJSON_AddNullToObject(object, key);
  } else {
    cJSON_AddStringToObject(object, key, IsoTime(file_time, TimeDigits::kMicroseconds).c_str());
  }
}

void AddHeader(cJSON* object, const formats::EtlLogHeader& header) {
  cJSON_AddStringToObject(object, "logger_name", formats::Utf16ToUtf8(header.logger_name).c_str());
  cJSON_AddNumberToObject(object, "buffer_size", header.buffer_size);
  cJSON_AddNumberToObject(object, "clock_type", header.clock_type);
  cJSON_AddNumberToObject(object, "perf_freq", static_cast<double>(header.perf_freq));
  cJSON_AddNumberToObject(object, "processors", header.processors);
  cJSON_AddNumberToObject(object, "pointer_size", header.pointer_size);
  cJSON_AddStringToObject(object, "log_file_mode", HexMode(header.log_file_mode).c_str());
  AddTime(object, "start", header.start_time);
  AddTime(object, "end", header.end_time);
}

bool PrintJson(const TraceFile& file, const ProviderCounts& providers, std::FILE* out) {
  const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> object(cJSON_CreateObject(), cJSON_Delete);
  const formats::EtlLogHeader& header = file.reader->header();
  const formats::EtlAccount& account = file.reader->account();
  cJSON_AddStringToObject(object.get(), "file", formats::ToValidUtf8(file.path).c_str());
  AddHeader(object.get(), header);
  cJSON_AddNumberToObject(object.get(), "buffers", static_cast<double>(account.buffers));
  cJSON_AddNumberToObject(object.get(), "events", static_cast<double>(account.events));
  cJSON_AddNumberToObject(object.get(), "events_lost", header.events_lost);
  cJSON_AddNumberToObject(object.get(), "buffers_lost", header.buffers_lost);
  cJSON_AddNumberToObject(object.get(), "skipped_bytes", static_cast<double>(account.skipped_bytes));
  cJSON* map = cJSON_AddObjectToObject(object.get(), "providers");
  for (const auto& [provider, count] : providers) {
    cJSON_AddNumberToObject(map, provider.c_str(), static_cast<double>(count));
  }
  const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(object.get()), cJSON_free);
  if (text == nullptr) return false;
  std::fprintf(out, "%s\n", text.get());
  return true;
}

void PrintRow(std::FILE* out, const char* name, const std::string& value) {
  std::fprintf(out, "  %-14s %s\n", name, value.c_str());
}

void PrintHeader(const formats::EtlLogHeader& header, std::FILE* out) {
  const auto time = [](std::int64_t t) { return t == 0 ? std::string("-") : IsoTime(t, TimeDigits::kTicks); };
  PrintRow(out, "session", formats::Utf16ToUtf8(header.logger_name));
  PrintRow(out, "log file", formats::Utf16ToUtf8(header.log_file_name));
  PrintRow(out, "start", time(header.start_time));
  PrintRow(out, "end", time(header.end_time));
  PrintRow(out, "clock",
           std::string(ClockName(header.clock_type)) + " (" + std::to_string(header.clock_type) + "), " +
               std::to_string(header.perf_freq) + " Hz");
  PrintRow(out, "processors", std::to_string(header.processors));
  PrintRow(out, "pointers", std::to_string(header.pointer_size) + " bytes");
  PrintRow(out, "build", std::to_string(header.provider_version));
  PrintRow(out, "mode", HexMode(header.log_file_mode));
  PrintRow(out, "buffer size", std::to_string(header.buffer_size));
}

void PrintAccount(const formats::EtlReader& reader, std::FILE* out) {
  const formats::EtlAccount& account = reader.account();
  PrintRow(out, "buffers",
           std::to_string(account.buffers) + " read, " + std::to_string(reader.header().buffers_lost) + " lost");
  PrintRow(out, "events",
           std::to_string(account.events) + " read, " + std::to_string(reader.header().events_lost) + " lost");
  PrintRow(out, "bytes",
           std::to_string(account.file_size) + ": " + std::to_string(account.header_bytes) + " buffer headers, " +
               std::to_string(account.event_bytes) + " events, " + std::to_string(account.filler_bytes) + " filler, " +
               std::to_string(account.skipped_bytes) + " skipped");
}

void PrintTable(const TraceFile& file, const ProviderCounts& providers, std::FILE* out) {
  std::fprintf(out, "%s\n", formats::ToValidUtf8(file.path).c_str());
  PrintHeader(file.reader->header(), out);
  PrintAccount(*file.reader, out);
  std::vector<std::pair<std::uint64_t, std::string>> rows;
  for (const auto& [provider, count] : providers) rows.emplace_back(count, provider);
  std::sort(rows.begin(), rows.end(),
            [](const auto& a, const auto& b) { return a.first != b.first ? a.first > b.first : a.second < b.second; });
  for (const auto& [count, provider] : rows) {
    std::fprintf(out, "  %12llu   %s\n", static_cast<unsigned long long>(count), provider.c_str());
  }
}

}  // namespace

int TraceInfo(const TraceInfoOptions& options, std::FILE* out, std::FILE* err) {
  if (options.files.empty()) {
    TellTrace(err, kCommand, "no file was named");
    return kExitWrongUse;
  }
  int result = kExitGood;
  for (const std::string& path : options.files) {
    const auto file = OpenTraceFile(path, kCommand, err);
    if (file == nullptr) {
      result = kExitFailed;
      continue;
    }
    const ProviderCounts providers = CountProviders(*file->reader);
    if (!options.json) {
      PrintTable(*file, providers, out);
    } else if (!PrintJson(*file, providers, out)) {
      TellTrace(err, kCommand, path + ": no memory");
      result = kExitFailed;
    }
  }
  return FinishOutput(out, kCommand, err) ? result : kExitFailed;
}

}  // namespace varnel::host

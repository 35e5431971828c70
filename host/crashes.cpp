#include "host/crashes.h"

#include <cjson/cJSON.h>

#include <cinttypes>
#include <memory>

#include "formats/bugcheck_names.h"
#include "formats/event_xml_reader.h"
#include "formats/text_encoding.h"
#include "host/crash_history.h"
#include "host/exit_code.h"
#include "host/log_file.h"
#include "host/trace_file.h"

namespace varnel::host {
namespace {

using embedded::LogReader;
using embedded::LogRecord;

constexpr char kCommand[] = "crashes";
constexpr double kTicksPerSecond = 1e7;

const char* KindName(CrashKind kind) {
  switch (kind) {
    case CrashKind::kStopError:
      return "stop_error";
    case CrashKind::kPowerButton:
      return "power_button";
    default:
      return "power_lost_or_no_code";
  }
}

std::string Hex(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%" PRIx64, value);
  return text;
}

std::string Time(std::uint64_t time) {
  return IsoTime(static_cast<std::int64_t>(time), TimeDigits::kMicroseconds);
}

void AddTime(cJSON* object, const char* key, std::uint64_t time) {
  if (time == 0) {
    cJSON_AddNullToObject(object, key);
  } else {
    cJSON_AddStringToObject(object, key, Time(time).c_str());
  }
}

void AddSeconds(cJSON* object, const char* key, const std::optional<std::uint64_t>& ticks) {
  if (ticks.has_value()) {
    cJSON_AddNumberToObject(object, key, static_cast<double>(*ticks) / kTicksPerSecond);
  } else {
    cJSON_AddNullToObject(object, key);
  }
}

void AddBoot(cJSON* object, const char* key, const std::optional<BootSeen>& boot) {
  if (!boot.has_value()) {
    cJSON_AddNullToObject(object, key);
    return;
  }
  cJSON* inner = cJSON_AddObjectToObject(object, key);
  cJSON_AddNumberToObject(inner, "record", static_cast<double>(boot->record_id));
  AddTime(inner, "start", boot->start);
}

void AddStop(cJSON* object, const CrashSeen& crash) {
  if (crash.kind != CrashKind::kStopError) return;
  cJSON_AddNumberToObject(object, "code", crash.code);
  const std::string name(formats::BugCheckName(crash.code));
  if (name.empty()) {
    cJSON_AddNullToObject(object, "name");
  } else {
    cJSON_AddStringToObject(object, "name", name.c_str());
  }
  cJSON* parameters = cJSON_AddArrayToObject(object, "parameters");
  for (const std::uint64_t value : crash.parameters) {
    cJSON_AddItemToArray(parameters, cJSON_CreateString(Hex(value).c_str()));
  }
}

bool PrintJson(const std::string& log, const CrashSeen& crash, std::FILE* out) {
  const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> object(cJSON_CreateObject(), cJSON_Delete);
  if (!log.empty()) cJSON_AddStringToObject(object.get(), "file", formats::ToValidUtf8(log).c_str());
  cJSON_AddNumberToObject(object.get(), "record", static_cast<double>(crash.record_id));
  AddTime(object.get(), "time", crash.time);
  cJSON_AddStringToObject(object.get(), "computer", crash.computer.c_str());
  cJSON_AddStringToObject(object.get(), "kind", KindName(crash.kind));
  AddStop(object.get(), crash);
  AddBoot(object.get(), "boot_before", crash.boot_before);
  AddTime(object.get(), "last_seen", crash.last_seen);
  AddBoot(object.get(), "boot_after", crash.boot_after);
  AddSeconds(object.get(), "uptime_seconds", crash.uptime());
  AddSeconds(object.get(), "downtime_seconds", crash.downtime());
  if (crash.dump.empty()) {
    cJSON_AddNullToObject(object.get(), "dump");
  } else {
    cJSON_AddStringToObject(object.get(), "dump", crash.dump.c_str());
  }
  const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(object.get()), cJSON_free);
  if (text == nullptr) return false;
  std::fprintf(out, "%s\n", text.get());
  return true;
}

std::string Span(const std::optional<std::uint64_t>& ticks) {
  if (!ticks.has_value()) return "-";
  const auto seconds = static_cast<unsigned long long>(static_cast<double>(*ticks) / kTicksPerSecond);
  char text[40];
  std::snprintf(text, sizeof text, "%llu:%02llu:%02llu", seconds / 3600, seconds / 60 % 60, seconds % 60);
  return text;
}

std::string What(const CrashSeen& crash) {
  if (crash.kind == CrashKind::kPowerButton) return "power button held";
  if (crash.kind == CrashKind::kPowerLost) return "power lost, or no stop code written";
  const std::string_view name = formats::BugCheckName(crash.code);
  std::string text = Hex(crash.code) + (name.empty() ? "" : " " + std::string(name)) + " (";
  for (std::size_t i = 0; i < crash.parameters.size(); ++i) text += (i == 0 ? "" : ", ") + Hex(crash.parameters[i]);
  return text + ")";
}

void PrintTable(const std::string& log, const std::vector<CrashSeen>& crashes, std::FILE* out) {
  if (!log.empty()) std::fprintf(out, "%s\n", formats::ToValidUtf8(log).c_str());
  std::fprintf(out, "%-28s %11s %11s  %s\n", "back again", "ran for", "was down", "what happened");
  for (const CrashSeen& crash : crashes) {
    std::fprintf(out, "%-28s %11s %11s  %s%s%s\n", crash.time == 0 ? "-" : Time(crash.time).c_str(),
                 Span(crash.uptime()).c_str(), Span(crash.downtime()).c_str(), What(crash).c_str(),
                 crash.dump.empty() ? "" : ", dump ", ForTerminal(crash.dump).c_str());
  }
}

int ShowLog(const std::string& name, const std::vector<std::string>& paths, const CrashesOptions& options,
            std::FILE* out, std::FILE* err) {
  embedded::LogReaderOptions reading;
  reading.otherwise_encoding = options.encoding;
  const auto reader = OpenLog(paths, reading, kCommand, err);
  if (reader == nullptr) return kExitFailed;
  // The machine's own files are logs, whatever is in them.
  if (!name.empty() && TellIfNoLog(*reader, name, reading, kCommand, err)) return kExitFailed;
  CrashHistory history;
  LogRecord record;
  LogReader::Step step = reader->Next(&record);
  for (; step == LogReader::Step::kRecord; step = reader->Next(&record)) {
    const auto event = CrashHistory::Wants(record.provider) ? formats::ReadEventXml(record.xml)
                                                            : formats::Result<formats::LoggedEvent>(formats::Error{});
    if (event.ok()) {
      history.Feed(event.value());
    } else {
      history.Pass(record.time);
    }
  }
  bool printed = true;
  if (options.table) {
    PrintTable(name, history.crashes(), out);
  } else {
    for (const CrashSeen& crash : history.crashes()) printed = printed && PrintJson(name, crash, out);
  }
  const std::string& told = name.empty() ? paths.front() : name;
  TellLogDamage(told, reader->counts(), kCommand, err);
  if (!printed) TellTrace(err, kCommand, "no memory");
  if (step == LogReader::Step::kFailed) TellTrace(err, kCommand, told + ": " + kHelperGone);
  return printed && step != LogReader::Step::kFailed ? kExitGood : kExitFailed;
}

}  // namespace

int Crashes(const CrashesOptions& options, std::FILE* out, std::FILE* err) {
  int result = kExitGood;
  if (!options.machine_files.empty()) result = ShowLog("", options.machine_files, options, out, err);
  for (const std::string& path : options.files) {
    if (ShowLog(path, {path}, options, out, err) != kExitGood) result = kExitFailed;
  }
  return FinishOutput(out, kCommand, err) ? result : kExitFailed;
}

}  // namespace varnel::host

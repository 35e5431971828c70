#include "host/events.h"

#include <cjson/cJSON.h>

#include <cinttypes>
#include <memory>

#include "formats/event_xml_reader.h"
#include "formats/text_encoding.h"
#include "host/exit_code.h"
#include "host/log_file.h"
#include "host/trace_file.h"
#include "platform/embedded/core/machine.h"

namespace varnel::host {
namespace {

using embedded::LogReader;
using embedded::LogRecord;
using formats::LoggedEvent;
using formats::LoggedEventData;

constexpr char kCommand[] = "events";

using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

void AddText(cJSON* object, const char* key, const std::string& text) {
  if (!text.empty()) cJSON_AddStringToObject(object, key, text.c_str());
}

template <typename T>
void AddNumber(cJSON* object, const char* key, const std::optional<T>& number) {
  if (number.has_value()) cJSON_AddNumberToObject(object, key, static_cast<double>(*number));
}

std::string Hex(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%" PRIx64, value);
  return text;
}

void AddSystem(cJSON* object, const LoggedEvent& event) {
  cJSON_AddNumberToObject(object, "record", static_cast<double>(event.record_id));
  if (event.time_created == 0) {
    cJSON_AddNullToObject(object, "time");
  } else {
    cJSON_AddStringToObject(object, "time",
                            IsoTime(static_cast<std::int64_t>(event.time_created), TimeDigits::kTicks).c_str());
  }
  cJSON_AddStringToObject(object, "provider", event.provider_name.c_str());
  AddText(object, "provider_guid", event.provider_guid);
  AddText(object, "source", event.event_source_name);
  cJSON_AddNumberToObject(object, "event", event.event_id);
  AddNumber(object, "qualifiers", event.qualifiers);
  AddNumber(object, "version", event.version);
  AddNumber(object, "level", event.level);
  AddNumber(object, "task", event.task);
  AddNumber(object, "opcode", event.opcode);
  if (event.keywords.has_value()) cJSON_AddStringToObject(object, "keywords", Hex(*event.keywords).c_str());
  AddText(object, "activity", event.activity_id);
  AddText(object, "related_activity", event.related_activity_id);
  AddNumber(object, "process", event.process_id);
  AddNumber(object, "thread", event.thread_id);
  AddText(object, "channel", event.channel);
  AddText(object, "computer", event.computer);
  AddText(object, "user", event.user_id);
}

// Data with names go into one object; those of classic sources, which have none, into a list in their order.
void AddData(cJSON* object, const LoggedEvent& event) {
  cJSON* named = nullptr;
  cJSON* values = nullptr;
  for (const LoggedEventData& data : event.data) {
    if (data.kind == LoggedEventData::Kind::kBinary) {
      cJSON_AddStringToObject(object, "binary", data.value.c_str());
    } else if (data.name.has_value()) {
      if (named == nullptr) named = cJSON_AddObjectToObject(object, "data");
      cJSON_AddStringToObject(named, data.name->c_str(), data.value.c_str());
    } else {
      if (values == nullptr) values = cJSON_AddArrayToObject(object, "values");
      cJSON_AddItemToArray(values, cJSON_CreateString(data.value.c_str()));
    }
  }
  AddText(object, "user_data", event.user_data);
  AddText(object, "rendering", event.rendering_info);
}

bool PrintJson(const std::string& path, const LoggedEvent& event, std::FILE* out) {
  const Json object(cJSON_CreateObject(), cJSON_Delete);
  cJSON_AddStringToObject(object.get(), "file", formats::ToValidUtf8(path).c_str());
  AddSystem(object.get(), event);
  AddData(object.get(), event);
  const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(object.get()), cJSON_free);
  if (text == nullptr) return false;
  std::fprintf(out, "%s\n", text.get());
  return true;
}

std::string Summary(const LoggedEvent& event) {
  std::string text;
  for (const LoggedEventData& data : event.data) {
    if (data.kind == LoggedEventData::Kind::kBinary || data.value.empty()) continue;
    if (!text.empty()) text += ' ';
    if (data.name.has_value()) text += *data.name + '=';
    text += data.value;
  }
  return ForTerminal(text);
}

const char* LevelName(const std::optional<std::uint32_t>& level) {
  static constexpr const char* kNames[] = {"-", "critical", "error", "warning", "info", "verbose"};
  return level.has_value() && *level < std::size(kNames) ? kNames[*level] : "-";
}

void PrintHeading(const std::string& path, std::FILE* out) {
  std::fprintf(out, "%s\n%10s  %-28s %-8s %6s  %-36s %s\n", formats::ToValidUtf8(path).c_str(), "record", "time",
               "level", "event", "provider", "data");
}

void PrintRow(const LoggedEvent& event, std::FILE* out) {
  const std::string time = event.time_created == 0
                               ? std::string("-")
                               : IsoTime(static_cast<std::int64_t>(event.time_created), TimeDigits::kTicks);
  std::fprintf(out, "%10" PRIu64 "  %-28s %-8s %6u  %-36s %s\n", event.record_id, time.c_str(), LevelName(event.level),
               event.event_id, ForTerminal(event.provider_name).c_str(), Summary(event).c_str());
}

// @return what went wrong; empty when nothing did.
std::string PrintLog(const std::string& path, LogReader& reader, const EventsOptions& options, std::FILE* out) {
  LogRecord record;
  if (options.table) PrintHeading(path, out);
  for (std::uint64_t n = 0; options.newest == 0 || n < options.newest; ++n) {
    const LogReader::Step step = reader.Next(&record);
    if (step == LogReader::Step::kFailed) return kHelperGone;
    if (step != LogReader::Step::kRecord) break;
    const auto event = formats::ReadEventXml(record.xml);
    if (!event.ok()) continue;  // the reader gives none of these
    if (options.table) {
      PrintRow(event.value(), out);
    } else if (!PrintJson(path, event.value(), out)) {
      return "no memory";
    }
    if (std::ferror(out) != 0) break;  // told at the end
  }
  return {};
}

}  // namespace

int Events(const EventsOptions& options, std::FILE* out, std::FILE* err) {
  embedded::LogReaderOptions reading;
  reading.direction = options.newest > 0 ? embedded::LogDirection::kDescending : embedded::LogDirection::kAscending;
  reading.filter.now = embedded::FileTimeNow();
  reading.otherwise_encoding = options.encoding;
  if (!options.query.empty()) {
    auto query = formats::EventQuery::Parse(options.query);
    if (!query.ok()) {
      TellTrace(err, kCommand, "--query: " + query.error().message);
      return kExitWrongUse;
    }
    reading.filter.query = query.value();
  }
  int result = kExitGood;
  for (const std::string& path : options.files) {
    const auto reader = OpenLog({path}, reading, kCommand, err);
    if (reader == nullptr || TellIfNoLog(*reader, path, reading, kCommand, err)) {
      result = kExitFailed;
      continue;
    }
    if (const std::string failure = PrintLog(path, *reader, options, out); !failure.empty()) {
      TellTrace(err, kCommand, std::string(path).append(": ").append(failure));
      result = kExitFailed;
    }
    TellLogDamage(path, reader->counts(), kCommand, err);
  }
  return FinishOutput(out, kCommand, err) ? result : kExitFailed;
}

}  // namespace varnel::host

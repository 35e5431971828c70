#include "host/event_json.h"

#include <cjson/cJSON.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>

#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "host/trace_file.h"

namespace varnel::host {
namespace {

using formats::DecodedEvent;
using formats::DecodingSource;
using formats::EtlEventKind;
using formats::EtlEventView;

const char* KindName(EtlEventKind kind) {
  switch (kind) {
    case EtlEventKind::kSystem:
      return "system";
    case EtlEventKind::kCompact:
      return "compact";
    case EtlEventKind::kPerfInfo:
      return "perfinfo";
    case EtlEventKind::kFull:
      return "classic";
    case EtlEventKind::kInstance:
      return "instance";
    case EtlEventKind::kEvent:
      return "event";
    case EtlEventKind::kMessage:
      return "message";
  }
  return "";
}

const char* SourceName(DecodingSource source) {
  switch (source) {
    case DecodingSource::kManifest:
      return "manifest";
    case DecodingSource::kTraceLogging:
      return "tracelogging";
    case DecodingSource::kString:
      return "string";
    case DecodingSource::kNone:
      break;
  }
  return "";
}

std::string Hex64(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof(text), "0x%" PRIX64, value);
  return text;
}

std::string HexBytes(std::span<const std::byte> bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::byte byte : bytes) {
    text.push_back(kDigits[std::to_integer<unsigned>(byte) >> 4]);
    text.push_back(kDigits[std::to_integer<unsigned>(byte) & 0xF]);
  }
  return text;
}

/// Adds to one object; texts that are not valid UTF-8 are shown with replacements.
class ObjectWriter {
 public:
  explicit ObjectWriter(cJSON* object) : object_(object) {}

  void Number(const char* key, double value) { cJSON_AddNumberToObject(object_, key, value); }
  void Text(const char* key, std::string_view value) {
    cJSON_AddStringToObject(object_, key, formats::ToValidUtf8(value).c_str());
  }
  void TextIfAny(const char* key, std::string_view value) {
    if (!value.empty()) Text(key, value);
  }
  void Guid(const char* key, const GUID& guid) { Text(key, formats::FormatGuid(guid)); }
  void GuidIfAny(const char* key, const GUID& guid) {
    if (guid != GUID{}) Guid(key, guid);
  }
  void Texts(const char* key, const std::vector<std::string>& values) {
    if (values.empty()) return;
    cJSON* array = cJSON_AddArrayToObject(object_, key);
    for (const std::string& value : values) {
      cJSON_AddItemToArray(array, cJSON_CreateString(formats::ToValidUtf8(value).c_str()));
    }
  }
  void False(const char* key) { cJSON_AddFalseToObject(object_, key); }
  void Raw(const char* key, const std::string& json) { cJSON_AddRawToObject(object_, key, json.c_str()); }

 private:
  cJSON* object_;
};

void AddDescriptor(const EtlEventView& event, const DecodedEvent& decoded, ObjectWriter* out) {
  out->Text("time", IsoTime(event.file_time, TimeDigits::kTicks));
  out->Text("stamp", std::to_string(event.stamp));
  out->Text("kind", KindName(event.kind));
  out->Guid("provider", event.provider);
  out->TextIfAny("provider_name", decoded.provider_name);
  out->TextIfAny("event", decoded.event_name);
  out->Number("id", event.id);
  out->Number("version", event.version);
  out->Number("channel", event.channel);
  out->Number("level", event.level);
  out->TextIfAny("level_name", decoded.level_name);
  out->Number("opcode", event.opcode);
  out->TextIfAny("opcode_name", decoded.opcode_name);
  out->Number("task", event.task);
  out->TextIfAny("task_name", decoded.task_name);
  out->Text("keyword", Hex64(event.keyword));
  out->Texts("keyword_names", decoded.keyword_names);
}

GUID RelatedActivity(const EtlEventView& event) {
  GUID related = {};
  const auto item = formats::EtlFindItem(event, formats::kEtlItemRelatedActivity);
  if (item.size() == sizeof(related)) std::memcpy(&related, item.data(), sizeof(related));
  return related;
}

void AddWriter(const EtlEventView& event, ObjectWriter* out) {
  if (event.has_thread) {
    out->Number("process_id", event.process_id);
    out->Number("thread_id", event.thread_id);
  }
  out->Number("processor", event.processor);
  out->Number("pointer_size", event.pointer32 ? 4 : 8);
  out->Number("kernel_time", event.kernel_time);
  out->Number("user_time", event.user_time);
  out->GuidIfAny("activity_id", event.activity_id);
  out->GuidIfAny("related_activity_id", RelatedActivity(event));
  if (event.kind == EtlEventKind::kInstance) {
    out->Number("instance_id", event.instance_id);
    out->Number("parent_instance_id", event.parent_instance_id);
  }
}

void AddContent(const EtlEventView& event, const DecodedEvent& decoded, ObjectWriter* out) {
  out->TextIfAny("message", decoded.message);
  if (decoded.source == DecodingSource::kNone) {
    out->Text("payload", HexBytes(event.payload));
    return;
  }
  out->Text("decoded_by", SourceName(decoded.source));
  if (!decoded.complete) out->False("complete");
  std::string properties;
  formats::AppendJsonObject(decoded.properties, &properties);
  out->Raw("properties", properties);
}

}  // namespace

std::string EventJson(const EtlEventView& event, const DecodedEvent& decoded) {
  const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> object(cJSON_CreateObject(), cJSON_Delete);
  ObjectWriter writer(object.get());
  AddDescriptor(event, decoded, &writer);
  AddWriter(event, &writer);
  AddContent(event, decoded, &writer);
  const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(object.get()), cJSON_free);
  return text == nullptr ? std::string() : std::string(text.get());
}

}  // namespace varnel::host

#include "host/machine_report.h"

#include <cjson/cJSON.h>

#include <cstdio>
#include <memory>

#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "host/providers.h"
#include "host/trace_file.h"

namespace varnel::host {
namespace {

std::string Hexadecimal(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
  return text;
}

std::string OneAsText(const embedded::SessionSummary& session) {
  const auto line = [](const char* label, const std::string& value) { return label + value + '\n'; };
  const std::string file = formats::Utf16ToUtf8(session.log_file_name);
  std::string text = formats::Utf16ToUtf8(session.name) + '\n';
  text += line("  file       ", file.empty() ? "none" : file);
  text += line("  mode       ", Hexadecimal(session.log_file_mode));
  text += line("  started    ", IsoTime(session.start_time, TimeDigits::kMicroseconds));
  text += line("  buffers    ", std::to_string(session.buffers) + " of " + std::to_string(session.buffer_size) +
                                    " bytes, " + std::to_string(session.free_buffers) + " free, " +
                                    std::to_string(session.buffers_written) + " written");
  text += line("  lost       ",
               std::to_string(session.events_lost) + " events, " + std::to_string(session.buffers_lost) + " buffers");
  for (const embedded::EnabledProvider& provider : session.providers) {
    text += line("  provider   ", ProviderName(formats::FormatGuid(provider.guid)) + ", level " +
                                      std::to_string(provider.level) + ", any of " + Hexadecimal(provider.match_any));
  }
  return text;
}

void AddProvider(cJSON* providers, const embedded::EnabledProvider& provider) {
  cJSON* object = cJSON_CreateObject();
  cJSON_AddStringToObject(object, "guid", formats::FormatGuid(provider.guid).c_str());
  cJSON_AddNumberToObject(object, "level", provider.level);
  cJSON_AddStringToObject(object, "match_any", Hexadecimal(provider.match_any).c_str());
  cJSON_AddStringToObject(object, "match_all", Hexadecimal(provider.match_all).c_str());
  cJSON_AddItemToArray(providers, object);
}

std::string OneAsJson(const embedded::SessionSummary& session) {
  const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> object(cJSON_CreateObject(), cJSON_Delete);
  cJSON_AddStringToObject(object.get(), "name", formats::Utf16ToUtf8(session.name).c_str());
  cJSON_AddStringToObject(object.get(), "id", Hexadecimal(session.id).c_str());
  cJSON_AddStringToObject(object.get(), "guid", formats::FormatGuid(session.guid).c_str());
  cJSON_AddStringToObject(object.get(), "log_file_name", formats::Utf16ToUtf8(session.log_file_name).c_str());
  cJSON_AddStringToObject(object.get(), "log_file_mode", Hexadecimal(session.log_file_mode).c_str());
  cJSON_AddStringToObject(object.get(), "start", IsoTime(session.start_time, TimeDigits::kMicroseconds).c_str());
  cJSON_AddNumberToObject(object.get(), "buffer_size", session.buffer_size);
  cJSON_AddNumberToObject(object.get(), "buffers", session.buffers);
  cJSON_AddNumberToObject(object.get(), "free_buffers", session.free_buffers);
  cJSON_AddNumberToObject(object.get(), "buffers_written", static_cast<double>(session.buffers_written));
  cJSON_AddNumberToObject(object.get(), "events_lost", static_cast<double>(session.events_lost));
  cJSON_AddNumberToObject(object.get(), "buffers_lost", static_cast<double>(session.buffers_lost));
  cJSON* providers = cJSON_AddArrayToObject(object.get(), "providers");
  for (const embedded::EnabledProvider& provider : session.providers) AddProvider(providers, provider);
  const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(object.get()), cJSON_free);
  return text ? std::string(text.get()) + '\n' : std::string();
}

}  // namespace

std::string SessionsAsText(const std::vector<embedded::SessionSummary>& sessions) {
  if (sessions.empty()) return "no session runs\n";
  std::string text;
  for (const embedded::SessionSummary& session : sessions) text += OneAsText(session);
  return text;
}

std::string SessionsAsJson(const std::vector<embedded::SessionSummary>& sessions) {
  std::string text;
  for (const embedded::SessionSummary& session : sessions) text += OneAsJson(session);
  return text;
}

}  // namespace varnel::host

#include "crash/crash_envelope.h"

#include <cjson/cJSON.h>

#include "base/event_text.h"
#include "base/format.h"
#include "base/text.h"
#include "interfaces/wardlet_tool.h"
#include "pipeline/module_name.h"
#include "pipeline/wardlet_version.h"
#include "platform/platform.h"

namespace varnel {
namespace {

constexpr std::uint64_t kCrashKeyword = 128;
constexpr std::uint32_t kModuleNameCapacity = 100;

void AddIdentity(cJSON* json, const char* key, std::uint32_t identity) {
  char text[kCrashTextCapacity] = {};
  FormatTo(text, sizeof text, "%d", static_cast<std::int32_t>(identity));
  cJSON_AddStringToObject(json, key, text);
}

}  // namespace

std::uint64_t PreciseTimeNow() {
  platform::FILETIME now{};
  platform::SystemPort().GetSystemTimePreciseAsFileTime(&now);
  return platform::ToUint64(now);
}

void AddCrashEnvelope(cJSON* json, std::uint64_t time, const char* function, char* time_text) {
  char text[kCrashTextCapacity] = {};
  AddWardletVersion(json);
  FormatTo(text, sizeof text, "0x%I64X", time);
  cJSON_AddStringToObject(json, "TimeStamp", text);
  FormatFileTimeText(time, time_text, kCrashTextCapacity);
  cJSON_AddStringToObject(json, "TimeStampString", time_text);
  GuidToText(GUID_WARDLET_TOOL, text);
  cJSON_AddStringToObject(json, "ProviderGUID", text);
  GetModuleNameByKeyWord(kCrashKeyword, text, kModuleNameCapacity);
  cJSON_AddStringToObject(json, "Mod", text);
  AddIdentity(json, "ProcessId", platform::SystemPort().GetCurrentProcessId());
  AddIdentity(json, "ThreadId", platform::SystemPort().GetCurrentThreadId());
  cJSON_AddStringToObject(json, "Function", function);
  cJSON_AddStringToObject(json, "CodeLine", "0x0");
  cJSON_AddStringToObject(json, "status", "0x0");
}

}  // namespace varnel

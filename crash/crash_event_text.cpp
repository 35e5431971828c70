#include "crash/crash_event_text.h"

#include <cjson/cJSON.h>

#include "base/event_text.h"
#include "base/format.h"
#include "base/log.h"
#include "crash/crash_envelope.h"
#include "platform/types.h"

namespace varnel {
namespace {

struct BootTimes {
  std::uint64_t running;   // the newest boot of the log
  std::uint64_t logged;    // the boot in which the crash was logged
  std::uint64_t previous;  // the boot before that one
};

void AddNumber(cJSON* json, const char* key, std::uint64_t value) {
  char text[kCrashTextCapacity] = {};
  FormatTo(text, sizeof text, "0x%016I64X", value);
  cJSON_AddStringToObject(json, key, text);
}

void AddTime(cJSON* json, const char* key, std::uint64_t time) {
  char text[kCrashTextCapacity] = {};
  FormatFileTimeText(time, text, sizeof text);
  cJSON_AddStringToObject(json, key, text);
}

/// Null when memory runs out.
cJSON* NewCrashFacts(const CrashEventRecord& record, const BootTimes& boots) {
  cJSON* const json = cJSON_CreateObject();
  if (json == nullptr) return nullptr;
  AddNumber(json, "BugcheckCode", record.BugcheckCode);
  AddNumber(json, "BugcheckParameter1", record.BugcheckParameter1);
  AddNumber(json, "BugcheckParameter2", record.BugcheckParameter2);
  AddNumber(json, "BugcheckParameter3", record.BugcheckParameter3);
  AddNumber(json, "BugcheckParameter4", record.BugcheckParameter4);
  AddNumber(json, "ThisBootTime", boots.running);
  AddNumber(json, "CurrentBootTime", boots.logged);
  AddNumber(json, "PreviousBootTime", boots.previous);
  AddTime(json, "ThisBootTimeStr", boots.running);
  AddTime(json, "CurrentBootTimeStr", boots.logged);
  AddTime(json, "PreviousBootTimeStr", boots.previous);
  // A crash that was logged behind the newest boot event is what this start has newly to tell.
  cJSON_AddStringToObject(json, "importance", record.TimeStamp > boots.running ? "TRUE" : "FALSE");
  return json;
}

void LogSent(bool has_record, const char* time_text) {
  if (has_record) {
    WrapLogPrint(LOG_INFO, u"BuildBsodEventJsonAndInvokeCB func send BSOD Event time stamp(%S)\r\n", time_text);
  } else {
    WrapLogPrint(LOG_INFO, u"BuildBsodEventJsonAndInvokeCB func send NULL Event time stamp(%S)\r\n", time_text);
  }
}

}  // namespace

std::uint32_t BuildBsodEventJsonAndInvokeCB(const CrashEventRecord* record, std::uint64_t thisBootTime,
                                            std::uint64_t currentBootTime, std::uint64_t previousBootTime,
                                            const ConsumerTable* table) {
  if (table == nullptr || table->pfnEventCallback == nullptr) return platform::kErrorInvalidParameter;
  cJSON* facts = nullptr;
  if (record != nullptr) {
    facts = NewCrashFacts(*record, {thisBootTime, currentBootTime, previousBootTime});
    if (facts == nullptr) return platform::kErrorOutOfMemory;
  }
  const std::uint64_t time = record != nullptr ? record->TimeStamp : PreciseTimeNow();
  cJSON* const json = cJSON_CreateObject();
  if (json == nullptr) {
    cJSON_Delete(facts);
    return platform::kErrorOutOfMemory;
  }
  char time_text[kCrashTextCapacity] = {};
  AddCrashEnvelope(json, time, "AnalyzeBSODEvents", time_text);
  if (facts == nullptr) {
    cJSON_AddNullToObject(json, "AdditionalMsgAnsi");
  } else if (!cJSON_AddItemToObject(json, "AdditionalMsgAnsi", facts)) {
    cJSON_Delete(facts);  // not handed over: there was no memory for its key
  }
  char* const text = cJSON_PrintUnformatted(json);
  if (text != nullptr) {
    table->pfnEventCallback.get()(table->pCallbackContext, text);
    cJSON_free(text);
  }
  LogSent(record != nullptr, time_text);
  cJSON_Delete(json);
  return platform::kErrorSuccess;
}

}  // namespace varnel

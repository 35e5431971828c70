#include "crash/dump_report_text.h"

#include <cjson/cJSON.h>

#include "base/log.h"
#include "crash/crash_envelope.h"
#include "pipeline/consumer_table.h"
#include "platform/platform.h"

namespace varnel {
namespace {

constexpr char kReportKey[] = "AdditionalMsgJson";

void AddReport(cJSON* json, const char* report_text) {
  if (report_text == nullptr || *report_text == '\0') {
    cJSON_AddNullToObject(json, kReportKey);
    return;
  }
  cJSON* const report = cJSON_Parse(report_text);
  if (report == nullptr) {
    cJSON_AddNullToObject(json, kReportKey);
    WrapLogPrint(LOG_ERROR, u"BuildBsodDumpJsonAndInvokeCB func cJSON_Parse failed:%S\r\n", report_text);
  } else if (!cJSON_AddItemToObject(json, kReportKey, report)) {
    cJSON_Delete(report);  // not handed over: there was no memory for its key
  }
}

void Send(const char* text) {
  const ConsumerTable& table = g_ConsumerTable;
  const VarnelEventCallback callback = table.pfnEventCallback;
  if (callback != nullptr && table.bHasCallInit != 0) {
    callback(table.pCallbackContext, text);
    return;
  }
  platform::SystemPort().OutputDebugStringA(text);
  platform::SystemPort().OutputDebugStringA("\r\n");
}

}  // namespace

void BuildBsodDumpJsonAndInvokeCB(const char* reportText, std::uint32_t withSymbol) {
  const std::uint64_t now = PreciseTimeNow();
  cJSON* const json = cJSON_CreateObject();
  if (json == nullptr) return;
  char time_text[kCrashTextCapacity] = {};
  AddCrashEnvelope(json, now, withSymbol != 0 ? "BsodDumpCallBackWithSymbol" : "BsodDumpCallBackNoSymbol", time_text);
  AddReport(json, reportText);
  char* const text = cJSON_PrintUnformatted(json);
  if (text != nullptr) {
    Send(text);
    cJSON_free(text);
  }
  cJSON_Delete(json);
}

void BsodDumpCallBack(std::uint8_t success, const std::string& report, const std::string& /*error*/, void* pass) {
  const bool with_symbol = pass != nullptr;
  if (success != 0) {
    BuildBsodDumpJsonAndInvokeCB(report.c_str(), with_symbol ? 1 : 0);
    if (with_symbol) {
      WrapLogPrint(LOG_INFO, u"BSODCheckThread func has send BsodDumpJson with symbol.\r\n");
    } else {
      WrapLogPrint(LOG_INFO, u"BSODCheckThread func has send BsodDumpJson no symbol.\r\n");
    }
  } else {
    WrapLogPrint(LOG_ERROR, u"BsodDumpCallBack func check success is zero(failed.)\r\n");
  }
  const ConsumerTable& table = g_ConsumerTable;
  platform::ThreadsPort().SetEvent(with_symbol ? table.WithSymbolDoneEvent : table.NoSymbolDoneEvent);
}

}  // namespace varnel

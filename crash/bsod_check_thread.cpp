#include "crash/bsod_check_thread.h"

#include "analyzer/bsod_analyzer.h"
#include "base/format.h"
#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "crash/analyze_bsod_events.h"
#include "crash/dump_report_text.h"
#include "pipeline/consumer_table.h"
#include "pipeline/guid_fields.h"
#include "platform/platform.h"

namespace varnel {
namespace {

constexpr std::uint32_t kAnalysisStopped = HresultFromWin32(platform::kErrorCancelled);

void Signal(platform::HANDLE event) {
  platform::ThreadsPort().SetEvent(event);
}

bool IsSignalled(platform::HANDLE event) {
  return platform::ThreadsPort().WaitForSingleObject(event, 0) == platform::kWaitObject0;
}

/// The exit code for an analyzer that could not be made, else 0.
std::uint32_t MakeAnalyzer() {
  char16_t guid_text[kMaxPath] = {};
  FormatTo(guid_text, kMaxPath, u"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
           VARNEL_GUID_FIELDS(GUID_WARDLET_TOOL));
  const std::int32_t result = InitBsodAnalyzer(guid_text);
  if (result >= 0) return platform::kErrorSuccess;
  WrapLogPrint(LOG_ERROR, u"BSODCheckThread func call InitBsodAnalyzer failed(0x%08X)\r\n", result);
  switch (static_cast<std::uint32_t>(result)) {
    case kStatusInvalidArgument:
      return platform::kErrorInvalidParameter;
    case kStatusOutOfMemory:
      return platform::kErrorOutOfMemory;
    default:
      return platform::kErrorGenFailure;
  }
}

/// The callback for a pass that the host asked for. One that it did not ask for is done before it began.
BsodDumpCallBackFunction CallBackFor(const ConsumerTable& table, std::uint32_t flag, platform::HANDLE done_event) {
  if ((table.dwFlags & flag) != 0) return BsodDumpCallBack;
  Signal(done_event);
  return nullptr;
}

/// Returns when the analysis has ended; the exit code for one that could not be started or was stopped, else 0.
std::uint32_t RunAnalyzer(const ConsumerTable& table) {
  const auto no_symbol = CallBackFor(table, WARDLET_FLAG_REPORT_WITHOUT_SYMBOLS, table.NoSymbolDoneEvent);
  const auto with_symbol = CallBackFor(table, WARDLET_FLAG_REPORT_WITH_SYMBOLS, table.WithSymbolDoneEvent);
  const std::int32_t result =
      StartBsodAnalyzer(no_symbol, nullptr, with_symbol, reinterpret_cast<void*>(std::uintptr_t{1}));
  if (result >= 0) return platform::kErrorSuccess;
  WrapLogPrint(LOG_ERROR, u"BSODCheckThread func call StartBsodAnalyzer failed(0x%08X)\r\n", result);
  const bool stopped = static_cast<std::uint32_t>(result) == kAnalysisStopped;
  return stopped ? platform::kErrorCancelled : platform::kErrorGenFailure;
}

/// The analyzer has ended, so a pass that is not done by now brought no report.
void AnswerUnansweredPasses(const ConsumerTable& table) {
  if (!IsSignalled(table.NoSymbolDoneEvent)) {
    if (table.bThisBootHasExecute == 0) {
      BuildBsodDumpJsonAndInvokeCB(nullptr, 0);
      WrapLogPrint(LOG_INFO, u"BSODCheckThread func has send empty BsodDumpJson no symbol.\r\n");
    }
    Signal(table.NoSymbolDoneEvent);
  }
  if (!IsSignalled(table.WithSymbolDoneEvent)) {
    if (table.bThisBootHasExecute == 0) {
      BuildBsodDumpJsonAndInvokeCB(nullptr, 1);
      WrapLogPrint(LOG_INFO, u"BSODCheckThread func has send empty BsodDumpJson with symbol.\r\n");
    }
    Signal(table.WithSymbolDoneEvent);
  }
}

}  // namespace

std::uint32_t BSODCheckThread(void* parameter) {
  const auto* const table = static_cast<const ConsumerTable*>(parameter);
  if (table == nullptr) {
    WrapLogPrint(LOG_ERROR, u"BSODCheckThread func check lpParam is NULL\r\n");
    return platform::kErrorInvalidParameter;
  }
  // What the analyzer does doesn't depend on the event log.
  const std::uint32_t events_error = AnalyzeBSODEvents(table);
  if (events_error != platform::kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"BSODCheckThread func call AnalyzeBSODEvents failed(0x%x)\r\n", events_error);
  }
  std::uint32_t exit_code = MakeAnalyzer();
  if (exit_code == platform::kErrorSuccess) exit_code = RunAnalyzer(*table);
  if (exit_code != platform::kErrorSuccess) return exit_code;
  const std::int32_t uninit = UninitBsodAnalyzer();
  if (uninit != 0) {
    // The line has always named the stop; who reads logs looks for it.
    WrapLogPrint(LOG_ERROR, u"EtwConsumerStop func call UninitBsodAnalyzer(0x%x) is not S_OK\r\n", uninit);
  }
  AnswerUnansweredPasses(*table);
  return platform::kErrorSuccess;
}

}  // namespace varnel

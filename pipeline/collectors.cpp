#include "pipeline/collectors.h"

#include <algorithm>
#include <array>

#include "base/compiler.h"
#include "base/file_services.h"
#include "base/log.h"
#include "base/text.h"
#include "pipeline/consumer_table.h"
#include "pipeline/consumer_thread.h"
#include "pipeline/event_decode.h"
#include "platform/platform.h"
#include "session/housekeeping.h"
#include "session/provider_table.h"

namespace varnel {
namespace {

using platform::EVENT_TRACE_LOGFILEW;

constexpr char16_t kTraceFolder[] = u"X:\\Windows\\System32\\LogFiles\\WMI";
constexpr std::uintptr_t kTempSessionFiles = 1;
constexpr std::uintptr_t kAutoSessionFiles = 0;

bool IsSupportedProvider(const GUID& provider) {
  return std::any_of(kProviderTable.begin(), kProviderTable.end(),
                     [&](const ProviderTableEntry& entry) { return entry.guid == provider; });
}

void LogSkippedProvider(const GUID& provider) {
  std::array<char16_t, kMaxPath> text{};
  platform::SystemPort().StringFromGUID2(provider, text.data(), text.size());
  WrapLogPrint(LOG_DETAIL,
               u"EventRecordCallback func check Event GUID(%s) doesn't match any supported provider, skip "
               u"processing.\r\n",
               text.data());
}

EVENT_TRACE_LOGFILEW LogFileFor(std::uint32_t mode) {
  EVENT_TRACE_LOGFILEW logfile{};
  logfile.ProcessTraceMode = mode;
  logfile.EventRecordCallback = EventRecordCallback;
  logfile.BufferCallback = TraceBufferCallback;
  return logfile;
}

std::uint32_t ReadLeftOverFiles(const char16_t* folder) {
  std::uint32_t result =
      EnumTargetDirFile(folder, CheckIsTargetSessionLogFile, reinterpret_cast<void*>(kTempSessionFiles));
  if (result != 0) {
    WrapLogPrint(LOG_ERROR,
                 u"LeakEventCollectThread func call EnumTargetDirFile with  CheckTempSessionLogFile failed(0x%x)\r\n",
                 result);
    return result;
  }
  result = EnumTargetDirFile(folder, CheckIsTargetSessionLogFile, reinterpret_cast<void*>(kAutoSessionFiles));
  if (result != 0) {
    WrapLogPrint(LOG_ERROR,
                 u"LeakEventCollectThread func call EnumTargetDirFile with  CheckAutoSessionLogFile failed(0x%x)\r\n",
                 result);
  }
  return result;
}

std::uint32_t DeleteLeftOverFiles(const char16_t* folder) {
  std::uint32_t result = DeleteAllTempSessionLogFiles(folder);
  if (result != 0) {
    WrapLogPrint(LOG_ERROR, u"LeakEventCollectThread func call DeleteAllTempSessionLogFiles failed(0x%x)\r\n", result);
    return result;
  }
  result = DeleteAllAutoSessionLogFiles(folder);
  if (result != 0) {
    WrapLogPrint(LOG_ERROR, u"LeakEventCollectThread func call DeleteAllAutoSessionLogFiles failed(0x%x)\r\n", result);
  }
  return result;
}

}  // namespace

void EventRecordCallback(platform::EVENT_RECORD* event) {
  const GUID& provider = event->EventHeader.ProviderId;
  const std::uint64_t keyword = event->EventHeader.EventDescriptor.Keyword;
  if (!IsSupportedProvider(provider)) return LogSkippedProvider(provider);
  std::uint32_t error = CheckAndCreateTargetConsumerThread(&provider, keyword, &g_ConsumerTable, RawEventDealThread);
  if (error != 0) {
    WrapLogPrint(LOG_DETAIL, u"EventRecordCallback call CheckAndCreateTargetConsumerThread failed(0x%X).\r\n", error);
    return;
  }
  RawEvent* raw = nullptr;
  error = ConvertEtwEventToRawEvent(event, &raw);
  if (error != 0) {
    WrapLogPrint(LOG_DETAIL, u"EventRecordCallback call ConvertEtwEventToRawEvent failed(0x%X).\r\n", error);
    return;
  }
  error = InsertRawEvent(&g_ConsumerTable, raw, &provider, keyword);
  if (error != 0) {
    WrapLogPrint(LOG_DETAIL, u"EventRecordCallback call InsertRawEvent failed(0x%X).\r\n", error);
    VARNEL_INTENDED_LEAK(raw);
  }
}

std::uint32_t TraceBufferCallback(EVENT_TRACE_LOGFILEW* /*buffer*/) {
  return g_ConsumerTable.bStopRequested == 0 ? 1 : 0;
}

std::uint32_t RealTimeEventCollectThread(void* parameter) {
  auto* table = static_cast<ConsumerTable*>(parameter);
  if (table == nullptr) {
    WrapLogPrint(LOG_ERROR, u"RealTimeEventCollectThread func check lpParam is zero\r\n");
    return platform::kErrorGenFailure;
  }
  std::array<char16_t, kMaxPath> session_name{};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, session_name.data(), session_name.size());
  EVENT_TRACE_LOGFILEW logfile =
      LogFileFor(platform::kProcessTraceModeEventRecord | platform::kProcessTraceModeRealTime);
  logfile.LoggerName = session_name.data();
  const platform::TRACEHANDLE trace = platform::TracePort().OpenTraceW(&logfile);
  table->hRealTimeTrace = trace;
  // This test has never looked at the opened trace. A failed open shows when the reading fails, after the event below
  // has let stop pass.
  constexpr platform::TRACEHANDLE kNeverSet = 0;
  if (kNeverSet == platform::kInvalidProcessTraceHandle) {
    const std::uint32_t error = platform::SystemPort().GetLastError();
    WrapLogPrint(LOG_ERROR, u"RealTimeEventCollectThread OpenTrace with realtime failed(0x%x)\r\n", error);
    return error;
  }
  platform::ThreadsPort().SetEvent(table->hRealTimeOpenedEvent);
  const std::uint32_t result = platform::TracePort().ProcessTrace(&trace, 1, nullptr, nullptr);
  if (result != platform::kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"RealTimeEventCollectThread ProcessTrace failed(0x%x)\r\n", result);
  }
  return result;
}

std::uint32_t LeakEventCollectThread(void* parameter) {
  if (parameter == nullptr) {
    WrapLogPrint(LOG_ERROR, u"LeakEventCollectThread func check lpParam is zero\r\n");
    return platform::kErrorInvalidParameter;
  }
  std::array<char16_t, kMaxPath> folder{};
  platform::SystemPort().GetSystemDirectoryW(folder.data(), folder.size());
  const char16_t drive = folder[0];
  CopyText(folder.data(), folder.size(), kTraceFolder);
  folder[0] = drive;
  const std::uint32_t result = ReadLeftOverFiles(folder.data());
  return result != 0 ? result : DeleteLeftOverFiles(folder.data());
}

std::uint32_t CheckIsTargetSessionLogFile(const char16_t* filePath, void* isTempSession) {
  std::uint32_t is_ours = 0;
  CheckIsOurEtwLogFiles(filePath, static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(isTempSession)),
                        &is_ours);
  if (is_ours == 0) return 0;
  std::array<char16_t, kMaxPath> path{};
  CopyText(path.data(), path.size(), filePath);
  EVENT_TRACE_LOGFILEW logfile = LogFileFor(platform::kProcessTraceModeEventRecord);
  logfile.LogFileName = path.data();
  platform::Trace& traces = platform::TracePort();
  const platform::TRACEHANDLE trace = traces.OpenTraceW(&logfile);
  if (trace == platform::kInvalidProcessTraceHandle) {
    WrapLogPrint(LOG_INFO, u"CheckIsTargetSessionLogFile func call OpenTrace with file failed(0x%x).\r\n",
                 platform::SystemPort().GetLastError());
    return 0;
  }
  const std::uint32_t result = traces.ProcessTrace(&trace, 1, nullptr, nullptr);
  if (result != platform::kErrorSuccess) {
    WrapLogPrint(LOG_INFO, u"CheckIsTargetSessionLogFile func call ProcessTrace failed(0x%x).\r\n", result);
  }
  if (trace != 0 && trace != platform::kInvalidProcessTraceHandle) traces.CloseTrace(trace);
  return 0;
}

}  // namespace varnel

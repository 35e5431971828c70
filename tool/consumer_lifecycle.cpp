#include "tool/consumer_lifecycle.h"

#include <array>

#include "analyzer/bsod_analyzer.h"
#include "base/log.h"
#include "base/status.h"
#include "crash/bsod_check_thread.h"
#include "pipeline/collectors.h"
#include "pipeline/consumer_table.h"
#include "pipeline/consumer_thread.h"
#include "pipeline/guid_fields.h"
#include "pipeline/target_consumer.h"
#include "platform/platform.h"
#include "session/autologger.h"
#include "session/provider_manifest.h"
#include "session/provider_table.h"
#include "session/temp_session.h"
#include "tool/boot_marker.h"

namespace varnel {
namespace {

using platform::HANDLE;

constexpr std::uint32_t kNoSymbolReportWaitMs = 2000;

HANDLE CreateManualResetEvent() {
  return platform::ThreadsPort().CreateEventW(/*manual_reset=*/true, /*initial_state=*/false);
}

void CloseAndClear(Relaxed<HANDLE>* handle) {
  if (handle->get() == nullptr) return;
  platform::SystemPort().CloseHandle(handle->get());
  *handle = nullptr;
}

void WaitCloseAndClear(Relaxed<HANDLE>* handle) {
  platform::ThreadsPort().WaitForSingleObject(handle->get(), platform::kInfinite);
  platform::SystemPort().CloseHandle(handle->get());
  *handle = nullptr;
}

// A session of the module's name runs when this gives 0. Its handle is dropped: nothing here ever stops it.
std::uint32_t EnsureSession() {
  std::array<char16_t, 256> session_name{};
  std::array<char16_t, 260> log_path{};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, session_name.data(), session_name.size());
  if (CheckTraceSessionExists(session_name.data(), log_path.data(), log_path.size()) != 0) return 0;
  platform::TRACEHANDLE session = 0;
  return CreateTempSession(&session);
}

void FillTable(ConsumerTable* table, std::uint32_t flags, VarnelEventCallback callback, void* context) {
  table->dwFlags = flags;
  table->pfnEventCallback = callback;
  table->pCallbackContext = context;
  {
    ExclusiveLock lock(table->TableLock);
    InitializeListHead(&table->ConsumerList);
  }
  table->bHasCallInit = 1;
  table->hStopEvent = CreateManualResetEvent();
}

// The three threads in their order, each with the events that it needs. False at the first that could not be started.
bool StartThreads(ConsumerTable* table) {
  platform::Threads& threads = platform::ThreadsPort();
  platform::System& system = platform::SystemPort();
  table->NoSymbolDoneEvent = CreateManualResetEvent();
  table->WithSymbolDoneEvent = CreateManualResetEvent();
  table->hBSODCheckThread = threads.CreateThread(BSODCheckThread, table);
  if (table->hBSODCheckThread == nullptr) {
    WrapLogPrint(LOG_ERROR, u"EtwConsumerStart func create BSODCheckThread failed(0x%x)!\r\n", system.GetLastError());
    return false;
  }
  table->hRealTimeOpenedEvent = CreateManualResetEvent();
  table->hRealTimeEventCollectThread = threads.CreateThread(RealTimeEventCollectThread, table);
  if (table->hRealTimeEventCollectThread == nullptr) {
    WrapLogPrint(LOG_ERROR, u"EtwConsumerStart func create RealTimeEventCollectThread failed(0x%x)!\r\n",
                 system.GetLastError());
    return false;
  }
  table->hLeakEventCollectThread = threads.CreateThread(LeakEventCollectThread, table);
  if (table->hLeakEventCollectThread == nullptr) {
    WrapLogPrint(LOG_ERROR, u"EtwConsumerStart func create LeakEventCollectThread failed(0x%x)!\r\n",
                 system.GetLastError());
    return false;
  }
  return true;
}

// Gives the result of the start. A failure behind the manifests does not bring a code of its own.
std::uint32_t StartConsumer(ConsumerTable* table, std::uint32_t flags, VarnelEventCallback callback, void* context) {
  std::uint32_t result = kStatusUnsuccessful;
  if (table->bHasCallInit != 0) {
    WrapLogPrint(LOG_ERROR, u"EtwConsumerStart func check bHasCallInit(0x%x) is not FALSE!\r\n",
                 table->bHasCallInit.get());
    return result;
  }
  EtwConsumerInstall();
  const std::uint32_t session_error = EnsureSession();
  if (session_error != 0) {
    WrapLogPrint(LOG_ERROR, u"EtwConsumerStart func call CreateTempSession failed(0x%x)!\r\n", session_error);
    return session_error;
  }
  result = LoadAllProviderXmlFile();
  FillTable(table, flags, callback, context);
  std::uint32_t has_execute = table->bThisBootHasExecute;
  const std::uint32_t marker_error = CheckThisBootHasExecute(&has_execute);
  table->bThisBootHasExecute = has_execute;
  if (marker_error != 0) {
    WrapLogPrint(LOG_ERROR, u"EtwConsumerStart func call CheckThisBootHasExecute failed(0x%x)!\r\n", result);
    return result;
  }
  return StartThreads(table) ? platform::kErrorSuccess : result;
}

// Each thread is waited for before what it uses goes. A wait on a null handle returns at once.
void StopThreads(ConsumerTable* table) {
  platform::Threads& threads = platform::ThreadsPort();
  threads.WaitForSingleObject(table->NoSymbolDoneEvent, kNoSymbolReportWaitMs);
  const std::uint32_t analyzer_status = StopBsodAnalyzer(platform::kInfinite);
  if (analyzer_status != 0) {
    WrapLogPrint(LOG_ERROR, u"EtwConsumerStop func call StopBsodAnalyzer(0x%x) is not Success\r\n", analyzer_status);
  }
  WaitCloseAndClear(&table->hBSODCheckThread);
  if (table->hLeakEventCollectThread != nullptr) WaitCloseAndClear(&table->hLeakEventCollectThread);
  // Behind this wait the live thread has stored its trace handle.
  if (table->hRealTimeOpenedEvent != nullptr) {
    threads.WaitForSingleObject(table->hRealTimeOpenedEvent, platform::kInfinite);
  }
  const platform::TRACEHANDLE trace = table->hRealTimeTrace;
  if (trace != 0 && trace != platform::kInvalidProcessTraceHandle) {
    platform::TracePort().CloseTrace(trace);
    table->hRealTimeTrace = 0;
  }
  if (table->hRealTimeEventCollectThread != nullptr) WaitCloseAndClear(&table->hRealTimeEventCollectThread);
}

// Null when the list is empty.
TargetConsumer* UnlinkFirstConsumer(ConsumerTable* table) {
  ExclusiveLock lock(table->TableLock);
  if (IsListEmpty(&table->ConsumerList)) return nullptr;
  return ConsumerFromLink(RemoveHeadList(&table->ConsumerList));
}

// The collectors have ended, so nobody adds to the list while its consumers are worked off without the lock.
void DrainConsumers(ConsumerTable* table) {
  while (TargetConsumer* consumer = UnlinkFirstConsumer(table)) {
    const GUID provider = consumer->ProviderGuid;
    const std::uint64_t keyword = consumer->dwKeyWord;
    if (CleanupTargetConsumerThread(consumer) != 0) {
      WrapLogPrint(LOG_ERROR,
                   u"EtwConsumerStop func call CleanupTargetConsumerThread failed, "
                   u"ProviderGuid={%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}, dwKeyWord=0x%I64X\r\n",
                   VARNEL_GUID_FIELDS(provider), keyword);
    }
    FreeTargetConsumer(consumer);
    table->dwConsumerCount.Add(~0u);
  }
}

// The two done events stay open: the next start overwrites their handles.
void ClearTable(ConsumerTable* table) {
  CloseAndClear(&table->hStopEvent);
  CloseAndClear(&table->hRealTimeOpenedEvent);
  table->dwFlags = 0;
  table->bHasCallInit = 0;
  table->bStopRequested = 0;
  table->pfnEventCallback = nullptr;
  table->pCallbackContext = nullptr;
  table->dwConsumerCount = 0;
}

}  // namespace

std::uint32_t EtwConsumerStart(std::uint32_t Flags, VarnelEventCallback callback, void* context) {
  ConsumerTable* table = &g_ConsumerTable;
  WrapLogPrint(LOG_INFO, u"EtwConsumerStart func In Flags(0x%x).\r\n", Flags);
  const std::uint32_t dwRet = StartConsumer(table, Flags, callback, context);
  if (dwRet != 0) {
    CloseAndClear(&table->NoSymbolDoneEvent);
    CloseAndClear(&table->WithSymbolDoneEvent);
    EtwConsumerStop();
  }
  WrapLogPrint(LOG_INFO, u"EtwConsumerStart func Out dwRet(0x%x).\r\n", dwRet);
  return dwRet;
}

std::uint32_t EtwConsumerStop() {
  ConsumerTable* table = &g_ConsumerTable;
  WrapLogPrint(LOG_INFO, u"EtwConsumerStop func In.\r\n");
  if (table->bHasCallInit != 1) {
    WrapLogPrint(LOG_ERROR, u"EtwConsumerStop func check bHasCallInit(%d) is not TRUE\r\n", table->bHasCallInit.get());
    return platform::kErrorGenFailure;
  }
  table->bStopRequested.Exchange(1);
  if (table->hStopEvent != nullptr) platform::ThreadsPort().SetEvent(table->hStopEvent);
  StopThreads(table);
  DrainConsumers(table);
  ClearTable(table);
  WrapLogPrint(LOG_INFO, u"EtwConsumerStop func Out.\r\n");
  return platform::kErrorSuccess;
}

}  // namespace varnel

#include "pipeline/consumer_thread.h"

#include <array>
#include <cstring>

#include "base/log.h"
#include "pipeline/consumer_table.h"
#include "pipeline/event_order.h"
#include "pipeline/guid_fields.h"
#include "platform/platform.h"

namespace varnel {
namespace {

// A keyword without a record starts from time stamp 0 and counter 0.
bool LoadPosition(TargetConsumer* consumer) {
  ProviderModuleCounter* records = nullptr;
  std::uint32_t count = 0;
  const std::uint32_t error = GetTargetProviderModulesCounter(&consumer->ProviderGuid, &records, &count);
  if (error != platform::kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"RealTimeEventCollectThread func call GetTargetProviderModulesCounter failed(0x%x)!\r\n",
                 platform::SystemPort().GetLastError());
    return false;
  }
  consumer->Progress = {consumer->dwKeyWord, 0, 0};
  for (std::uint32_t i = 0; i < count; ++i) {
    if (records[i].dwKeyWord != consumer->dwKeyWord) continue;
    std::memcpy(&consumer->Progress, &records[i], sizeof(records[i]));  // with the padding, as it was stored
    break;
  }
  platform::SystemPort().HeapFree(records);
  return true;
}

// Judges the head of the queue. False when the queue is empty.
bool CookNext(TargetConsumer* consumer, platform::HKEY* hKey, std::uint32_t* result) {
  consumer->QueueLock.LockExclusive();
  if (IsListEmpty(&consumer->Queue)) {
    consumer->QueueLock.UnlockExclusive();
    return false;
  }
  *result = CookRawEvent(consumer, hKey);
  return true;
}

// Until the stop event is met with an empty queue. Gives the last wait's result.
std::uint32_t DealUntilStop(TargetConsumer* consumer, platform::HKEY* hKey) {
  for (;;) {
    std::uint32_t result = 0;
    if (CookNext(consumer, hKey, &result)) {
      if (result != 0) WrapLogPrint(LOG_ERROR, u"RawEventDealThread func CookRawEvent failed(0x%x)!\r\n", result);
      continue;
    }
    const std::array<platform::HANDLE, 2> handles{consumer->hWakeEvent, consumer->pTable->hStopEvent};
    const std::uint32_t reason = platform::ThreadsPort().WaitForMultipleObjects(
        handles.size(), handles.data(), /*wait_all=*/false, platform::kInfinite);
    if (reason == platform::kWaitObject0 + 1) return reason;
    if (reason != platform::kWaitObject0 && reason != platform::kWaitTimeout) {
      WrapLogPrint(LOG_ERROR, u"RawEventDealThread func wait reason invalid(0x%x)!\r\n", reason);
    }
  }
}

}  // namespace

std::uint32_t RawEventDealThread(void* parameter) {
  auto* consumer = static_cast<TargetConsumer*>(parameter);
  if (consumer == nullptr) {
    WrapLogPrint(LOG_ERROR, u"RealTimeEventCollectThread func check lpParam is zero\r\n");
    return 0;
  }
  if (!LoadPosition(consumer)) return 0;
  platform::HKEY key = nullptr;
  const std::uint32_t reason = DealUntilStop(consumer, &key);
  WrapLogPrint(LOG_DETAIL,
               u"RawEventDealThread func Exit(0x%x), "
               u"ProviderGuid={%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}, dwKeyWord=0x%I64X\r\n",
               reason, VARNEL_GUID_FIELDS(consumer->ProviderGuid), consumer->dwKeyWord);
  if (key != nullptr) platform::RegistryPort().RegCloseKey(key);
  return 0;
}

std::uint32_t CleanupTargetConsumerThread(TargetConsumer* consumer) {
  if (consumer == nullptr) return platform::kErrorInvalidParameter;
  platform::System& system = platform::SystemPort();
  if (consumer->hThread != nullptr) {
    platform::ThreadsPort().WaitForSingleObject(consumer->hThread, platform::kInfinite);
    system.CloseHandle(consumer->hThread);
    consumer->hThread = nullptr;
  }
  if (consumer->hWakeEvent != nullptr) {
    system.CloseHandle(consumer->hWakeEvent);
    consumer->hWakeEvent = nullptr;
  }
  platform::HKEY key = nullptr;
  std::uint32_t result = 0;
  while (CookNext(consumer, &key, &result)) {
    if (result != 0) {
      WrapLogPrint(LOG_INFO, u"CleanupTargetConsumerThread func call CookRawEvent failed(0x%x)\r\n", result);
    }
  }
  if (key != nullptr) platform::RegistryPort().RegCloseKey(key);
  return platform::kErrorSuccess;
}

}  // namespace varnel

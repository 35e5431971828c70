#include "pipeline/consumer_table.h"

#include "pipeline/target_consumer.h"
#include "platform/platform.h"

namespace varnel {

constinit ConsumerTable g_ConsumerTable{};

namespace {

TargetConsumer* FindConsumer(ConsumerTable* table, const GUID& provider, std::uint64_t keyword)
    VARNEL_REQUIRES_SHARED(table->TableLock) {
  ListEntry* head = &table->ConsumerList;
  for (ListEntry* entry = head->Flink; entry != head; entry = entry->Flink) {
    TargetConsumer* consumer = ConsumerFromLink(entry);
    if (consumer->ProviderGuid == provider && consumer->dwKeyWord == keyword) return consumer;
  }
  return nullptr;
}

// Fills in the handles. The thread runs before its record stands in the list: it touches only the record, and reads its
// position before it looks at the queue. False when one of them can't be had; `error` is then the last error, which is
// no witness of the failure: it may be 0.
bool StartConsumer(TargetConsumer* consumer, platform::ThreadStart thread_proc, std::uint32_t* error) {
  platform::Threads& threads = platform::ThreadsPort();
  consumer->hWakeEvent = threads.CreateEventW(/*manual_reset=*/false, /*initial_state=*/false);
  if (consumer->hWakeEvent != nullptr) consumer->hThread = threads.CreateThread(thread_proc, consumer);
  if (consumer->hThread != nullptr) return true;
  *error = platform::SystemPort().GetLastError();
  return false;
}

// Takes down a consumer that did not come to stand in the list.
void DiscardConsumer(TargetConsumer* consumer) {
  platform::System& system = platform::SystemPort();
  if (consumer->hThread != nullptr) {
    platform::ThreadsPort().WaitForSingleObject(consumer->hThread, platform::kInfinite);
    system.CloseHandle(consumer->hThread);
  }
  if (consumer->hWakeEvent != nullptr) system.CloseHandle(consumer->hWakeEvent);
  FreeTargetConsumer(consumer);
}

}  // namespace

std::uint32_t CheckAndCreateTargetConsumerThread(const GUID* providerGuid, std::uint64_t keyword, ConsumerTable* table,
                                                 platform::ThreadStart threadProc) {
  keyword &= ~kNoModuleBits;
  if (providerGuid == nullptr || table == nullptr || threadProc == nullptr) return platform::kErrorInvalidParameter;
  TargetConsumer* consumer = nullptr;
  std::uint32_t error = platform::kErrorSuccess;
  bool started = false;
  {
    ExclusiveLock lock(table->TableLock);
    if (FindConsumer(table, *providerGuid, keyword) != nullptr) return platform::kErrorSuccess;
    consumer = AllocateTargetConsumer(table, *providerGuid, keyword);
    if (consumer == nullptr) return platform::kErrorOutOfMemory;
    started = StartConsumer(consumer, threadProc, &error);
    if (started) {
      InsertTailList(&table->ConsumerList, &consumer->Link);
      table->dwConsumerCount.Add(1);
    }
  }
  if (!started) DiscardConsumer(consumer);
  return error;
}

std::uint32_t InsertRawEvent(ConsumerTable* table, RawEvent* event, const GUID* providerGuid, std::uint64_t keyword) {
  keyword &= ~kNoModuleBits;
  if (table == nullptr || event == nullptr || providerGuid == nullptr) return platform::kErrorInvalidParameter;
  // Shared until the wake event is set, which keeps the consumer in place.
  SharedLock table_lock(table->TableLock);
  TargetConsumer* consumer = FindConsumer(table, *providerGuid, keyword);
  if (consumer == nullptr) return platform::kErrorNotFound;
  {
    ExclusiveLock queue_lock(consumer->QueueLock);
    PlaceRawEvent(consumer, event);
  }
  if (consumer->hWakeEvent != nullptr) platform::ThreadsPort().SetEvent(consumer->hWakeEvent);
  return platform::kErrorSuccess;
}

}  // namespace varnel

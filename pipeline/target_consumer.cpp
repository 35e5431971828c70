#include "pipeline/target_consumer.h"

#include <new>
#include <type_traits>

#include "pipeline/order_record.h"
#include "platform/platform.h"

namespace varnel {
namespace {

static_assert(std::is_trivially_destructible_v<TargetConsumer>);

bool IsEarlier(const RawEvent& event, std::uint64_t time_stamp, std::uint32_t counter) {
  if (event.dwTimeStamp != time_stamp) return event.dwTimeStamp < time_stamp;
  return event.dwCounter < counter;
}

// The first entry that `event` is earlier than, or the head.
ListEntry* FirstLaterEntry(ListEntry* head, const RawEvent& event) {
  ListEntry* entry = head->Flink;
  for (; entry != head; entry = entry->Flink) {
    const RawEvent& queued = *RawEventFromLink(entry);
    if (IsEarlier(event, queued.dwTimeStamp, queued.dwCounter)) break;
  }
  return entry;
}

}  // namespace

TargetConsumer* AllocateTargetConsumer(ConsumerTable* table, const GUID& provider, std::uint64_t keyword) {
  void* block = platform::SystemPort().HeapAlloc(sizeof(TargetConsumer));
  if (block == nullptr) return nullptr;
  auto* consumer = new (block) TargetConsumer{};
  InitializeListHead(&consumer->Link);
  consumer->pTable = table;
  consumer->ProviderGuid = provider;
  consumer->dwKeyWord = keyword;
  ExclusiveLock lock(consumer->QueueLock);
  InitializeListHead(&consumer->Queue);
  return consumer;
}

void FreeTargetConsumer(TargetConsumer* consumer) {
  platform::SystemPort().HeapFree(consumer);
}

void PlaceRawEvent(TargetConsumer* consumer, RawEvent* event) {
  ListEntry* head = &consumer->Queue;
  QueueBound* bound = &consumer->Bound;
  ListEntry* later = head;
  if (!IsListEmpty(head) && IsEarlier(*event, bound->dwTimeStamp, bound->dwCounter)) {
    later = FirstLaterEntry(head, *event);
  }
  if (later != head) {
    InsertHeadList(later, &event->Link);
  } else {
    InsertTailList(head, &event->Link);
    *bound = {event->dwTimeStamp, event->dwCounter};
  }
  ++consumer->dwQueueCount;
  RecordInsertion(*consumer, *event);
}

}  // namespace varnel

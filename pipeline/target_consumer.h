// TargetConsumer: the queue, thread and position of one provider and module keyword. A plain heap record, owned by the
// consumer table's list from its creation until stop takes it out and frees it.
#pragma once

#include <cstdint>

#include "base/lock.h"
#include "interfaces/guid.h"
#include "pipeline/list.h"
#include "pipeline/progress_store.h"
#include "pipeline/raw_event.h"
#include "platform/types.h"

namespace varnel {

struct ConsumerTable;

/// The low three bits of an event's keyword name its kind and not its module.
inline constexpr std::uint64_t kNoModuleBits = 7;

/// The greatest event of a queue, or one that was greater and has left it: no event in the queue lies behind it.
struct QueueBound {
  std::uint64_t dwTimeStamp;
  std::uint32_t dwCounter;
};

struct TargetConsumer {
  ListEntry Link;         // in ConsumerTable::ConsumerList
  ConsumerTable* pTable;  // the owner
  GUID ProviderGuid;
  std::uint64_t dwKeyWord;  // its low three bits are clear
  platform::HANDLE hThread;
  ProviderModuleCounter Progress;  // belongs to the thread, and to the clean-up once the thread has ended
  platform::HANDLE hWakeEvent;     // auto-reset
  SrwLock QueueLock;               // only ever taken exclusively
  std::uint32_t dwQueueCount VARNEL_GUARDED_BY(QueueLock);  // insertions so far
  ListEntry Queue VARNEL_GUARDED_BY(QueueLock);             // of RawEvent
  QueueBound Bound VARNEL_GUARDED_BY(QueueLock);
};

inline TargetConsumer* ConsumerFromLink(ListEntry* link) {
  return reinterpret_cast<TargetConsumer*>(link);
}

/// A consumer with an empty queue, no handles and no position; null when memory runs out.
TargetConsumer* AllocateTargetConsumer(ConsumerTable* table, const GUID& provider, std::uint64_t keyword);

/// Frees the record alone: its handles and queue are the caller's business.
void FreeTargetConsumer(TargetConsumer* consumer);

/// Puts an event into the queue, which owns it from then on. Walking from the front, it goes directly behind the first
/// event that it is earlier than (by time stamp, then by counter), and to the end where there is none.
//
// So an event that came too late stands one place behind where strict order would have it. The decision at the head of
// the queue is made against the last delivered event, which drops what has fallen behind.
//
// Nearly all events belong at the end. An event that is not earlier than the bound is not earlier than any event in the
// queue, so it goes there without a walk. The bound is exact while the greatest event stays queued; after that event
// has left it is too high, and the first event to reach the end by a walk becomes the new bound.
void PlaceRawEvent(TargetConsumer* consumer, RawEvent* event) VARNEL_REQUIRES(consumer->QueueLock);

}  // namespace varnel

#include "crash/crash_event_record.h"

#include <new>

#include "platform/platform.h"

namespace varnel {

CrashEventRecord* AllocateCrashEvent() {
  void* const block = platform::SystemPort().HeapAlloc(sizeof(CrashEventRecord));
  return block == nullptr ? nullptr : new (block) CrashEventRecord{};
}

void FreeCrashEvent(CrashEventRecord* record) {
  platform::SystemPort().HeapFree(record);
}

void FreeFirstCrashEvent(ListEntry* list) {
  FreeCrashEvent(CrashEventFromLink(RemoveHeadList(list)));
}

void InsertCrashEventSorted(CrashEventRecord* record, ListEntry* list) {
  for (ListEntry* at = list->Flink; at != list; at = at->Flink) {
    if (CrashEventFromLink(at)->TimeStamp >= record->TimeStamp) continue;
    InsertHeadList(at, &record->link);
    return;
  }
  InsertTailList(list, &record->link);
}

}  // namespace varnel

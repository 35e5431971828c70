// CrashEventRecord: one kept event of the System log, in a list that is meant to run from the newest to the oldest. The
// list owns its records, which are blocks of the process heap. Not synchronised: a list lives on one thread.
#pragma once

#include <cstdint>

#include "pipeline/list.h"

namespace varnel {

inline constexpr std::uint32_t kBootEventId = 12;   // logged at each boot
inline constexpr std::uint32_t kCrashEventId = 41;  // logged at the boot behind an unclean end

struct CrashEventRecord {
  ListEntry link;              // first, so that a link is its record
  std::uint32_t EventId;       // one of the two above
  std::uint64_t TimeStamp;     // FILETIME count, UTC, to the millisecond
  std::uint64_t BugcheckCode;  // this and the parameters are 0 for a boot event
  std::uint64_t BugcheckParameter1;
  std::uint64_t BugcheckParameter2;
  std::uint64_t BugcheckParameter3;
  std::uint64_t BugcheckParameter4;
};

inline CrashEventRecord* CrashEventFromLink(ListEntry* link) {
  return reinterpret_cast<CrashEventRecord*>(link);
}

/// A cleared record; null when memory runs out.
CrashEventRecord* AllocateCrashEvent();
/// Frees the record alone: it must be in no list.
void FreeCrashEvent(CrashEventRecord* record);
/// Unlinks the first record of a list that is not empty, and frees it.
void FreeFirstCrashEvent(ListEntry* list);

/// Links the record directly behind the first one whose time is less than its own, and at the tail where there is none.
//
// Events come newest first, so nearly every record takes the tail. One that comes out of order stands one place further
// back than a strict sort would put it: that place is intended.
void InsertCrashEventSorted(CrashEventRecord* record, ListEntry* list);

}  // namespace varnel

// The System log's boot and crash events, read into a list of records. For the crash thread alone.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pipeline/list.h"

namespace varnel {

/// The most records that one reading keeps.
inline constexpr std::size_t kMostCrashEvents = 2000;

/// Adds a CrashEventRecord for each boot event of the log, and for each crash event that is newer than the time mark,
/// to the list, newest first; then moves the mark to the newest of them. Events that can't be read are passed over. 0,
/// 87 for a null list, or the code with which the mark, the query or its next event failed: the mark then stays where
/// it was, and the list holds what was read so far. The caller frees what the list holds.
//
// The mark moves before anything is told, so that a crash is told at most once.
std::uint32_t QuerySystemLogEvents(ListEntry* list);

}  // namespace varnel

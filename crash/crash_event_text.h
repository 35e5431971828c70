// The text of one crash event, from its record to the host.
#pragma once

#include <cstdint>

#include "crash/crash_event_record.h"
#include "pipeline/consumer_table.h"

namespace varnel {

/// Tells the host of a crash event with the times of the boots around it (FILETIME counts, 0: not known), or, with a
/// null record, that there was none. 0, also when memory for the finished text runs out and nothing is sent; 14 when it
/// runs out earlier; 87 for a null table or one without a callback. Calls the host on this thread.
std::uint32_t BuildBsodEventJsonAndInvokeCB(const CrashEventRecord* record, std::uint64_t thisBootTime,
                                            std::uint64_t currentBootTime, std::uint64_t previousBootTime,
                                            const ConsumerTable* table);

}  // namespace varnel

// The thread of each consumer, and the clean-up after it.
#pragma once

#include <cstdint>

#include "pipeline/target_consumer.h"

namespace varnel {

/// The thread's body; `parameter` is its TargetConsumer. Reads the stored position, then works through the queue until
/// the stop event is set while the queue is empty. Always 0. When the position can't be read it ends at once, and the
/// consumer's events stay queued until stop.
std::uint32_t RawEventDealThread(void* parameter);

/// Ends a consumer that has left the table's list, with the stop event set: waits for its thread, then works through
/// what is still queued on the calling thread. 0, or 87 for null. The record stays the caller's.
std::uint32_t CleanupTargetConsumerThread(TargetConsumer* consumer);

}  // namespace varnel

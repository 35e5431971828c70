// Delivery of one event to the host.
#pragma once

#include <cstdint>

#include "pipeline/raw_event.h"
#include "pipeline/target_consumer.h"

namespace varnel {

/// The names of the delivery bits for the log line, into `capacity` characters. A bit without a name shows nothing.
void FormatRawEventFlags(char16_t* text, std::uint32_t capacity, std::uint32_t flags);

/// Does what the event's delivery bits say: debugger output, the host's callback. Always 0: the event counts as
/// delivered whatever the callback answers. Runs on the consumer's thread, or on the stopping thread during clean-up,
/// with no lock held. The event stays the caller's.
std::uint32_t RawEventDealInternal(TargetConsumer* consumer, RawEvent* event);

}  // namespace varnel

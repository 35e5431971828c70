// From a trace event to a RawEvent: the header's fields and the schema's properties as one JSON text of strings.
#pragma once

#include <cstdint>

#include "pipeline/raw_event.h"
#include "platform/trace.h"

namespace varnel {

/// Decodes one event through the Trace Data Helper. The keys are, in this order: WardletVersion, TimeStamp,
/// TimeStampString, ProviderGUID, Mod, ProcessId, ThreadId, Level, then each top-level property in the order of the
/// schema; "Counter" and "Flags" go into the record instead. A property that can't be read is left out.
/// 0 with a record that the caller owns; 14 when memory runs out, 31 when the event has no schema, or the error of the
/// schema query. A failure clears *rawEvent once a record was made. Any thread; no state is kept between events.
std::uint32_t ConvertEtwEventToRawEvent(platform::EVENT_RECORD* event, RawEvent** rawEvent);

}  // namespace varnel

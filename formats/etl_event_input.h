// From an event of a trace file to what decoding asks of it.
#pragma once

#include "formats/etl_event.h"
#include "formats/event_input.h"

namespace varnel::formats {

/// Borrows the view's bytes, which must outlive the result.
EventInput ToEventInput(const EtlEventView& event) noexcept;

}  // namespace varnel::formats

// One event of a trace file as one JSON object. Pure.
//
// Keys, in this order; those marked * are left out where the event has nothing to tell.
//   time, stamp, kind, provider, provider_name*, event*, id, version, channel, level, level_name*, opcode,
//   opcode_name*, task, task_name*, keyword, keyword_names*, process_id*, thread_id*, processor, pointer_size,
//   kernel_time, user_time, activity_id*, related_activity_id*, instance_id*, parent_instance_id*, message*,
//   decoded_by*, complete*, and properties or payload
// Numbers of 64 bits are texts: readers of JSON keep only 53 bits.
#pragma once

#include <string>

#include "formats/etl_event.h"
#include "formats/event_decoder.h"

namespace varnel::host {

/// The object without a line end; empty when there was no memory for it.
std::string EventJson(const formats::EtlEventView& event, const formats::DecodedEvent& decoded);

}  // namespace varnel::host

// Reads what a TraceLogging event says about itself: extended item 11 holds the event's name and fields, item 12 the
// provider's name. The result is a layout like that of a manifest.
//
//   schema   := u16 size (of all of it), tag, name NUL, field*
//   tag      := bytes of which 7 bits count; the high bit says that another one follows
//   field    := name NUL, u8 type (bits 0-4: in-type; 0x20: u16 count at the end; 0x40: the payload holds a u16 count;
//               0x60: u16 size and type information at the end; 0x80: out-type follows),
//               [u8 out-type (bits 0-6; 0x80: tag follows)], [tag], [u16 count]
//
// In-type 24 is a structure: the out-type is the number of the following fields that are its members. Structures nest.
// A count or a length that stands in front of a value in the payload becomes a property of its own, "NAME.Count" or
// "NAME.Length", because layouts know of no other way; it is marked as implied.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "formats/event_layout.h"
#include "formats/result.h"

namespace varnel::formats {

/// Compiles the data of item 11; the layout's name is the event's. Errors give the offset. Any thread; nothing is kept.
Result<EventLayout> ReadTraceLoggingSchema(std::span<const std::byte> schema);

/// The provider's name in the data of item 12; empty when there is none.
std::string_view ReadProviderName(std::span<const std::byte> traits);

}  // namespace varnel::formats

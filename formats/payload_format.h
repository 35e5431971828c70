// From a payload and its layout to named values as text, with maps applied and types shown as their output type asks.
//
// - Whole numbers of up to 32 bits are JSON numbers, those of 64 bits texts; hexadecimal ones "0x1F".
// - Times are ISO 8601 in UTC with the digits that they have, identifiers "{...}" in upper case and "S-1-...".
// - A map gives its text; a value that it does not name is shown as the number. Bits are joined by "|", and what is
// left
//   of them follows in hexadecimal.
// - Binary data and arrays of bytes are one text, "0x00FF".
// - Arrays are arrays, structures objects. Lengths and counts that TraceLogging puts in front of values are left out.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "formats/decoded_value.h"
#include "formats/event_layout.h"

namespace varnel::formats {

/// Appends the values of the top-level properties to `out`, as far as the payload holds them.
/// @return whether all of them were there.
bool FormatPayload(const EventLayout& layout, std::uint8_t pointer_size, std::span<const std::byte> payload,
                   std::vector<DecodedProperty>* out);

/// The form of one element whose bytes these are.
DecodedValue FormatElement(const PropertyLayout& property, std::span<const std::byte> bytes);

/// A UTF-16 text up to its end, without the NULs that close it.
std::string WideText(std::span<const std::byte> bytes);

}  // namespace varnel::formats

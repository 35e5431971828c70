// From what a PROPERTY_DATA_DESCRIPTOR asks for to the bytes of a payload. Results are the platform's: 0, 87 for an
// index that is not there, 1168 for a name that is not, 15005 for a value that the payload does not hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "formats/payload_decoder.h"
#include "platform/embedded/tdh/event_schema.h"

namespace varnel::embedded {

/// ArrayIndex of a property as a whole.
inline constexpr std::uint32_t kWholeProperty = 0xFFFFFFFF;

/// A payload with its schema and the places of the top-level properties that it holds. Borrows all of them.
struct DecodedRecord {
  const EventSchema& schema;
  std::uint8_t pointer_size;
  std::span<const std::byte> payload;
  std::span<const formats::PropertyPlace> places;
};

/// A top-level property whole, or one element of an array. Of a single property index 0 is the whole, too.
std::uint32_t FindTopLevelValue(const DecodedRecord& record, std::size_t index, std::uint32_t array_index,
                                formats::PropertyPlace* place);

/// A member in one instance of a top-level structure, whole or one element of it. A structure that is no array has
/// the instance 0 alone.
std::uint32_t FindMemberValue(const DecodedRecord& record, std::size_t structure, const char16_t* member_name,
                              std::uint32_t instance, std::uint32_t array_index, formats::PropertyPlace* place);

}  // namespace varnel::embedded

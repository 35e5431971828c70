// EventLayout: the order, types and sizes of the values in an event's payload, compiled once from a manifest's template
// or from a TraceLogging event's own description.
//
// Properties are flattened as the platform does it: all top-level ones first, then the members of the first structure,
// of the second, and so on. Indexes in here (members, counts, lengths) are places in that whole list. Packed: there is
// no padding between values. Plain data, not changed after it was compiled; any thread may read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "formats/event_types.h"

namespace varnel::formats {

/// Names for the values of a property.
struct ValueMap {
  struct Entry {
    std::uint32_t value = 0;
    std::string text;  // empty when the manifest's message can't be resolved
  };
  std::string name;
  bool is_bitmap = false;
  std::vector<Entry> entries;
};

/// Where a length or a count is told.
enum class Told : std::uint8_t {
  kNot,      // a length by the type itself; a count of one
  kFixed,    // `value` is the number
  kByField,  // `value` is the index of the property that holds it
};

struct Amount {
  Told told = Told::kNot;
  std::uint16_t value = 0;
};

struct PropertyLayout {
  std::string name;  // UTF-8
  InType in_type = InType::kNull;
  OutType out_type = OutType::kNull;
  bool is_structure = false;
  std::uint16_t first_member = 0;  // of a structure
  std::uint16_t member_count = 0;  // of a structure
  Amount length;                   // characters of texts, bytes of binary data
  Amount count;
  const ValueMap* map = nullptr;  // belongs to the manifest that owns the layout
  /// A count or length that TraceLogging puts in front of a value: a property for the platform, noise to a reader.
  bool is_implied = false;

  // Compiled from the above.
  SizeRule rule = SizeRule::kUnknown;
  std::uint8_t size = 0;         // bytes, of SizeRule::kFixed
  std::uint16_t slot = kNoSlot;  // where the walker keeps the value, when others take their count or length from it

  static constexpr std::uint16_t kNoSlot = 0xFFFF;

  bool is_array() const noexcept { return count.told != Told::kNot; }
};

struct EventLayout {
  std::string name;  // the template's
  std::vector<PropertyLayout> properties;
  std::uint16_t top_level_count = 0;
  std::uint16_t slot_count = 0;
  bool has_user_data = false;  // the template tells an XML form of its own

  /// The first property of that name among `count` properties from `first`, or -1.
  int Find(std::string_view name, std::size_t first, std::size_t count) const;
};

/// Fills in the compiled fields of each property. Call once, when the list is whole.
void FinishLayout(EventLayout* layout);

}  // namespace varnel::formats

#include "platform/embedded/tdh/property_finder.h"

#include "platform/types.h"

namespace varnel::embedded {

using formats::PayloadWalker;
using formats::PropertyLayout;
using formats::PropertyPlace;

std::uint32_t FindTopLevelValue(const DecodedRecord& record, std::size_t index, std::uint32_t array_index,
                                PropertyPlace* place) {
  const PropertyLayout& property = record.schema.layout().properties[index];
  const bool whole = array_index == kWholeProperty || (array_index == 0 && !property.is_array());
  if (!whole && !property.is_array()) return platform::kErrorInvalidParameter;
  if (index >= record.places.size()) return platform::kErrorEvtInvalidEventData;
  if (whole) {
    *place = record.places[index];
    return platform::kErrorSuccess;
  }
  PayloadWalker walker(record.schema.layout(), record.pointer_size, record.payload);
  return formats::PlaceElement(&walker, index, array_index, record.places, place) ? platform::kErrorSuccess
                                                                                  : platform::kErrorInvalidParameter;
}

std::uint32_t FindMemberValue(const DecodedRecord& record, std::size_t structure, const char16_t* member_name,
                              std::uint32_t instance, std::uint32_t array_index, PropertyPlace* place) {
  const formats::EventLayout& layout = record.schema.layout();
  const PropertyLayout& outer = layout.properties[structure];
  const int member = outer.is_structure ? record.schema.FindMember(outer, member_name) : -1;
  if (member < 0) return platform::kErrorNotFound;
  if (instance == kWholeProperty && !outer.is_array()) instance = 0;
  if (structure >= record.places.size()) return platform::kErrorEvtInvalidEventData;
  PayloadWalker walker(layout, record.pointer_size, record.payload);
  PropertyPlace found;
  if (!formats::PlaceMember(&walker, structure, instance, static_cast<std::size_t>(member), record.places, &found)) {
    return platform::kErrorInvalidParameter;
  }
  const PropertyLayout& property = layout.properties[static_cast<std::size_t>(member)];
  if (array_index != kWholeProperty && (property.is_array() || array_index != 0) &&
      !formats::PlaceElementAt(&walker, property, found.offset, array_index, &found)) {
    return platform::kErrorInvalidParameter;
  }
  *place = found;
  return platform::kErrorSuccess;
}

}  // namespace varnel::embedded

#include "formats/event_layout.h"

namespace varnel::formats {
namespace {

void GiveSlot(EventLayout* layout, const Amount& amount) {
  if (amount.told != Told::kByField) return;
  PropertyLayout& source = layout->properties[amount.value];
  if (source.slot == PropertyLayout::kNoSlot) source.slot = layout->slot_count++;
}

}  // namespace

int EventLayout::Find(std::string_view wanted, std::size_t first, std::size_t count) const {
  for (std::size_t i = first; i < first + count && i < properties.size(); ++i) {
    if (properties[i].name == wanted) return static_cast<int>(i);
  }
  return -1;
}

void FinishLayout(EventLayout* layout) {
  layout->slot_count = 0;
  for (PropertyLayout& property : layout->properties) {
    const InTypeTraits& traits = TraitsOf(property.in_type);
    property.rule = traits.rule;
    property.size = traits.size;
    property.slot = PropertyLayout::kNoSlot;
  }
  for (const PropertyLayout& property : layout->properties) {
    GiveSlot(layout, property.length);
    GiveSlot(layout, property.count);
  }
}

}  // namespace varnel::formats

#include "platform/embedded/tdh/last_event.h"

#include <cstring>

namespace varnel::embedded {

using formats::PropertyPlace;

std::span<const PropertyPlace> LastEvent::Places(const EventSchema& schema, std::uint8_t pointer_size,
                                                 std::span<const std::byte> payload) {
  if (!Matches(schema, pointer_size, payload)) Keep(schema, pointer_size, payload);
  return places_;
}

bool LastEvent::Matches(const EventSchema& schema, std::uint8_t pointer_size,
                        std::span<const std::byte> payload) const {
  if (schema_ != &schema || pointer_size_ != pointer_size || payload_size_ != payload.size()) return false;
  const std::byte* kept = shaping_bytes_.data();
  for (const PropertyPlace& place : shaping_) {
    if (std::memcmp(kept, payload.data() + place.offset, place.size) != 0) return false;
    kept += place.size;
  }
  return true;
}

void LastEvent::Keep(const EventSchema& schema, std::uint8_t pointer_size, std::span<const std::byte> payload) {
  const formats::EventLayout& layout = schema.layout();
  schema_ = nullptr;
  if (formats::PlaceProperties(layout, pointer_size, payload, &places_) < layout.top_level_count) {
    // The bytes of the property that did not fit decided too, and where they end is not known.
    return;
  }
  shaping_.clear();
  shaping_bytes_.clear();
  for (std::size_t i = 0; i < places_.size(); ++i) {
    const PropertyPlace& place = places_[i];
    if (place.size == 0 || !ShapesPayload(layout.properties[i])) continue;
    shaping_.push_back(place);
    shaping_bytes_.insert(shaping_bytes_.end(), payload.begin() + place.offset,
                          payload.begin() + place.offset + place.size);
  }
  schema_ = &schema;
  pointer_size_ = pointer_size;
  payload_size_ = payload.size();
}

}  // namespace varnel::embedded

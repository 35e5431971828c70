#include "formats/payload_decoder.h"

#include <algorithm>
#include <cstring>

namespace varnel::formats {
namespace {

constexpr std::uint32_t kIpV6Size = 16;
constexpr std::uint32_t kSidHeaderSize = 8;
// Elements of no bytes cost the payload nothing, so that a few bytes could ask for endless ones in nested structures.
constexpr std::uint32_t kMaxEmptyElements = 0x20000;

template <typename T>
T Load(const std::byte* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

/// To the NUL and including it, else all.
std::uint32_t WideTextSize(std::span<const std::byte> bytes) {
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    if (Load<std::uint16_t>(bytes.data() + i) == 0) return static_cast<std::uint32_t>(i + 2);
  }
  return static_cast<std::uint32_t>(bytes.size());
}

std::uint32_t NarrowTextSize(std::span<const std::byte> bytes) {
  if (bytes.empty()) return 0;
  const auto* nul = static_cast<const std::byte*>(std::memchr(bytes.data(), 0, bytes.size()));
  return static_cast<std::uint32_t>(nul == nullptr ? bytes.size() : nul - bytes.data() + 1);
}

}  // namespace

PayloadWalker::PayloadWalker(const EventLayout& layout, std::uint8_t pointer_size, std::span<const std::byte> payload)
    : layout_(layout), payload_(payload), pointer_size_(pointer_size) {
  if (layout.slot_count <= kInlineSlots) {
    slots_ = inline_slots_.data();
    std::fill_n(slots_, layout.slot_count, std::uint16_t{0});
  } else {
    more_slots_.resize(layout.slot_count);
    slots_ = more_slots_.data();
  }
}

std::uint32_t PayloadWalker::CountOf(const PropertyLayout& property) const {
  switch (property.count.told) {
    case Told::kNot:
      return 1;
    case Told::kFixed:
      return property.count.value;
    case Told::kByField:
      return slots_[layout_.properties[property.count.value].slot];
  }
  return 1;
}

bool PayloadWalker::Measure(const PropertyLayout& property, std::uint32_t offset, std::uint32_t* size) {
  if (property.count.told == Told::kNot) {
    if (!MeasureElement(property, offset, size)) return false;
    if (property.slot != PropertyLayout::kNoSlot) Remember(property, offset);
    return true;
  }
  const std::uint32_t count = CountOf(property);
  const std::uint32_t left = Left(offset);
  if (!property.is_structure && property.rule == SizeRule::kFixed && property.size != 0) {
    if (count > left / property.size) return false;
    *size = count * property.size;
    return true;
  }
  std::uint32_t sum = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t one = 0;
    if (!MeasureElement(property, offset + sum, &one)) return false;
    if (one == 0 && ++empty_elements_ > kMaxEmptyElements) return false;
    sum += one;
  }
  *size = sum;
  return true;
}

bool PayloadWalker::MeasureElement(const PropertyLayout& property, std::uint32_t offset, std::uint32_t* size) {
  if (property.is_structure) return MeasureStructure(property, offset, size);
  return MeasureData(property, offset, size) && *size <= Left(offset);
}

bool PayloadWalker::MeasureStructure(const PropertyLayout& structure, std::uint32_t offset, std::uint32_t* size) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < structure.member_count; ++i) {
    std::uint32_t one = 0;
    if (!Measure(layout_.properties[structure.first_member + i], offset + sum, &one)) return false;
    if (one == 0 && ++empty_elements_ > kMaxEmptyElements) return false;
    sum += one;
  }
  *size = sum;
  return true;
}

/// The size that a value claims; the caller checks it against what is left.
bool PayloadWalker::MeasureData(const PropertyLayout& property, std::uint32_t offset, std::uint32_t* size) {
  switch (property.rule) {
    case SizeRule::kFixed:
      *size = property.size;
      return true;
    case SizeRule::kPointer:
      *size = pointer_size_;
      return true;
    case SizeRule::kUnicodeText:
    case SizeRule::kAnsiText:
      return MeasureText(property, offset, size);
    case SizeRule::kBinary:
      return MeasureBinary(property, size);
    case SizeRule::kSid:
      return MeasureSid(offset, size);
    case SizeRule::kCounted:
    case SizeRule::kCountedReversed:
    case SizeRule::kHexDump:
      return MeasureCounted(property, offset, size);
    case SizeRule::kRest:
      *size = Left(offset);
      return true;
    case SizeRule::kWbemSid:
      return MeasureWbemSid(offset, size);
    case SizeRule::kUnknown:
      return false;
  }
  return false;
}

bool PayloadWalker::MeasureText(const PropertyLayout& property, std::uint32_t offset, std::uint32_t* size) const {
  const bool wide = property.rule == SizeRule::kUnicodeText;
  const std::uint32_t unit = wide ? 2 : 1;
  switch (property.length.told) {
    case Told::kFixed:
      *size = property.length.value * unit;
      return true;
    case Told::kByField:
      *size = slots_[layout_.properties[property.length.value].slot] * unit;
      return true;
    case Told::kNot:
      *size = wide ? WideTextSize(payload_.subspan(offset)) : NarrowTextSize(payload_.subspan(offset));
      return true;
  }
  return false;
}

bool PayloadWalker::MeasureBinary(const PropertyLayout& property, std::uint32_t* size) const {
  if (property.length.told == Told::kByField) {
    *size = slots_[layout_.properties[property.length.value].slot];
  } else {
    *size = property.length.value;
  }
  if (*size == 0 && property.out_type == OutType::kIpV6) *size = kIpV6Size;
  // Binary data of which nothing tells the length can't be measured.
  return property.length.told != Told::kNot || property.out_type == OutType::kIpV6;
}

bool PayloadWalker::MeasureCounted(const PropertyLayout& property, std::uint32_t offset, std::uint32_t* size) const {
  const std::uint32_t prefix = property.rule == SizeRule::kHexDump ? 4 : 2;
  const std::uint32_t left = Left(offset);
  if (left < prefix) return false;
  const std::byte* at = payload_.data() + offset;
  std::uint32_t count = prefix == 4 ? Load<std::uint32_t>(at) : Load<std::uint16_t>(at);
  if (property.rule == SizeRule::kCountedReversed) count = ((count & 0xFF) << 8) | (count >> 8);
  if (count > left - prefix) return false;
  *size = prefix + count;
  return true;
}

bool PayloadWalker::MeasureSid(std::uint32_t offset, std::uint32_t* size) const {
  if (Left(offset) < kSidHeaderSize) return false;
  *size = kSidHeaderSize + 4 * std::to_integer<std::uint32_t>(payload_[offset + 1]);
  return true;
}

bool PayloadWalker::MeasureWbemSid(std::uint32_t offset, std::uint32_t* size) const {
  const std::uint32_t head = 2u * pointer_size_;
  if (Left(offset) < head) return false;
  const std::byte* at = payload_.data() + offset;
  const bool none = std::all_of(at, at + pointer_size_, [](std::byte b) { return b == std::byte{0}; });
  *size = head;
  if (none) return true;
  std::uint32_t sid = 0;
  if (!MeasureSid(offset + head, &sid)) return false;
  *size = head + sid;
  return true;
}

void PayloadWalker::Remember(const PropertyLayout& property, std::uint32_t offset) {
  const std::byte* at = payload_.data() + offset;
  std::uint32_t value = 0;
  if (IsCountingType(property.in_type)) {
    if (property.size == 1) value = std::to_integer<std::uint32_t>(*at);
    if (property.size == 2) value = Load<std::uint16_t>(at);
    if (property.size == 4) value = std::min(Load<std::uint32_t>(at), 0xFFFFu);
  }
  slots_[property.slot] = static_cast<std::uint16_t>(value);
}

std::size_t PlaceProperties(const EventLayout& layout, std::uint8_t pointer_size, std::span<const std::byte> payload,
                            std::vector<PropertyPlace>* places) {
  PayloadWalker walker(layout, pointer_size, payload);
  places->clear();
  std::uint32_t offset = 0;
  for (std::size_t i = 0; i < layout.top_level_count; ++i) {
    std::uint32_t size = 0;
    if (!walker.Measure(layout.properties[i], offset, &size)) break;
    places->push_back({offset, size});
    offset += size;
  }
  return places->size();
}

namespace {

/// Measures all that stands before a property, so that the walker knows the lengths and counts that it tells.
bool MeasureBefore(PayloadWalker* walker, std::size_t index, std::span<const PropertyPlace> places) {
  for (std::size_t i = 0; i < index; ++i) {
    std::uint32_t size = 0;
    const PropertyLayout& property = walker->layout().properties[i];
    if (property.slot == PropertyLayout::kNoSlot) continue;
    if (!walker->Measure(property, places[i].offset, &size)) return false;
  }
  return true;
}

}  // namespace

bool PlaceElementAt(PayloadWalker* walker, const PropertyLayout& property, std::uint32_t offset, std::uint32_t element,
                    PropertyPlace* out) {
  if (element >= walker->CountOf(property)) return false;
  PropertyPlace place{offset, 0};
  for (std::uint32_t i = 0; i <= element; ++i) {
    place.offset += place.size;
    if (!walker->MeasureElement(property, place.offset, &place.size)) return false;
  }
  *out = place;
  return true;
}

bool PlaceElement(PayloadWalker* walker, std::size_t index, std::uint32_t element,
                  std::span<const PropertyPlace> places, PropertyPlace* out) {
  if (index >= places.size() || !MeasureBefore(walker, index, places)) return false;
  return PlaceElementAt(walker, walker->layout().properties[index], places[index].offset, element, out);
}

bool PlaceMember(PayloadWalker* walker, std::size_t structure, std::uint32_t instance, std::size_t member,
                 std::span<const PropertyPlace> places, PropertyPlace* out) {
  PropertyPlace whole;
  if (!PlaceElement(walker, structure, instance, places, &whole)) return false;
  const PropertyLayout& property = walker->layout().properties[structure];
  PropertyPlace place{whole.offset, 0};
  for (std::size_t i = property.first_member; i <= member; ++i) {
    place.offset += place.size;
    if (!walker->Measure(walker->layout().properties[i], place.offset, &place.size)) return false;
  }
  *out = place;
  return true;
}

}  // namespace varnel::formats

// Finds the values of an event's payload by its layout. Nothing is copied and nothing outside of the payload is read,
// whatever the bytes say.
//
// A value that does not lie within the payload whole is missing, and so is all behind it; what stands before it is
// good. Two rules soften that: bytes behind the last property are no fault, and a text without a NUL takes what is
// left, which can be nothing. A value whose type can't be measured counts as missing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "formats/event_layout.h"

namespace varnel::formats {

/// Where a property lies in the payload, in bytes; of an array all its elements.
struct PropertyPlace {
  std::uint32_t offset = 0;
  std::uint32_t size = 0;

  bool operator==(const PropertyPlace&) const = default;
};

/// Measures the properties of one payload, front to back: lengths and counts that another property tells are known once
/// that one was measured. The layout and the payload must outlive it. Not synchronised.
class PayloadWalker {
 public:
  PayloadWalker(const EventLayout& layout, std::uint8_t pointer_size, std::span<const std::byte> payload);
  PayloadWalker(const PayloadWalker&) = delete;
  PayloadWalker& operator=(const PayloadWalker&) = delete;

  /// The number of elements of a property: 1 of a single one.
  std::uint32_t CountOf(const PropertyLayout& property) const;

  /// Measures a property with all its elements from `offset` on. @return false when it is missing.
  [[nodiscard]] bool Measure(const PropertyLayout& property, std::uint32_t offset, std::uint32_t* size);

  /// Measures one element of it.
  [[nodiscard]] bool MeasureElement(const PropertyLayout& property, std::uint32_t offset, std::uint32_t* size);

  const EventLayout& layout() const noexcept { return layout_; }
  std::span<const std::byte> payload() const noexcept { return payload_; }
  std::uint8_t pointer_size() const noexcept { return pointer_size_; }

 private:
  static constexpr std::size_t kInlineSlots = 16;

  bool MeasureData(const PropertyLayout& property, std::uint32_t offset, std::uint32_t* size);
  bool MeasureStructure(const PropertyLayout& structure, std::uint32_t offset, std::uint32_t* size);
  bool MeasureText(const PropertyLayout& property, std::uint32_t offset, std::uint32_t* size) const;
  bool MeasureBinary(const PropertyLayout& property, std::uint32_t* size) const;
  bool MeasureCounted(const PropertyLayout& property, std::uint32_t offset, std::uint32_t* size) const;
  bool MeasureSid(std::uint32_t offset, std::uint32_t* size) const;
  bool MeasureWbemSid(std::uint32_t offset, std::uint32_t* size) const;
  void Remember(const PropertyLayout& property, std::uint32_t offset);
  std::uint32_t Left(std::uint32_t offset) const { return static_cast<std::uint32_t>(payload_.size()) - offset; }

  const EventLayout& layout_;
  std::span<const std::byte> payload_;
  std::uint8_t pointer_size_;
  std::uint32_t empty_elements_ = 0;
  std::array<std::uint16_t, kInlineSlots> inline_slots_;
  std::vector<std::uint16_t> more_slots_;
  std::uint16_t* slots_;
};

/// Writes the places of the top-level properties, as many as are there, into `places`.
/// @return how many there are; fewer than the layout's top_level_count when some are missing.
std::size_t PlaceProperties(const EventLayout& layout, std::uint8_t pointer_size, std::span<const std::byte> payload,
                            std::vector<PropertyPlace>* places);

/// The place of one element of a property that begins at `offset`, when the walker has measured all before it.
/// @return false when there is no such element.
[[nodiscard]] bool PlaceElementAt(PayloadWalker* walker, const PropertyLayout& property, std::uint32_t offset,
                                  std::uint32_t element, PropertyPlace* out);

/// The place of one element of a top-level property that lies at `place`; of a structure the whole structure.
/// @return false when there is no such element.
[[nodiscard]] bool PlaceElement(PayloadWalker* walker, std::size_t index, std::uint32_t element,
                                std::span<const PropertyPlace> places, PropertyPlace* out);

/// The place of a member in one instance of a top-level structure. @return false when there is no such instance.
[[nodiscard]] bool PlaceMember(PayloadWalker* walker, std::size_t structure, std::uint32_t instance, std::size_t member,
                               std::span<const PropertyPlace> places, PropertyPlace* out);

}  // namespace varnel::formats

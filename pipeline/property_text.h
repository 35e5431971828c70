// One property of an event as text in the event's JSON object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace varnel {

class JsonTexts;

// In-types of the Trace Data Helper.
inline constexpr std::uint16_t kInTypeWideString = 1;
inline constexpr std::uint16_t kInTypeNarrowString = 2;
inline constexpr std::uint16_t kInTypeUint8 = 4;
inline constexpr std::uint16_t kInTypeInt16 = 5;
inline constexpr std::uint16_t kInTypeUint16 = 6;
inline constexpr std::uint16_t kInTypeInt32 = 7;
inline constexpr std::uint16_t kInTypeUint32 = 8;
inline constexpr std::uint16_t kInTypeInt64 = 9;
inline constexpr std::uint16_t kInTypeUint64 = 10;
inline constexpr std::uint16_t kInTypeFloat = 11;
inline constexpr std::uint16_t kInTypeDouble = 12;
inline constexpr std::uint16_t kInTypeBoolean = 13;
inline constexpr std::uint16_t kInTypeGuid = 15;

/// Zero bytes that stand behind every value, so that a text always ends and a number can always be read whole.
inline constexpr std::size_t kPropertyTail = 16;

/// A property as the Trace Data Helper gave it. Borrows all it points to.
struct PropertyValue {
  std::string_view name;  // in UTF-8, NUL-terminated
  std::uint16_t in_type;
  const std::uint8_t* data;  // `size` bytes and kPropertyTail zero bytes
  std::uint32_t size;        // never 0
};

/// Whether two texts are the same but for the case of ASCII letters.
bool SameTextNoCase(std::string_view a, std::string_view b);

/// Adds the value's text under its name. The key is left out where memory runs out or a text can't be converted.
void AddPropertyText(JsonTexts* json, const PropertyValue& property);

}  // namespace varnel

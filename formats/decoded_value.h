// DecodedValue: a payload's values as text, ready for JSON. Plain values; they own all that they show.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::formats {

struct DecodedProperty;

struct DecodedValue {
  enum class Kind : std::uint8_t {
    kNull,       // nothing was logged
    kText,       // `text` is UTF-8
    kNumber,     // `text` is a JSON number; whole numbers of 64 bits are kText, since readers keep only 53
    kBoolean,    // `text` is "true" or "false"
    kArray,      // `members`, without names
    kStructure,  // `members`, with names
  };
  Kind kind = Kind::kNull;
  std::string text;
  std::vector<DecodedProperty> members;
};

struct DecodedProperty {
  std::string name;
  DecodedValue value;
};

/// Appends the value as JSON, with nothing around it.
void AppendJson(const DecodedValue& value, std::string* out);

/// Appends the members as one JSON object.
void AppendJsonObject(const std::vector<DecodedProperty>& members, std::string* out);

/// Appends a JSON string with its quotes. `text` is valid UTF-8.
void AppendJsonString(std::string_view text, std::string* out);

}  // namespace varnel::formats

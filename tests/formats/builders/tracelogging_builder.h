// Writes the description that a TraceLogging event carries about itself, by the rules of the format.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "payload_builder.h"

namespace varnel::testing {

class TraceLoggingBuilder {
 public:
  explicit TraceLoggingBuilder(std::string_view event_name) { bytes_.U8(0).Text(event_name); }

  TraceLoggingBuilder& Field(std::string_view name, std::uint8_t in_type) {
    bytes_.Text(name).U8(in_type);
    return *this;
  }
  TraceLoggingBuilder& Field(std::string_view name, std::uint8_t in_type, std::uint8_t out_type) {
    bytes_.Text(name).U8(in_type | 0x80).U8(out_type);
    return *this;
  }
  TraceLoggingBuilder& Raw(std::initializer_list<std::uint8_t> values) {
    for (const std::uint8_t value : values) bytes_.U8(value);
    return *this;
  }
  TraceLoggingBuilder& Struct(std::string_view name, std::uint8_t fields) { return Field(name, 24, fields); }

  /// The whole item, behind its size.
  std::vector<std::byte> Build() const {
    const auto body = bytes_.Build();
    std::vector<std::byte> item = PayloadBuilder().U16(static_cast<std::uint16_t>(body.size() + 2)).Build();
    item.insert(item.end(), body.begin(), body.end());
    return item;
  }

 private:
  PayloadBuilder bytes_;
};

inline std::vector<std::byte> ProviderTraits(std::string_view name) {
  return PayloadBuilder().U16(static_cast<std::uint16_t>(name.size() + 3)).Text(name).Build();
}

}  // namespace varnel::testing

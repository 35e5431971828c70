// PayloadBuilder writes an event's payload value by value, by the rules of the format: packed, little-endian.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "interfaces/guid.h"

namespace varnel::testing {

class PayloadBuilder {
 public:
  PayloadBuilder& U8(std::uint8_t value) { return Number(value, 1); }
  PayloadBuilder& U16(std::uint16_t value) { return Number(value, 2); }
  PayloadBuilder& U32(std::uint32_t value) { return Number(value, 4); }
  PayloadBuilder& U64(std::uint64_t value) { return Number(value, 8); }
  PayloadBuilder& F32(float value) { return Number(std::bit_cast<std::uint32_t>(value), 4); }
  PayloadBuilder& F64(double value) { return Number(std::bit_cast<std::uint64_t>(value), 8); }
  PayloadBuilder& Text(std::string_view text) { return TextWithoutNul(text).U8(0); }
  PayloadBuilder& Wide(std::u16string_view text) { return WideWithoutNul(text).U16(0); }
  PayloadBuilder& TextWithoutNul(std::string_view text) {
    for (const char c : text) U8(static_cast<std::uint8_t>(c));
    return *this;
  }
  PayloadBuilder& WideWithoutNul(std::u16string_view text) {
    for (const char16_t c : text) U16(c);
    return *this;
  }
  PayloadBuilder& Guid(const GUID& guid) {
    U32(guid.Data1).U16(guid.Data2).U16(guid.Data3);
    for (const std::uint8_t byte : guid.Data4) U8(byte);
    return *this;
  }
  PayloadBuilder& Fill(std::size_t count, std::uint8_t value) {
    bytes_.insert(bytes_.end(), count, std::byte{value});
    return *this;
  }

  std::vector<std::byte> Build() const { return bytes_; }
  operator std::vector<std::byte>() const { return bytes_; }  // NOLINT: a builder is what it has built

 private:
  PayloadBuilder& Number(std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i) bytes_.push_back(static_cast<std::byte>(value >> (8 * i)));
    return *this;
  }

  std::vector<std::byte> bytes_;
};

}  // namespace varnel::testing

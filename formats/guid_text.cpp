#include "formats/guid_text.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace varnel::formats {
namespace {

constexpr std::size_t kBareLength = 36;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsDashPlace(std::size_t i) {
  return i == 8 || i == 13 || i == 18 || i == 23;
}

}  // namespace

std::optional<GUID> ParseGuid(std::string_view text) {
  if (text.size() == kBareLength + 2 && text.front() == '{' && text.back() == '}') text = text.substr(1, kBareLength);
  if (text.size() != kBareLength) return std::nullopt;
  std::uint8_t bytes[16] = {};
  std::size_t digits = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (IsDashPlace(i)) {
      if (text[i] != '-') return std::nullopt;
      continue;
    }
    const int digit = HexDigit(text[i]);
    if (digit < 0) return std::nullopt;
    bytes[digits / 2] = static_cast<std::uint8_t>((bytes[digits / 2] << 4) | digit);
    ++digits;
  }
  GUID guid;
  guid.Data1 = (std::uint32_t{bytes[0]} << 24) | (bytes[1] << 16) | (bytes[2] << 8) | bytes[3];
  guid.Data2 = static_cast<std::uint16_t>((bytes[4] << 8) | bytes[5]);
  guid.Data3 = static_cast<std::uint16_t>((bytes[6] << 8) | bytes[7]);
  std::memcpy(guid.Data4, bytes + 8, 8);
  return guid;
}

std::string FormatGuid(const GUID& guid) {
  char text[kBareLength + 3];
  std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2],
                guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
  return text;
}

std::size_t GuidHash::operator()(const GUID& guid) const noexcept {
  std::uint64_t halves[2];
  std::memcpy(halves, &guid, sizeof guid);
  // Families of providers differ in one digit only, so the halves are multiplied rather than joined by xor.
  return static_cast<std::size_t>((halves[0] * 0x9E3779B97F4A7C15u) ^ (halves[1] * 0xC2B2AE3D27D4EB4Fu) ^
                                  (halves[0] >> 32));
}

}  // namespace varnel::formats

#include "pipeline/number_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>

namespace varnel {
namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

std::size_t Terminate(NumberText text, const char* end) {
  const auto length = static_cast<std::size_t>(end - text.data());
  text[length] = '\0';
  return length;
}

}  // namespace

std::size_t FormatHex(std::uint64_t value, NumberText text) {
  const int digits = value == 0 ? 1 : (std::bit_width(value) + 3) / 4;
  text[0] = '0';
  text[1] = 'x';
  char* at = text.data() + 2 + digits;
  char* const end = at;
  for (int i = 0; i < digits; ++i, value >>= 4) *--at = kDigits[value & 15];
  return Terminate(text, end);
}

std::size_t FormatUnsigned(std::uint32_t value, NumberText text) {
  return Terminate(text, std::to_chars(text.data(), text.data() + text.size(), value).ptr);
}

std::size_t FormatSigned(std::int32_t value, NumberText text) {
  return Terminate(text, std::to_chars(text.data(), text.data() + text.size(), value).ptr);
}

std::size_t FormatFixed(double value, NumberText text) {
  // The largest double has 309 digits before the point.
  std::array<char, 400> whole;
  const char* end = std::to_chars(whole.data(), whole.data() + whole.size(), value, std::chars_format::fixed, 6).ptr;
  const auto length = std::min<std::size_t>(static_cast<std::size_t>(end - whole.data()), text.size() - 1);
  std::memcpy(text.data(), whole.data(), length);
  return Terminate(text, text.data() + length);
}

void WriteByteList(std::span<const std::uint8_t> bytes, char* text) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0) {
      *text++ = ',';
      *text++ = ' ';
    }
    *text++ = '0';
    *text++ = 'x';
    *text++ = kDigits[bytes[i] >> 4];
    *text++ = kDigits[bytes[i] & 15];
  }
  *text = '\0';
}

}  // namespace varnel

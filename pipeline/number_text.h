// Numbers as text, without a locale: the forms that event texts use. Each writes a NUL-terminated text and gives its
// length. Pure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace varnel {

/// Characters that every number text fits in, NUL included; longer ones are cut.
inline constexpr std::size_t kNumberTextCapacity = 260;
using NumberText = std::span<char, kNumberTextCapacity>;

/// "0x" and upper-case digits without leading zeros.
std::size_t FormatHex(std::uint64_t value, NumberText text);
std::size_t FormatUnsigned(std::uint32_t value, NumberText text);
std::size_t FormatSigned(std::int32_t value, NumberText text);
/// Six digits behind the point; cut where a huge number does not fit.
std::size_t FormatFixed(double value, NumberText text);

/// The characters that WriteByteList writes for `count` bytes, NUL included, or more.
constexpr std::size_t ByteListCapacity(std::size_t count) {
  return 6 * count + 1;
}
/// "0x0A, 0xFF": two upper-case digits for each byte, with nothing behind the last.
void WriteByteList(std::span<const std::uint8_t> bytes, char* text);

}  // namespace varnel

#include "formats/pe/call_site.h"

#include <array>
#include <span>

namespace varnel::formats {
namespace {

constexpr std::size_t kLongestCall = 7;

// Bytes that "FF /2" takes with its operand; 0 for another operation.
std::size_t IndirectCallLength(std::uint8_t modrm, std::uint8_t sib) {
  if ((modrm & 0x38) != 0x10) return 0;
  const unsigned mode = modrm >> 6;
  const unsigned base = modrm & 7;
  if (mode == 3) return 2;
  const std::size_t with_sib = base == 4 ? 3 : 2;
  if (mode == 1) return with_sib + 1;
  if (mode == 2) return with_sib + 4;
  const bool distance = base == 5 || (base == 4 && (sib & 7) == 5);
  return with_sib + (distance ? 4 : 0);
}

bool EndsInCall(std::span<const std::uint8_t> code) {
  if (code.size() >= 5 && code[code.size() - 5] == 0xE8) return true;
  for (std::size_t length = 2; length <= code.size(); ++length) {
    const std::span<const std::uint8_t> tail = code.last(length);
    if (tail[0] == 0xFF && IndirectCallLength(tail[1], length > 2 ? tail[2] : 0) == length) return true;
  }
  return false;
}

}  // namespace

std::optional<bool> FollowsCall(const AddressSpace& space, std::uint64_t address) {
  std::array<std::uint8_t, kLongestCall> code{};
  // The page before may be missing; what is there of the bytes is the end of them.
  for (std::size_t length = kLongestCall; length >= 2; --length) {
    const std::span<std::uint8_t> tail = std::span(code).first(length);
    if (space.ReadVirtual(address - length, std::as_writable_bytes(tail)) != length) continue;
    const bool found = EndsInCall(tail);
    return found || length == kLongestCall ? std::optional(found) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace varnel::formats

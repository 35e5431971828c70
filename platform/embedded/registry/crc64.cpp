#include "platform/embedded/registry/crc64.h"

#include <array>

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kReflectedPolynomial = 0xC96C5795D7870F42;

constexpr std::array<std::uint64_t, 256> MakeTable() {
  std::array<std::uint64_t, 256> table{};
  for (std::uint64_t byte = 0; byte < 256; ++byte) {
    std::uint64_t sum = byte;
    for (int bit = 0; bit < 8; ++bit) sum = (sum & 1) != 0 ? (sum >> 1) ^ kReflectedPolynomial : sum >> 1;
    table[byte] = sum;
  }
  return table;
}

constexpr std::array<std::uint64_t, 256> kTable = MakeTable();

}  // namespace

void Crc64::Add(std::span<const std::byte> bytes) {
  std::uint64_t state = state_;
  for (const std::byte byte : bytes) {
    state = kTable[(state ^ std::to_integer<std::uint64_t>(byte)) & 0xFF] ^ (state >> 8);
  }
  state_ = state;
}

}  // namespace varnel::embedded

// LZNT1, the oldest of the packings. It is our own because the library that the distribution has can be made to read
// far behind its input, and to run for ever, by a chunk that ends within a pair or unfolds to more than a chunk can
// hold.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace varnel::embedded {

/// As UnpackUpTo, for LZNT1: chunks that each unfold to at most 4096 bytes, one behind the other.
[[nodiscard]] std::optional<std::size_t> UnpackLznt1UpTo(std::span<const std::byte> in,
                                                         std::span<std::byte> out) noexcept;

/// As Unpack, likewise.
[[nodiscard]] inline bool UnpackLznt1(std::span<const std::byte> in, std::span<std::byte> out) noexcept {
  return UnpackLznt1UpTo(in, out) == out.size();
}

}  // namespace varnel::embedded

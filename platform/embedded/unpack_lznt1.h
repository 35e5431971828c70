// LZNT1, the oldest of the packings. It is our own because the library that the distribution has can be made to read
// far behind its input, and to run for ever, by a chunk that ends within a pair or unfolds to more than a chunk can
// hold.
#pragma once

#include <cstddef>
#include <span>

namespace varnel::embedded {

/// As Unpack, for LZNT1: chunks that each unfold to at most 4096 bytes, one behind the other.
[[nodiscard]] bool UnpackLznt1(std::span<const std::byte> in, std::span<std::byte> out) noexcept;

}  // namespace varnel::embedded

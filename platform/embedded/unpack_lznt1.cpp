#include "platform/embedded/unpack_lznt1.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace varnel::embedded {
namespace {

using Bytes = std::span<const std::byte>;
using Room = std::span<std::byte>;

constexpr std::size_t kChunkRoom = 4096;
constexpr std::uint16_t kChunkPacked = 0x8000;
constexpr std::uint16_t kChunkSizeMask = 0x0FFF;  // the size of what follows the chunk's header, less one
constexpr unsigned kPairBits = 16;
constexpr unsigned kFewestDistanceBits = 4;
constexpr std::size_t kShortestMatch = 3;

std::uint16_t Load16(Bytes bytes) noexcept {
  return static_cast<std::uint16_t>(std::to_integer<unsigned>(bytes[0]) | std::to_integer<unsigned>(bytes[1]) << 8);
}

/// The distance of a pair has as many bits as it takes to reach back to the chunk's beginning.
unsigned DistanceBits(std::size_t written) noexcept {
  unsigned bits = kFewestDistanceBits;
  while (written > (std::size_t{1} << bits)) ++bits;
  return bits;
}

/// Copies a match within the chunk. @return false when it reaches before the chunk or behind its room.
bool CopyMatch(std::uint16_t pair, Room chunk, std::size_t* written) noexcept {
  const unsigned length_bits = kPairBits - DistanceBits(*written);
  const std::size_t distance = (pair >> length_bits) + 1u;
  const std::size_t length = (pair & ((1u << length_bits) - 1)) + kShortestMatch;
  if (distance > *written || length > chunk.size() - *written) return false;
  for (std::size_t i = 0; i < length; ++i, ++*written) chunk[*written] = chunk[*written - distance];
  return true;
}

/// Unfolds one packed chunk. @return false for a chunk that is none; `*written` counts what it gave.
bool UnfoldChunk(Bytes packed, Room chunk, std::size_t* written) noexcept {
  std::size_t at = 0;
  while (at < packed.size()) {
    unsigned flags = std::to_integer<unsigned>(packed[at++]);
    for (int i = 0; i < 8 && at < packed.size(); ++i, flags >>= 1) {
      if ((flags & 1) == 0) {
        if (*written == chunk.size()) return false;
        chunk[(*written)++] = packed[at++];
        continue;
      }
      if (packed.size() - at < sizeof(std::uint16_t)) return false;
      if (!CopyMatch(Load16(packed.subspan(at)), chunk, written)) return false;
      at += sizeof(std::uint16_t);
    }
  }
  return true;
}

}  // namespace

std::optional<std::size_t> UnpackLznt1UpTo(std::span<const std::byte> in, std::span<std::byte> out) noexcept {
  const std::size_t room = out.size();
  while (!out.empty() && in.size() > sizeof(std::uint16_t)) {
    const std::uint16_t header = Load16(in);
    const std::size_t size = (header & kChunkSizeMask) + 1u;
    in = in.subspan(sizeof(header));
    if (size > in.size()) return std::nullopt;
    const Room chunk = out.first(std::min(out.size(), kChunkRoom));
    std::size_t written = 0;
    if ((header & kChunkPacked) != 0) {
      if (!UnfoldChunk(in.first(size), chunk, &written)) return std::nullopt;
    } else {
      if (size > chunk.size()) return std::nullopt;
      std::memcpy(chunk.data(), in.data(), size);
      written = size;
    }
    in = in.subspan(size);
    out = out.subspan(written);
  }
  return room - out.size();
}

}  // namespace varnel::embedded

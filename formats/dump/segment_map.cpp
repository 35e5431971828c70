#include "formats/dump/segment_map.h"

#include <algorithm>
#include <utility>

namespace varnel::formats {
namespace {

constexpr std::uint64_t kLastAddress = ~std::uint64_t{0};

void Cut(std::uint64_t file_size, Segment* piece) {
  const std::uint64_t in_file = piece->offset < file_size ? file_size - piece->offset : 0;
  piece->size = std::min({piece->size, in_file, kLastAddress - piece->address});
}

}  // namespace

SegmentMap::SegmentMap(std::vector<Segment> pieces, std::uint64_t file_size) {
  for (Segment& piece : pieces) Cut(file_size, &piece);
  std::sort(pieces.begin(), pieces.end(), [](const Segment& a, const Segment& b) {
    return a.address != b.address ? a.address < b.address : a.size > b.size;
  });
  // In place: what is kept never stands behind what is looked at.
  std::size_t kept = 0;
  std::uint64_t covered = 0;  // all below is in a segment already, or in none
  for (Segment piece : pieces) {
    const std::uint64_t end = piece.address + piece.size;
    if (piece.size == 0 || end <= covered) continue;
    if (piece.address < covered) {
      piece.offset += covered - piece.address;
      piece.address = covered;
      piece.size = end - covered;
    }
    pieces[kept++] = piece;
    covered = end;
  }
  pieces.resize(kept);
  segments_ = std::move(pieces);
}

std::optional<Segment> SegmentMap::Find(std::uint64_t address) const noexcept {
  const auto above = std::upper_bound(segments_.begin(), segments_.end(), address,
                                      [](std::uint64_t value, const Segment& one) { return value < one.address; });
  if (above == segments_.begin()) return {};
  const Segment& found = *std::prev(above);
  const std::uint64_t into = address - found.address;
  if (into >= found.size) return {};
  return Segment{address, found.size - into, found.offset + into};
}

std::uint64_t SegmentMap::NextAbove(std::uint64_t address) const noexcept {
  const auto above = std::upper_bound(segments_.begin(), segments_.end(), address,
                                      [](std::uint64_t value, const Segment& one) { return value < one.address; });
  return above == segments_.end() ? kLastAddress : above->address;
}

}  // namespace varnel::formats

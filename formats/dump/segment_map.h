// SegmentMap finds where in a file a byte of memory stands, among pieces that may adjoin and overlap. Built once, then
// read by any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace varnel::formats {

/// `size` bytes of memory from `address` on stand at `offset` of the file.
struct Segment {
  std::uint64_t address = 0;
  std::uint64_t size = 0;
  std::uint64_t offset = 0;
};

class SegmentMap {
 public:
  SegmentMap() = default;
  /// Cuts each piece to the file and to the end of memory. Where pieces overlap, the one that begins first counts, and
  /// among those the longest. Takes n log n steps.
  SegmentMap(std::vector<Segment> pieces, std::uint64_t file_size);

  /// The rest of the piece that holds `address`, from there on.
  std::optional<Segment> Find(std::uint64_t address) const noexcept;
  /// Where the next piece above `address` begins; the last address of all when there is none.
  std::uint64_t NextAbove(std::uint64_t address) const noexcept;

 private:
  std::vector<Segment> segments_;  // ascending, none overlaps another
};

}  // namespace varnel::formats

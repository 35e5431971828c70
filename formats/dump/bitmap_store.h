// BitmapStore finds pages in the newer forms of dump: a bit for each page of memory, and the pages that are there one
// behind the other. Where the n-th stands follows from how many bits are set below it; those are counted once for each
// 512 bytes of the bitmap, and no further than the highest page that was asked for.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <vector>

#include "formats/dump/page_store.h"

namespace varnel::formats {

/// One thread at a time.
class BitmapStore final : public PageStore {
 public:
  /// kDamagedBody without the signatures, or when the pages would begin within the bitmap; kRanges for the form that
  /// keeps ranges here. No store, and no problem, when the file ends before the bitmap begins. `source` must outlive
  /// it.
  static DumpProblem Open(const DumpSource& source, std::unique_ptr<PageStore>* out);

  std::optional<std::uint64_t> OffsetOf(std::uint64_t page) const noexcept override;
  std::uint64_t End() const noexcept override;
  bool CountsAgree() const noexcept override;

 private:
  static constexpr std::size_t kPieceBytes = 512;
  static constexpr std::uint64_t kPieceBits = kPieceBytes * 8;
  static constexpr std::size_t kCountedAtOnce = 64 * 1024;  // bytes; a multiple of a piece

  /// Eight bytes of the bitmap each, the bits behind its end cleared.
  using Piece = std::array<std::uint64_t, kPieceBytes / 8>;

  explicit BitmapStore(const DumpSource& source) noexcept : source_(source) {}
  bool ReadPiece(std::uint64_t number, Piece* out) const noexcept;
  /// @return false when the file ends first.
  bool CountTo(std::uint64_t piece) const;
  /// How many bits are set before the piece; empty when the file ends first.
  std::optional<std::uint64_t> SetBefore(std::uint64_t piece) const noexcept;

  const DumpSource& source_;
  std::uint64_t first_page_at_ = 0;
  std::uint64_t present_pages_ = 0;
  std::uint64_t bits_ = 0;
  mutable std::vector<std::uint64_t> set_before_;  // for each piece that was counted, and the next one
};

}  // namespace varnel::formats

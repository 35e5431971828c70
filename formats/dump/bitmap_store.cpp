#include "formats/dump/bitmap_store.h"

#include <algorithm>
#include <bit>
#include <new>

#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

constexpr std::uint64_t kHeaderAt = 0x2000;
constexpr std::size_t kHeaderSize = 0x38;
constexpr std::uint64_t kBitmapAt = kHeaderAt + kHeaderSize;
constexpr std::uint32_t kFull = 0x504D4446;    // "FDMP"
constexpr std::uint32_t kKernel = 0x504D4453;  // "SDMP"
constexpr std::uint32_t kRanges = 0x504D4452;  // "RDMP"
constexpr std::uint32_t kDump = 0x504D5544;    // "DUMP"

}  // namespace

DumpProblem BitmapStore::Open(const DumpSource& source, std::unique_ptr<PageStore>* out) {
  std::array<std::byte, kHeaderSize> header{};
  if (source.Read(kHeaderAt, header) != header.size()) return DumpProblem::kNone;
  const auto kind = Field<std::uint32_t>(header, 0);
  if (Field<std::uint32_t>(header, 4) == kRanges) return DumpProblem::kRanges;
  if ((kind != kFull && kind != kKernel) || Field<std::uint32_t>(header, 4) != kDump) return DumpProblem::kDamagedBody;
  std::unique_ptr<BitmapStore> store(new BitmapStore(source));
  store->first_page_at_ = Field<std::uint64_t>(header, 0x20);
  store->present_pages_ = Field<std::uint64_t>(header, 0x28);
  store->bits_ = Field<std::uint64_t>(header, 0x30);
  if (store->bits_ > kMaxPages || store->present_pages_ > store->bits_) return DumpProblem::kDamagedBody;
  const std::uint64_t bitmap_end = kBitmapAt + (store->bits_ + 7) / 8;
  if (store->first_page_at_ < bitmap_end || store->first_page_at_ > kMaxPages * kDumpPageSize) {
    return DumpProblem::kDamagedBody;
  }
  *out = std::move(store);
  return DumpProblem::kNone;
}

// The last piece ends with the bitmap; what stands behind it in the file is no part of it.
bool BitmapStore::ReadPiece(std::uint64_t number, Piece* out) const noexcept {
  out->fill(0);
  const std::uint64_t bits = std::min(bits_ - number * kPieceBits, kPieceBits);
  const auto bytes = static_cast<std::size_t>((bits + 7) / 8);
  const auto into = std::as_writable_bytes(std::span(*out)).first(bytes);
  if (source_.Read(kBitmapAt + number * kPieceBytes, into) != bytes) return false;
  if (bits % 64 != 0) (*out)[bits / 64] &= (std::uint64_t{1} << (bits % 64)) - 1;
  return true;
}

// Counts on to `piece`, many pieces a read. What stands behind the bitmap's end is read with its last piece and left
// out.
bool BitmapStore::CountTo(std::uint64_t piece) const {
  std::vector<std::uint64_t> words(kCountedAtOnce / sizeof(std::uint64_t));
  while (set_before_.size() <= piece) {
    const std::uint64_t first = set_before_.size() - 1;
    const std::uint64_t pieces = std::min<std::uint64_t>(piece - first, kCountedAtOnce / kPieceBytes);
    const std::uint64_t bits = std::min(bits_ - first * kPieceBits, pieces * kPieceBits);
    const auto bytes = static_cast<std::size_t>((bits + 7) / 8);
    std::fill(words.begin(), words.end(), 0);
    const auto into = std::as_writable_bytes(std::span(words)).first(bytes);
    const std::size_t got = source_.Read(kBitmapAt + first * kPieceBytes, into);
    if (bits % 64 != 0) words[bits / 64] &= (std::uint64_t{1} << (bits % 64)) - 1;
    const std::uint64_t whole = got == bytes ? pieces : got / kPieceBytes;
    for (std::uint64_t i = 0; i < whole; ++i) {
      std::uint64_t count = set_before_.back();
      for (std::size_t word = 0; word < kPieceBytes / 8; ++word) {
        count += static_cast<std::uint64_t>(std::popcount(words[i * (kPieceBytes / 8) + word]));
      }
      set_before_.push_back(count);
    }
    if (whole < pieces) return false;
  }
  return true;
}

std::optional<std::uint64_t> BitmapStore::SetBefore(std::uint64_t piece) const noexcept {
  try {
    if (set_before_.empty()) set_before_.push_back(0);
    if (set_before_.size() <= piece && !CountTo(piece)) return {};
    return set_before_[piece];
  } catch (const std::bad_alloc&) {
    return {};
  }
}

std::optional<std::uint64_t> BitmapStore::OffsetOf(std::uint64_t page) const noexcept {
  if (page >= bits_) return {};
  const std::uint64_t number = page / kPieceBits;
  const std::uint64_t bit = page % kPieceBits;
  Piece bits;
  if (!ReadPiece(number, &bits)) return {};
  const std::uint64_t own = std::uint64_t{1} << (bit % 64);
  if ((bits[bit / 64] & own) == 0) return {};
  const auto before = SetBefore(number);
  if (!before) return {};
  std::uint64_t rank = *before + static_cast<std::uint64_t>(std::popcount(bits[bit / 64] & (own - 1)));
  for (std::uint64_t word = 0; word < bit / 64; ++word) rank += static_cast<std::uint64_t>(std::popcount(bits[word]));
  return first_page_at_ + kDumpPageSize * rank;
}

std::uint64_t BitmapStore::End() const noexcept {
  return first_page_at_ + kDumpPageSize * present_pages_;
}

bool BitmapStore::CountsAgree() const noexcept {
  const auto all = SetBefore((bits_ + kPieceBits - 1) / kPieceBits);
  return !all || *all == present_pages_;
}

}  // namespace varnel::formats

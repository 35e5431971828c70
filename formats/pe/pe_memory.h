// PeMemory is the stretch of a dumped machine's memory that one image takes. It is the one place that knows about the
// image's bounds: places are relative virtual addresses (RVAs, bytes from the image's base), and a read that leaves the
// image is damage, while one whose pages the dump lacks is missing.
// A view: the address space must outlive it. As many threads may read as the address space allows.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>

#include "formats/address_space.h"
#include "formats/pe/pe_lookup.h"

namespace varnel::formats {

class PeMemory {
 public:
  PeMemory(const AddressSpace& space, std::uint64_t base, std::uint32_t size) noexcept
      : space_(&space), base_(base), size_(size) {}

  std::uint64_t base() const noexcept { return base_; }
  std::uint32_t size() const noexcept { return size_; }
  const AddressSpace& space() const noexcept { return *space_; }

  /// Fills all of `into`. @return kFound, kMissing or kDamaged; the bytes are only good with kFound.
  [[nodiscard]] PeState Read(std::uint32_t rva, std::span<std::byte> into) const noexcept;
  /// Fills `into` from its beginning as far as image and dump go. @return how many bytes.
  [[nodiscard]] std::size_t ReadSome(std::uint32_t rva, std::span<std::byte> into) const noexcept;

  /// A plain little-endian value.
  template <typename T>
  PeLookup<T> Copy(std::uint32_t rva) const noexcept {
    static_assert(std::is_trivially_copyable_v<T>);
    T value{};
    const PeState state = Read(rva, std::as_writable_bytes(std::span(&value, 1)));
    if (state != PeState::kFound) return state;
    return value;
  }

  /// Gives the elements of a table that are there, with their indices, until `visit(index, value)` says false.
  /// @return kFound when all that were asked for were given, kMissing when some are not in the dump, kDamaged when the
  /// table leaves the image (its beginning is given all the same).
  template <typename T, typename Visit>
  PeState ForEach(std::uint32_t rva, std::uint32_t count, Visit&& visit) const;

  /// A text that ends with a NUL, of at most `limit` bytes; a longer one is damage. Bytes are as they are.
  PeLookup<std::string> Text(std::uint32_t rva, std::size_t limit) const;

 private:
  const AddressSpace* space_;
  std::uint64_t base_;
  std::uint32_t size_;
};

template <typename T, typename Visit>
PeState PeMemory::ForEach(std::uint32_t rva, std::uint32_t count, Visit&& visit) const {
  static_assert(std::is_trivially_copyable_v<T>);
  std::array<T, 256> chunk;
  if (rva > size_) return count == 0 ? PeState::kFound : PeState::kDamaged;
  const auto fitting = static_cast<std::uint32_t>(std::min<std::size_t>(count, (size_ - rva) / sizeof(T)));
  PeState state = fitting < count ? PeState::kDamaged : PeState::kFound;
  for (std::uint32_t at = 0; at < fitting;) {
    const auto wanted = std::min<std::uint32_t>(fitting - at, static_cast<std::uint32_t>(chunk.size()));
    const auto place = static_cast<std::uint32_t>(rva + at * sizeof(T));
    const std::size_t bytes = ReadSome(place, std::as_writable_bytes(std::span(chunk).first(wanted)));
    const auto got = static_cast<std::uint32_t>(bytes / sizeof(T));
    for (std::uint32_t i = 0; i < got; ++i) {
      if (!visit(at + i, chunk[i])) return state;
    }
    if (got < wanted) {
      // Goes on with the first element that begins in the page behind the one that is not there.
      const std::uint64_t hole = base_ + place + bytes;
      const std::uint64_t next_page = (hole | 0xFFF) + 1 - base_ - rva;
      at = static_cast<std::uint32_t>(std::min<std::uint64_t>(fitting, (next_page + sizeof(T) - 1) / sizeof(T)));
      if (state == PeState::kFound) state = PeState::kMissing;
    } else {
      at += got;
    }
  }
  return state;
}

}  // namespace varnel::formats

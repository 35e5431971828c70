// PeFunctions is the function table (.pdata) of an x64 image: which stretch of code belongs to which function, and
// where it is told how to leave it. Functions that call nothing and keep no registers have no entry. A view over the
// image's address space, which must outlive it. A search reads a bounded number of entries; where pages of the table
// are not in the dump it goes by those that are.
#pragma once

#include <cstdint>
#include <optional>

#include "formats/pe/pe_function.h"
#include "formats/pe/pe_image.h"

namespace varnel::formats {

class PeFunctions {
 public:
  /// @return kAbsent when the image has no function table, kOtherKind when it is not for x64.
  static PeLookup<PeFunctions> Open(const PeImage& image);
  /// A table at a place that is known from elsewhere, for an image whose headers are not in the dump.
  PeFunctions(const PeMemory& memory, const PeRange& table) noexcept : memory_(memory), table_(table) {}

  /// The entry whose code holds a place. @return kAbsent when none does; kMissing when one in a part of the table that
  /// is not in the dump may; kDamaged.
  PeLookup<PeFunction> Find(std::uint32_t rva) const;

  /// The entry to unwind by: some stand for another one. @return kMissing, kDamaged.
  PeLookup<PeFunction> Resolve(const PeFunction& entry) const;

  /// The entry that the function begins with; an entry may tell of a later part of it. Its `begin` is the function's.
  /// @return kMissing, kDamaged.
  PeLookup<PeFunction> Primary(const PeFunction& entry) const;

  const PeMemory& memory() const noexcept { return memory_; }

 private:
  struct Probe;
  std::optional<Probe> ReadNear(std::uint32_t low, std::uint32_t high, std::uint32_t wanted,
                                std::uint32_t* reads) const;
  std::optional<PeFunction> Entry(std::uint32_t index) const;

  PeMemory memory_;
  PeRange table_;
};

}  // namespace varnel::formats

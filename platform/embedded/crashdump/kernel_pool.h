// Kernel memory for records: handed out one behind the other, in pages that are mapped as they are needed. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "platform/embedded/crashdump/address_map.h"

namespace varnel::embedded {

class KernelPool {
 public:
  /// Keeps the map, which outlives it.
  KernelPool(AddressMap* map, std::uint64_t begin) : map_(map), next_(begin), mapped_(begin) {}

  /// `size` bytes of zeros, at a multiple of 16.
  std::uint64_t Take(std::uint64_t size);

  /// A block of its own for these bytes.
  std::uint64_t Keep(std::span<const std::byte> bytes);

  /// Puts a counted string into a record at `place`, and its characters into a block of their own.
  void PutString(std::uint64_t place, std::u16string_view text);

 private:
  AddressMap* const map_;
  std::uint64_t next_;
  std::uint64_t mapped_;  // the end of what is mapped
};

}  // namespace varnel::embedded

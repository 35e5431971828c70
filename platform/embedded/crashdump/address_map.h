// Virtual memory of the simulated machine: page tables in its physical memory, made as the processor walks them, and
// writes through them. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "platform/embedded/crashdump/physical_memory.h"

namespace varnel::embedded {

/// What may be done with a page.
enum class PageAccess { kReadWrite, kReadOnly, kExecuteRead, kUserReadWrite };

class AddressMap {
 public:
  /// `levels`: 4 or 5. Keeps the memory, which outlives it.
  AddressMap(PhysicalMemory* memory, unsigned levels);

  /// The physical address of the topmost table: what a processor's CR3 holds.
  std::uint64_t root() const { return root_ * PhysicalMemory::kPageSize; }
  unsigned levels() const { return levels_; }

  /// Fresh pages for [address, address + size), address at a page's begin.
  void MapNew(std::uint64_t address, std::uint64_t size, PageAccess access);
  /// A page of 2 MiB or 1 GiB; `first_page` begins where such a page may.
  void MapLarge(std::uint64_t address, std::uint64_t first_page);
  void MapHuge(std::uint64_t address, std::uint64_t first_page);

  /// The entry of a table as the processor reads it. Level 1 is the entry of a page of 4 KiB, 2 of one of 2 MiB, and so
  /// on; the tables above are made as they are needed.
  void SetEntry(std::uint64_t address, unsigned level, std::uint64_t entry);
  static std::uint64_t EntryFor(std::uint64_t page, PageAccess access);

  /// Where an address lies in the physical memory. It must be mapped.
  std::uint64_t PhysicalOf(std::uint64_t address) const;

  /// Writes to mapped memory, over the ends of pages.
  void Write(std::uint64_t address, std::span<const std::byte> bytes);
  template <typename T>
  void Put(std::uint64_t address, std::type_identity_t<T> value) {
    static_assert(std::is_integral_v<T>);
    Write(address, std::as_bytes(std::span(&value, 1)));
  }

  /// Reads mapped memory, over the ends of pages.
  void Read(std::uint64_t address, std::span<std::byte> into) const;

 private:
  std::uint64_t TableFor(std::uint64_t address, unsigned level);
  std::uint64_t EntryOf(std::uint64_t table, std::uint64_t index) const;

  PhysicalMemory* const memory_;
  const unsigned levels_;
  const std::uint64_t root_;
};

}  // namespace varnel::embedded

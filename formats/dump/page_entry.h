// What one entry of an x64's page tables says, as this family of kernels writes it. Pure; any thread.
#pragma once

#include <cstdint>

namespace varnel::formats {

enum class PageEntryKind : std::uint8_t {
  kPresent,
  kTransition,  ///< taken from its owner, but still in memory
  kPrototype,   ///< shared; another entry tells where it is
  kPageFile,
  kDemandZero,  ///< nothing, or a protection alone: a page of zeros once somebody touches it
};

PageEntryKind KindOfPageEntry(std::uint64_t entry) noexcept;
/// The physical address that a present entry names. `level` is 1 for the lowest table, whose entries name 4 KiB.
std::uint64_t AddressOfPresent(std::uint64_t entry, int level) noexcept;
std::uint64_t AddressOfTransition(std::uint64_t entry) noexcept;
/// Address of the shared entry that a prototype entry points at.
std::uint64_t AddressOfPrototype(std::uint64_t entry) noexcept;
/// Whether a present entry of level 2 or 3 names a page of 2 MB or 1 GB itself.
bool NamesLargePage(std::uint64_t entry, int level) noexcept;

/// PAGE_... of a present entry; the tables above it must allow what it allows.
std::uint32_t HardwareProtection(std::uint64_t entry, bool writable, bool executable) noexcept;
/// PAGE_... of an entry that is not present, as the memory manager noted it there.
std::uint32_t SoftwareProtection(std::uint64_t entry) noexcept;

}  // namespace varnel::formats

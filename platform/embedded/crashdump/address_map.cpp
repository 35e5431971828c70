#include "platform/embedded/crashdump/address_map.h"

#include <algorithm>
#include <cassert>

#include "platform/embedded/crashdump/bytes.h"

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kPage = PhysicalMemory::kPageSize;
constexpr std::uint64_t kPresent = 1;
constexpr std::uint64_t kWritable = 2;
constexpr std::uint64_t kUser = 4;
constexpr std::uint64_t kAccessed = 0x20;
constexpr std::uint64_t kDirty = 0x40;
constexpr std::uint64_t kLarge = 0x80;
constexpr std::uint64_t kGlobal = 0x100;
constexpr std::uint64_t kNoExecute = std::uint64_t{1} << 63;
constexpr std::uint64_t kTable = kPresent | kWritable | kUser | kAccessed | kDirty;
constexpr std::uint64_t kPageBits = 0x000FFFFFFFFFF000;

std::uint64_t IndexAt(std::uint64_t address, unsigned level) {
  return address >> (12 + 9 * (level - 1)) & 511;
}

}  // namespace

AddressMap::AddressMap(PhysicalMemory* memory, unsigned levels)
    : memory_(memory), levels_(levels), root_(memory->TakePage()) {}

std::uint64_t AddressMap::EntryOf(std::uint64_t table, std::uint64_t index) const {
  const auto page = memory_->pages().find(table);
  return page == memory_->pages().end() ? 0 : Load<std::uint64_t>(page->second->bytes, 8 * index);
}

// The table that holds the address's entry of that level.
std::uint64_t AddressMap::TableFor(std::uint64_t address, unsigned level) {
  std::uint64_t table = root_;
  for (unsigned above = levels_; above > level; --above) {
    std::uint64_t entry = EntryOf(table, IndexAt(address, above));
    if ((entry & kPresent) == 0) {
      entry = memory_->TakePage() * kPage | kTable;
      Store<std::uint64_t>(memory_->Page(table), 8 * IndexAt(address, above), entry);
    }
    table = (entry & kPageBits) / kPage;
  }
  return table;
}

void AddressMap::SetEntry(std::uint64_t address, unsigned level, std::uint64_t entry) {
  Store<std::uint64_t>(memory_->Page(TableFor(address, level)), 8 * IndexAt(address, level), entry);
}

std::uint64_t AddressMap::EntryFor(std::uint64_t page, PageAccess access) {
  const std::uint64_t common = page * kPage | kPresent | kAccessed;
  switch (access) {
    case PageAccess::kReadOnly:
      return common | kGlobal | kNoExecute;
    case PageAccess::kExecuteRead:
      return common | kGlobal;
    case PageAccess::kUserReadWrite:
      return common | kWritable | kDirty | kUser | kNoExecute;
    case PageAccess::kReadWrite:
      break;
  }
  return common | kWritable | kDirty | kGlobal | kNoExecute;
}

void AddressMap::MapNew(std::uint64_t address, std::uint64_t size, PageAccess access) {
  const auto owner =
      access == PageAccess::kUserReadWrite ? PhysicalMemory::Owner::kProcess : PhysicalMemory::Owner::kKernel;
  for (std::uint64_t done = 0; done < size; done += kPage) {
    SetEntry(address + done, 1, EntryFor(memory_->TakePage(owner), access));
  }
}

void AddressMap::MapLarge(std::uint64_t address, std::uint64_t first_page) {
  SetEntry(address, 2, EntryFor(first_page, PageAccess::kReadWrite) | kLarge);
}

void AddressMap::MapHuge(std::uint64_t address, std::uint64_t first_page) {
  SetEntry(address, 3, EntryFor(first_page, PageAccess::kReadWrite) | kLarge);
}

std::uint64_t AddressMap::PhysicalOf(std::uint64_t address) const {
  std::uint64_t table = root_;
  for (unsigned level = levels_; level > 0; --level) {
    const std::uint64_t entry = EntryOf(table, IndexAt(address, level));
    assert((entry & kPresent) != 0);
    const std::uint64_t within = (std::uint64_t{1} << (12 + 9 * (level - 1))) - 1;
    if (level == 1 || (entry & kLarge) != 0) return (entry & kPageBits & ~within) | (address & within);
    table = (entry & kPageBits) / kPage;
  }
  return 0;
}

void AddressMap::Write(std::uint64_t address, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const std::uint64_t physical = PhysicalOf(address);
    const std::size_t piece = std::min<std::size_t>(bytes.size(), kPage - physical % kPage);
    StoreBytes(memory_->Page(physical / kPage), physical % kPage, bytes.first(piece));
    bytes = bytes.subspan(piece);
    address += piece;
  }
}

void AddressMap::Read(std::uint64_t address, std::span<std::byte> into) const {
  while (!into.empty()) {
    const std::uint64_t physical = PhysicalOf(address);
    const std::size_t piece = std::min<std::size_t>(into.size(), kPage - physical % kPage);
    const auto page = memory_->pages().find(physical / kPage);
    std::fill_n(into.begin(), piece, std::byte{0});
    if (page != memory_->pages().end()) {
      StoreBytes(into, 0, std::span<const std::byte>(page->second->bytes).subspan(physical % kPage, piece));
    }
    into = into.subspan(piece);
    address += piece;
  }
}

}  // namespace varnel::embedded

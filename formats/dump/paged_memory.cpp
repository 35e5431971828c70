#include "formats/dump/paged_memory.h"

#include <algorithm>
#include <utility>

#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

constexpr std::uint64_t kTableBase = 0x000FFFFFFFFFF000;  // of cr3, without its tags
constexpr std::uint64_t kNoExecute = std::uint64_t{1} << 63;
constexpr std::uint64_t kWritable = 2;
// A shared entry lies in paged memory of its own, which may again be shared; a third turn is no machine's.
constexpr int kMaxDepth = 2;

constexpr int BitsBelow(int level) {
  return 12 + 9 * (level - 1);
}

}  // namespace

PagedMemory::PagedMemory(const DumpSource& source, const DumpHeader& header, std::unique_ptr<PageStore> store)
    : source_(source), header_(header), store_(std::move(store)) {}

const std::optional<DebuggerData>& PagedMemory::debugger_data() const noexcept {
  Prepare();
  return debugger_data_;
}

int PagedMemory::levels() const noexcept {
  Prepare();
  return levels_;
}

std::size_t PagedMemory::ReadPhysical(std::uint64_t address, std::span<std::byte> into) const noexcept {
  std::size_t filled = 0;
  while (store_ && filled < into.size()) {
    const std::uint64_t at = address + filled;
    const auto offset = store_->OffsetOf(at / kDumpPageSize);
    if (!offset) break;
    const std::uint64_t in_page = at % kDumpPageSize;
    const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(into.size() - filled, kDumpPageSize - in_page));
    const std::size_t got = source_.Read(*offset + in_page, into.subspan(filled, part));
    filled += got;
    if (got < part) break;
  }
  return filled;
}

bool PagedMemory::IsCanonical(std::uint64_t address) const noexcept {
  const auto high = static_cast<std::int64_t>(address) >> (BitsBelow(levels_ + 1) - 1);
  return high == 0 || high == -1;
}

// The answer for an entry that names memory, or tells why it names none.
PagedMemory::Place PagedMemory::Leaf(std::uint64_t address, std::uint64_t entry, int level, bool writable,
                                     bool executable, int depth) const noexcept {
  switch (KindOfPageEntry(entry)) {
    case PageEntryKind::kPresent: {
      const std::uint64_t within = address & ((std::uint64_t{1} << BitsBelow(level)) - 1) & ~(kDumpPageSize - 1);
      return {MissingReason::kNone, AddressOfPresent(entry, level) + within,
              HardwareProtection(entry, writable, executable && (entry & kNoExecute) == 0)};
    }
    case PageEntryKind::kTransition:
      return {MissingReason::kNone, AddressOfTransition(entry), SoftwareProtection(entry)};
    case PageEntryKind::kPrototype:
      return Prototype(entry, depth);
    case PageEntryKind::kPageFile:
      return {MissingReason::kPagedOut, 0, SoftwareProtection(entry)};
    case PageEntryKind::kDemandZero:
      if (entry != 0) return {MissingReason::kNotMapped, 0, SoftwareProtection(entry)};
      break;
  }
  return {};
}

PagedMemory::Place PagedMemory::Prototype(std::uint64_t entry, int depth) const noexcept {
  const std::uint64_t address = AddressOfPrototype(entry);
  // All ones: the entry stands in no table, but is made up from the process's own list of its regions.
  if (address == ~std::uint64_t{0}) return {MissingReason::kNotMapped, 0, SoftwareProtection(entry)};
  if (static_cast<std::int64_t>(address) >= 0 || depth >= kMaxDepth) return {};
  std::uint64_t shared = 0;
  if (ReadAt(address, std::as_writable_bytes(std::span(&shared, 1)), depth + 1) != sizeof(shared)) {
    return {MissingReason::kNoTablePage, 0, {}};
  }
  // A shared entry that is itself of this kind tells of a place in a mapped file.
  if (KindOfPageEntry(shared) == PageEntryKind::kPrototype) return {MissingReason::kPagedOut, 0, {}};
  return Leaf(0, shared, 1, true, true, depth);
}

PagedMemory::Place PagedMemory::Walk(std::uint64_t address, int depth) const noexcept {
  if (!IsCanonical(address)) return {MissingReason::kNotCanonical, 0, {}};
  std::uint64_t table = header_.directory_table_base & kTableBase;
  bool writable = true;
  bool executable = true;
  for (int level = levels_;; --level) {
    const std::uint64_t index = (address >> BitsBelow(level)) & 0x1FF;
    std::uint64_t entry = 0;
    if (ReadPhysical(table + 8 * index, std::as_writable_bytes(std::span(&entry, 1))) != sizeof(entry)) {
      return {MissingReason::kNoTablePage, 0, {}};
    }
    const PageEntryKind kind = KindOfPageEntry(entry);
    if (level == 1 || (kind == PageEntryKind::kPresent && NamesLargePage(entry, level))) {
      return Leaf(address, entry, level, writable, executable, depth);
    }
    if (kind == PageEntryKind::kPageFile) return {MissingReason::kPagedOut, 0, {}};
    if (kind != PageEntryKind::kPresent && kind != PageEntryKind::kTransition) return {};
    if (kind == PageEntryKind::kPresent) {
      writable = writable && (entry & kWritable) != 0;
      executable = executable && (entry & kNoExecute) == 0;
    }
    table = kind == PageEntryKind::kPresent ? AddressOfPresent(entry, 1) : AddressOfTransition(entry);
  }
}

PagedMemory::Place PagedMemory::Find(std::uint64_t address) const noexcept {
  const std::uint64_t page = address / kDumpPageSize;
  Remembered& slot = remembered_[page % remembered_.size()];
  if (slot.page == page) return slot.place;
  slot = {page, Walk(address, 0)};
  return slot.place;
}

std::size_t PagedMemory::ReadAt(std::uint64_t address, std::span<std::byte> into, int depth) const noexcept {
  std::size_t filled = 0;
  while (filled < into.size()) {
    const std::uint64_t at = address + filled;
    if (at < address) break;
    const Place place = depth == 0 ? Find(at) : Walk(at, depth);
    if (place.reason != MissingReason::kNone) break;
    const std::uint64_t in_page = at % kDumpPageSize;
    const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(into.size() - filled, kDumpPageSize - in_page));
    const std::size_t got = ReadPhysical(place.physical + in_page, into.subspan(filled, part));
    filled += got;
    if (got < part) break;
  }
  return filled;
}

std::optional<DebuggerData> PagedMemory::ReadDebuggerData() const noexcept {
  if (header_.debugger_data_block.value_or(0) == 0) return {};
  std::array<std::byte, DebuggerData::kMaxSize> bytes{};
  const std::size_t size = ReadAt(*header_.debugger_data_block, bytes, 0);
  const auto block = std::span<const std::byte>(bytes).first(size);
  auto plain = DebuggerData::FromPlain(block);
  return plain ? plain : DebuggerData::FromEncoded(block, header_.loaded_module_list, header_.active_process_head);
}

void PagedMemory::Prepare() const noexcept {
  if (prepared_) return;
  prepared_ = true;
  bool list_is_there[2] = {};
  std::optional<DebuggerData> doubtful;  // found with another number of levels than it tells
  int doubtful_levels = 0;
  for (const int levels : {4, 5}) {
    UseLevels(levels);
    debugger_data_ = ReadDebuggerData();
    if (debugger_data_ && debugger_data_->PagingLevels() == levels) return;
    if (debugger_data_ && !doubtful) {
      doubtful = debugger_data_;
      doubtful_levels = levels;
    }
    std::byte one{};
    list_is_there[levels - 4] = ReadAt(header_.loaded_module_list, std::span(&one, 1), 0) == 1;
  }
  debugger_data_ = doubtful;
  if (doubtful) return UseLevels(doubtful_levels);
  UseLevels(!list_is_there[0] && list_is_there[1] ? 5 : 4);
}

void PagedMemory::UseLevels(int levels) const noexcept {
  levels_ = levels;
  remembered_ = {};
}

std::size_t PagedMemory::ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept {
  Prepare();
  return ReadAt(address, into, 0);
}

MissingReason PagedMemory::WhyMissing(std::uint64_t address) const noexcept {
  Prepare();
  const Place place = Find(address);
  if (place.reason != MissingReason::kNone) return place.reason;
  std::byte one{};
  const std::uint64_t physical = place.physical + address % kDumpPageSize;
  return ReadPhysical(physical, std::span(&one, 1)) == 1 ? MissingReason::kNone : MissingReason::kNoDataPage;
}

std::optional<std::uint64_t> PagedMemory::Translate(std::uint64_t address) const noexcept {
  Prepare();
  const Place place = Find(address);
  if (place.reason != MissingReason::kNone) return {};
  return place.physical + address % kDumpPageSize;
}

std::optional<std::uint32_t> PagedMemory::Protection(std::uint64_t address) const noexcept {
  Prepare();
  return Find(address).protection;
}

}  // namespace varnel::formats

#include "formats/pe/pe_functions.h"

#include "formats/pe/unwind_info.h"

namespace varnel::formats {
namespace {

constexpr std::uint16_t kMachineX64 = 0x8664;
constexpr std::uint32_t kEntrySize = 12;
constexpr std::uint32_t kPage = 0x1000;
constexpr std::uint32_t kMostReads = 4096;  // of one search, in a table full of holes
constexpr int kMostHops = 32;               // of one entry standing for another, or being a part of another
constexpr std::uint32_t kIndirect = 1;

}  // namespace

struct PeFunctions::Probe {
  std::uint32_t index;
  PeFunction entry;
};

PeLookup<PeFunctions> PeFunctions::Open(const PeImage& image) {
  if (image.headers().machine != kMachineX64) return PeState::kOtherKind;
  const auto table = image.Directory(PeDirectory::kException);
  if (!table.found()) return table.state();
  return PeFunctions(image.memory(), table.value());
}

std::optional<PeFunction> PeFunctions::Entry(std::uint32_t index) const {
  const auto entry = memory_.Copy<PeFunction>(table_.rva + index * kEntrySize);
  return entry.found() ? std::optional(entry.value()) : std::nullopt;
}

// An entry of [low, high) that is in the dump: the wanted one, else the next one that begins in a later page, else the
// last one of an earlier page.
std::optional<PeFunctions::Probe> PeFunctions::ReadNear(std::uint32_t low, std::uint32_t high, std::uint32_t wanted,
                                                        std::uint32_t* reads) const {
  const std::uint64_t table = memory_.base() + table_.rva;
  const auto page_of = [table](std::uint64_t byte) { return (table + byte) & ~std::uint64_t{kPage - 1}; };
  for (std::uint32_t index = wanted; index < high && *reads < kMostReads; ++*reads) {
    if (const auto entry = Entry(index); entry.has_value()) return Probe{index, *entry};
    const std::uint64_t next = page_of(std::uint64_t{index} * kEntrySize) + kPage - table;
    index = static_cast<std::uint32_t>((next + kEntrySize - 1) / kEntrySize);
  }
  for (std::uint32_t index = wanted; *reads < kMostReads; ++*reads) {
    // The last entry that ends before the page in which this one ends; one that lies across is missing with that page.
    const std::uint64_t page = page_of(std::uint64_t{index} * kEntrySize + kEntrySize - 1);
    if (page < table + kEntrySize) break;
    index = static_cast<std::uint32_t>((page - table) / kEntrySize - 1);
    if (index < low) break;
    if (const auto entry = Entry(index); entry.has_value()) return Probe{index, *entry};
  }
  return std::nullopt;
}

PeLookup<PeFunction> PeFunctions::Find(std::uint32_t rva) const {
  std::uint32_t low = 0;
  std::uint32_t high = table_.size / kEntrySize;
  std::uint32_t reads = 0;
  std::optional<PeFunction> below;  // the last entry known to begin at or below the place
  bool holes = false;
  while (low < high) {
    const auto probe = ReadNear(low, high, low + (high - low) / 2, &reads);
    if (!probe.has_value()) {
      holes = true;
      break;
    }
    if (probe->entry.begin <= rva) {
      below = probe->entry;
      low = probe->index + 1;
    } else {
      high = probe->index;
    }
  }
  if (below.has_value() && below->end > memory_.size()) return PeState::kDamaged;
  if (below.has_value() && below->Holds(rva)) return *below;
  return holes ? PeState::kMissing : PeState::kAbsent;
}

PeLookup<PeFunction> PeFunctions::Resolve(const PeFunction& entry) const {
  PeFunction current = entry;
  for (int hop = 0; hop < kMostHops; ++hop) {
    if ((current.unwind_info & kIndirect) == 0) return current;
    const auto next = memory_.Copy<PeFunction>(current.unwind_info & ~kIndirect);
    if (!next.found()) return next.state();
    current = next.value();
  }
  return PeState::kDamaged;
}

PeLookup<PeFunction> PeFunctions::Primary(const PeFunction& entry) const {
  auto current = Resolve(entry);
  for (int hop = 0; hop < kMostHops && current.found(); ++hop) {
    const auto info = ReadUnwindInfo(memory_, current.value().unwind_info);
    if (!info.found()) return info.state();
    if (!info.value().chained.has_value()) return current;
    current = Resolve(*info.value().chained);
  }
  return current.found() ? PeState::kDamaged : current.state();
}

}  // namespace varnel::formats

#include "formats/dump/live_lists.h"

#include <algorithm>
#include <array>
#include <span>
#include <unordered_set>

#include "formats/dump/module_names.h"
#include "formats/dump/read_values.h"
#include "formats/dump/triage_lists.h"

namespace varnel::formats {
namespace {

constexpr std::size_t kModuleEntry = 0x88;
constexpr std::size_t kModuleNeeded = 0x48;  // up to the image's size; what follows may be on a page that is not there
constexpr std::size_t kUnloadedEntry = 0x28;
constexpr std::uint32_t kUnloadedSlots = 50;

using Entry = std::span<const std::byte>;

/// A UNICODE_STRING that stands in an entry.
std::u16string ReadText(const AddressSpace& memory, Entry entry, std::size_t offset, ModuleNames* names) {
  const auto buffer = Field<std::uint64_t>(entry, offset + 8);
  if (buffer == 0) return {};
  return names->Read(Field<std::uint16_t>(entry, offset),
                     [&](std::span<std::byte> into) { return memory.ReadVirtual(buffer, into); });
}

DumpModule ModuleOf(const AddressSpace& memory, Entry entry, ModuleNames* names) {
  DumpModule out;
  out.exception_table = Field<std::uint64_t>(entry, 0x10);
  out.exception_table_size = Field<std::uint32_t>(entry, 0x18);
  out.base = Field<std::uint64_t>(entry, 0x30);
  out.entry_point = Field<std::uint64_t>(entry, 0x38);
  out.size = Field<std::uint32_t>(entry, 0x40);
  out.path = ReadText(memory, entry, 0x48, names);
  out.name = ReadText(memory, entry, 0x58, names);
  out.flags = Field<std::uint32_t>(entry, 0x68);
  out.check_sum = Field<std::uint32_t>(entry, 0x78);
  out.time_date_stamp = Field<std::uint32_t>(entry, 0x80);
  names->Complete(&out);
  return out;
}

}  // namespace

std::vector<DumpModule> ReadLiveModules(const AddressSpace& memory, std::uint64_t head, std::uint64_t file_size) {
  std::vector<DumpModule> out;
  ModuleNames names(file_size);
  const auto limit = static_cast<std::size_t>(std::min<std::uint64_t>(kMaxListedModules, file_size / kModuleNeeded));
  std::unordered_set<std::uint64_t> seen = {head};
  auto next = ReadMemory<std::uint64_t>(memory, head);
  while (next && out.size() < limit && seen.insert(*next).second) {
    std::array<std::byte, kModuleEntry> entry{};
    if (memory.ReadVirtual(*next, entry) < kModuleNeeded) break;
    out.push_back(ModuleOf(memory, entry, &names));
    next = Field<std::uint64_t>(entry, 0);
  }
  return out;
}

std::vector<DumpUnloadedModule> ReadLiveUnloaded(const AddressSpace& memory, const DebuggerData& data,
                                                 std::uint64_t file_size) {
  namespace field = debugger_data_field;
  std::vector<DumpUnloadedModule> out;
  const auto array = ReadMemory<std::uint64_t>(memory, data.At<std::uint64_t>(field::kMmUnloadedDrivers).value_or(0));
  const auto next = ReadMemory<std::uint32_t>(memory, data.At<std::uint64_t>(field::kMmLastUnloadedDriver).value_or(0));
  if (!array || *array == 0 || !next) return out;
  ModuleNames names(file_size);
  for (std::uint32_t back = 1; back <= kUnloadedSlots; ++back) {
    // The kernel counts on and uses the slots in turn.
    const std::uint32_t slot = (*next % kUnloadedSlots + kUnloadedSlots - back) % kUnloadedSlots;
    std::array<std::byte, kUnloadedEntry> entry{};
    if (memory.ReadVirtual(*array + std::uint64_t{kUnloadedEntry} * slot, entry) != entry.size()) continue;
    DumpUnloadedModule one;
    one.start = Field<std::uint64_t>(entry, 0x10);
    one.end = Field<std::uint64_t>(entry, 0x18);
    if (one.start == 0) continue;
    one.name = ReadText(memory, entry, 0, &names);
    one.time = Field<std::uint64_t>(entry, 0x20);
    out.push_back(std::move(one));
  }
  return out;
}

}  // namespace varnel::formats

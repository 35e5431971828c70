#include "formats/dump/triage_lists.h"

#include <algorithm>
#include <array>

#include "formats/dump/module_names.h"
#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

constexpr std::size_t kDriverEntry = 0x90;
constexpr std::size_t kUnloadedEntry = 0x38;
constexpr std::uint32_t kMaxUnloaded = 50;
constexpr std::size_t kUnloadedNameUnits = 12;

using Entry = std::span<const std::byte>;

std::u16string ReadPoolText(const DumpSource& source, std::uint32_t offset, ModuleNames* names) {
  if (offset == 0) return {};
  const auto length = ReadFile<std::uint32_t>(source, offset);
  if (!length) return {};
  return names->Read(std::uint64_t{*length} * 2, [&](std::span<std::byte> into) {
    return source.Read(std::uint64_t{offset} + sizeof(*length), into);
  });
}

DumpModule ModuleOf(const DumpSource& source, Entry entry, ModuleNames* names) {
  DumpModule out;
  out.exception_table = Field<std::uint64_t>(entry, 0x18);
  out.exception_table_size = Field<std::uint32_t>(entry, 0x20);
  out.base = Field<std::uint64_t>(entry, 0x38);
  out.entry_point = Field<std::uint64_t>(entry, 0x40);
  out.size = Field<std::uint32_t>(entry, 0x48);
  out.flags = Field<std::uint32_t>(entry, 0x70);
  out.check_sum = Field<std::uint32_t>(entry, 0x80);
  out.time_date_stamp = Field<std::uint32_t>(entry, 0x88);
  out.path = ReadPoolText(source, Field<std::uint32_t>(entry, 0), names);
  names->Complete(&out);
  return out;
}

std::u16string UnloadedName(Entry entry) {
  const std::size_t told = Field<std::uint16_t>(entry, 0) / 2;
  std::u16string name(std::min(told, kUnloadedNameUnits), u'\0');
  std::memcpy(name.data(), entry.data() + 0x10, 2 * name.size());
  name.resize(std::min(name.find(u'\0'), name.size()));
  return name;
}

}  // namespace

std::vector<DumpModule> ReadTriageModules(const DumpSource& source, const TriageBlock& block) {
  std::vector<DumpModule> out;
  if (block.driver_list_offset == 0) return out;
  ModuleNames names(source.Size());
  const std::size_t count = std::min<std::size_t>(block.driver_count, kMaxListedModules);
  for (std::size_t i = 0; i < count; ++i) {
    std::array<std::byte, kDriverEntry> entry{};
    if (source.Read(std::uint64_t{block.driver_list_offset} + kDriverEntry * i, entry) != entry.size()) break;
    out.push_back(ModuleOf(source, entry, &names));
  }
  return out;
}

std::vector<DumpUnloadedModule> ReadTriageUnloaded(const DumpSource& source, const TriageBlock& block) {
  std::vector<DumpUnloadedModule> out;
  if (block.unloaded_drivers_offset == 0) return out;
  const auto told = ReadFile<std::uint32_t>(source, block.unloaded_drivers_offset);
  const std::uint32_t count = std::min(told.value_or(0), kMaxUnloaded);
  for (std::uint32_t i = 0; i < count; ++i) {
    std::array<std::byte, kUnloadedEntry> entry{};
    const std::uint64_t at = std::uint64_t{block.unloaded_drivers_offset} + 8 + kUnloadedEntry * i;
    if (source.Read(at, entry) != entry.size()) break;
    DumpUnloadedModule one;
    one.name = UnloadedName(entry);
    one.start = Field<std::uint64_t>(entry, 0x28);
    one.end = Field<std::uint64_t>(entry, 0x30);
    out.push_back(std::move(one));
  }
  return out;
}

}  // namespace varnel::formats

// The lists of loaded modules and of unloaded drivers of a crashed machine.
#include "platform/embedded/crashdump/bytes.h"
#include "platform/embedded/crashdump/machine_parts.h"
#include "platform/embedded/crashdump/record_layout.h"

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kDriversBegin = 0xFFFFF80200000000;
constexpr std::uint64_t kDriversApart = 0x100000;
constexpr std::uint64_t kDay = 864'000'000'000;  // 100 ns

struct Name {
  const char16_t* folder;
  const char16_t* file;
};
// With a name that needs more than letters, and one that two files share.
constexpr Name kDrivers[] = {
    {u"\\SystemRoot\\system32\\", u"hal.dll"},
    {u"\\SystemRoot\\system32\\", u"kdcom.dll"},
    {u"\\SystemRoot\\System32\\drivers\\", u"acpi.sys"},
    {u"\\SystemRoot\\System32\\drivers\\", u"pci.sys"},
    {u"\\SystemRoot\\System32\\drivers\\", u"ntfs.sys"},
    {u"\\SystemRoot\\System32\\drivers\\", u"ndis.sys"},
    {u"\\SystemRoot\\System32\\drivers\\", u"varnel-link.sys"},
    {u"\\SystemRoot\\System32\\drivers\\", u"twice.sys"},
    {u"\\??\\C:\\Program Files\\Varnel\\", u"twice.sys"},
    {u"\\SystemRoot\\System32\\drivers\\", u"gr\u00FCn.sys"},
};
constexpr const char16_t* kGone[] = {u"hwpolicy.sys", u"dump_storage_port.sys", u"varnel-old.sys"};

PlantedModule Kernel(const LoadedImage& image) {
  return {u"ntoskrnl.exe",    u"\\SystemRoot\\system32\\ntoskrnl.exe",
          image.base(),       static_cast<std::uint32_t>(image.bytes().size()),
          image.time_stamp(), image.checksum(),
          image.entry(),      0};
}

PlantedModule Driver(const std::u16string& folder, const std::u16string& file, std::uint32_t number) {
  const std::uint64_t base = kDriversBegin + kDriversApart * number;
  const std::uint32_t size = 0x8000 + 0x1000 * (number % 64);
  return {file, folder + file, base, size, 0x5F000000 + number * 977, 0x10000 + number * 31, base + 0x5000, 0, 0, 0};
}

std::u16string Decimal(std::uint32_t number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

void PlantRecord(AddressMap* map, KernelPool* pool, PlantedModule* module) {
  module->record = pool->Take(kModuleSize);
  const std::uint64_t at = module->record;
  map->Put<std::uint64_t>(at + kModuleExceptionTable, module->exception_table);
  map->Put<std::uint32_t>(at + kModuleExceptionSize, module->exception_table_size);
  map->Put<std::uint64_t>(at + kModuleBase, module->base);
  map->Put<std::uint64_t>(at + kModuleEntry, module->entry_point);
  map->Put<std::uint32_t>(at + kModuleImageSize, module->size);
  pool->PutString(at + kModuleFullName, module->path);
  pool->PutString(at + kModuleBaseName, module->name);
  map->Put<std::uint32_t>(at + kModuleFlags, 0x49104000);
  map->Put<std::uint16_t>(at + kModuleLoadCount, 1);
  map->Put<std::uint32_t>(at + kModuleChecksum, module->checksum);
  map->Put<std::uint32_t>(at + kModuleTimeStamp, module->time_stamp);
}

// A ring: the head, each record, and the head again.
void LinkRecords(AddressMap* map, std::uint64_t head, const std::vector<PlantedModule>& modules) {
  std::uint64_t before = head;
  for (const PlantedModule& module : modules) {
    map->Put<std::uint64_t>(before, module.record);
    map->Put<std::uint64_t>(module.record + 8, before);
    before = module.record;
  }
  map->Put<std::uint64_t>(before, head);
  map->Put<std::uint64_t>(head + 8, before);
}

void PlantUnloaded(CrashedMachine* machine, KernelPool* pool) {
  AddressMap& map = machine->map;
  const std::uint64_t table = pool->Take(kUnloadedSize * kUnloadedRoom);
  std::uint64_t at = table;
  std::uint32_t number = 0;
  for (const char16_t* name : kGone) {
    const std::uint64_t begin = kDriversBegin - kDriversApart * (3 + number++);
    const PlantedUnloadedDriver gone{name, begin, begin + 0x9000, machine->options.system_time - kDay / (number + 1)};
    machine->unloaded.push_back(gone);
    pool->PutString(at, gone.name);
    map.Put<std::uint64_t>(at + kUnloadedBegin, gone.begin);
    map.Put<std::uint64_t>(at + kUnloadedEnd, gone.end);
    map.Put<std::uint64_t>(at + kUnloadedTime, gone.time);
    at += kUnloadedSize;
  }
  map.Put<std::uint64_t>(machine->kernel.Export("MmUnloadedDrivers"), table);
  map.Put<std::uint32_t>(machine->kernel.Export("MmLastUnloadedDriver"), number);
}

}  // namespace

void PlantModules(CrashedMachine* machine, KernelPool* pool) {
  auto& modules = machine->modules;
  modules.push_back(Kernel(machine->kernel));
  std::uint32_t number = 0;
  for (const Name& name : kDrivers) modules.push_back(Driver(name.folder, name.file, number++));
  for (std::uint32_t i = 0; i < machine->options.more_modules; ++i) {
    modules.push_back(Driver(u"\\SystemRoot\\System32\\drivers\\", u"more" + Decimal(i) + u".sys", number++));
  }
  for (PlantedModule& module : modules) PlantRecord(&machine->map, pool, &module);
  LinkRecords(&machine->map, machine->kernel.Export("PsLoadedModuleList"), modules);
  PlantUnloaded(machine, pool);
}

}  // namespace varnel::embedded

#include "platform/embedded/crashdump/crashed_machine.h"

#include "platform/embedded/crashdump/bytes.h"
#include "platform/embedded/crashdump/kernel_image.h"
#include "platform/embedded/crashdump/machine_parts.h"

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kKernelBase = 0xFFFFF80123400000;
constexpr std::uint64_t kPoolBegin = 0xFFFFCA8012340000;
constexpr std::uint64_t kSharedData = 0xFFFFF78000000000;

// The page that the kernel shares with all processes: time and version.
void PlantSharedData(CrashedMachine* machine) {
  AddressMap& map = machine->map;
  map.MapNew(kSharedData, PhysicalMemory::kPageSize, PageAccess::kReadOnly);
  map.Put<std::uint64_t>(kSharedData + 0x08, machine->options.up_time);
  map.Put<std::uint64_t>(kSharedData + 0x14, machine->options.system_time);
  map.Put<std::uint32_t>(kSharedData + 0x260, machine->build);
  map.Put<std::uint32_t>(kSharedData + 0x26C, 10);
}

}  // namespace

CrashedMachine::CrashedMachine(const CrashedMachineOptions& asked)
    : options(asked),
      memory(asked.memory_size),
      map(&memory, asked.paging_levels),
      kernel(KernelImageFile(), kKernelBase) {
  KernelPool pool(&map, kPoolBegin);
  PlantKernel(this);
  PlantSharedData(this);
  PlantModules(this, &pool);
  PlantProcessors(this, &pool);
  PlantProbes(this, &pool);
  PlantDebuggerData(this);
  PlantBlobs(this);
}

void PlantKernel(CrashedMachine* machine) {
  AddressMap& map = machine->map;
  const LoadedImage& kernel = machine->kernel;
  if (machine->options.large_kernel_page) {
    map.MapLarge(kernel.base(), machine->memory.TakeLargePage());
  } else {
    map.MapNew(kernel.base(), PhysicalMemory::kPageSize, PageAccess::kReadOnly);
    for (const auto& section : kernel.sections()) {
      const PageAccess access = section.executable ? PageAccess::kExecuteRead
                                : section.writable ? PageAccess::kReadWrite
                                                   : PageAccess::kReadOnly;
      map.MapNew(kernel.base() + section.rva, section.size, access);
    }
  }
  map.Write(kernel.base(), kernel.bytes());
  machine->build_lab = std::to_string(machine->build) + ".5072.amd64fre.varnel.260101-0000";
  map.Write(kernel.Export("NtBuildLab"), std::as_bytes(std::span(machine->build_lab)));
  map.Put<std::uint32_t>(kernel.Export("NtBuildNumber"), 0xF0000000 | machine->build);
  const std::uint64_t stop = kernel.Export("KiBugCheckData");
  map.Put<std::uint64_t>(stop, machine->options.bugcheck_code);
  for (std::size_t i = 0; i < 4; ++i) map.Put<std::uint64_t>(stop + 8 + 8 * i, machine->options.parameters.at(i));
}

}  // namespace varnel::embedded

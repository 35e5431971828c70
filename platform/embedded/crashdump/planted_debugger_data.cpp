// The debugger data block of a crashed machine: where its lists and variables are, and where things stand in its
// records.
#include <bit>

#include "platform/embedded/crashdump/bytes.h"
#include "platform/embedded/crashdump/machine_parts.h"
#include "platform/embedded/crashdump/record_layout.h"

namespace varnel::embedded {
namespace {

constexpr std::size_t kBlockSize = 0x380;
constexpr std::uint64_t kWaitNever = 0x9E3779B97F4A7C15;
constexpr std::uint64_t kWaitAlways = 0xD1B54A32D192ED03;

struct Variable {
  std::size_t place;
  const char* name;  // of the kernel's export
};
constexpr Variable kVariables[] = {
    {0x48, "PsLoadedModuleList"},     {0x50, "PsActiveProcessHead"},  {0x88, "KiBugCheckData"},
    {0xC0, "MmPfnDatabase"},          {0xD8, "MmHighestUserAddress"}, {0x208, "NtBuildLab"},
    {0x218, "KiProcessorBlock"},      {0x220, "MmUnloadedDrivers"},   {0x228, "MmLastUnloadedDriver"},
    {0x270, "MmPhysicalMemoryBlock"},
};

struct Offset {
  std::size_t place;
  std::uint16_t value;
};
constexpr Offset kOffsets[] = {
    {0x298, kThreadNextProcessor},
    {0x29A, kThreadTeb},
    {0x29C, kThreadKernelStack},
    {0x29E, kThreadInitialStack},
    {0x2A0, kThreadApcProcess},
    {0x2A2, kThreadState},
    {0x2A8, kProcessSize},
    {0x2AA, kProcessPeb},
    {0x2AC, kProcessParentId},
    {0x2AE, kProcessDirectoryTableBase},
    {0x2B0, kPrcbSize},
    {0x2B4, kPrcbCurrentThread},
    {0x2B6, kPrcbMegahertz},
    {0x2B8, kPrcbCpuType},
    {0x2BA, kPrcbVendor},
    {0x2BC, kPrcbContextFrame},
    {0x2BE, kPrcbNumber},
    {0x2C0, kThreadSize},
    {0x2E0, kPcrSize},
    {0x2E2, kPcrSelf},
    {0x2E4, kPcrCurrentPrcb},
    {0x2E6, kPcrContainedPrcb},
    {0x2F0, kPrcbPcrPage},
    {0x2F2, kPrcbSpecialRegisters},
    {0x2F4, 0x10},  // selectors: the kernel's code, data and control region, the user's, the task's
    {0x2F6, 0x18},
    {0x2F8, 0x00},
    {0x2FA, 0x33},
    {0x2FC, 0x2B},
    {0x2FE, 0x53},
    {0x302, 0x40},
    {0x338, kPrcbContext},
};

std::vector<std::byte> PlainBlock(const CrashedMachine& machine) {
  std::vector<std::byte> block(kBlockSize);
  const std::uint64_t self = machine.debugger_data_address;
  Store<std::uint64_t>(block, 0x00, self);  // a list of one
  Store<std::uint64_t>(block, 0x08, self);
  StoreBytes(block, 0x10, std::as_bytes(std::span("KDBG", 4)));
  Store<std::uint32_t>(block, 0x14, kBlockSize);
  Store<std::uint64_t>(block, 0x18, machine.kernel.base());
  Store<std::uint16_t>(block, 0x36, static_cast<std::uint16_t>(1 | machine.map.levels() << 2));
  for (const Variable& variable : kVariables) {
    Store<std::uint64_t>(block, variable.place, machine.kernel.Export(variable.name));
  }
  for (const Offset& offset : kOffsets) Store<std::uint16_t>(block, offset.place, offset.value);
  Store<std::uint32_t>(block, 0x340, kThreadStackLimit);
  Store<std::uint32_t>(block, 0x344, kThreadStackBase);
  Store<std::uint16_t>(block, 0x35C, kThreadWaitReason);
  return block;
}

// As the kernel scrambles it while no debugger asks: each quadword with two numbers and an address of its own.
std::vector<std::byte> Encoded(std::vector<std::byte> block, std::uint64_t salt) {
  for (std::size_t at = 0; at < block.size(); at += 8) {
    std::uint64_t value = __builtin_bswap64(Load<std::uint64_t>(block, at) ^ kWaitAlways) ^ salt;
    value = std::rotr(value, static_cast<int>(kWaitNever & 63)) ^ kWaitNever;
    Store<std::uint64_t>(block, at, value);
  }
  return block;
}

}  // namespace

void PlantDebuggerData(CrashedMachine* machine) {
  const LoadedImage& kernel = machine->kernel;
  machine->debugger_data_address = kernel.Export("KdDebuggerDataBlock");
  machine->debugger_data = PlainBlock(*machine);
  machine->map.Put<std::uint64_t>(kernel.Export("KiWaitNever"), kWaitNever);
  machine->map.Put<std::uint64_t>(kernel.Export("KiWaitAlways"), kWaitAlways);
  const bool encoded = machine->options.encoded_debugger_data;
  machine->map.Write(
      machine->debugger_data_address,
      encoded ? Encoded(machine->debugger_data, kernel.Export("KdpDataBlockEncoded")) : machine->debugger_data);
}

}  // namespace varnel::embedded

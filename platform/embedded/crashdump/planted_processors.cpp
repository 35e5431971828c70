// Processes, threads and processors of a crashed machine.
#include <cstring>

#include "platform/embedded/crashdump/bytes.h"
#include "platform/embedded/crashdump/context_record.h"
#include "platform/embedded/crashdump/machine_parts.h"
#include "platform/embedded/crashdump/record_layout.h"

namespace varnel::embedded {
namespace {

constexpr std::size_t kStackSize = 0x6000;
constexpr std::uint64_t kStacks[] = {0xFFFFFB0A55550000, 0xFFFFFB0A66660000};
constexpr std::uint64_t kControlRegions[] = {0xFFFFF80120000000, 0xFFFFB90033330000};
constexpr std::uint32_t kMegahertz = 2904;
constexpr std::uint8_t kRunning = 2;
constexpr std::uint64_t kDispatchLevel = 2;

struct ProcessFacts {
  const char* name;
  std::uint64_t id;
  std::uint64_t parent;
  bool listed;
};
constexpr ProcessFacts kProcesses[] = {
    {"System", 4, 0, true}, {"session.exe", 0x150, 4, true}, {"shop.exe", 0x9A8, 0x150, true}, {"Idle", 0, 0, false}};
constexpr std::size_t kSystem = 0;
constexpr std::size_t kIdle = 3;

std::uint64_t PlantProcess(CrashedMachine* machine, KernelPool* pool, const ProcessFacts& facts) {
  AddressMap& map = machine->map;
  const std::uint64_t at = pool->Take(kProcessSize);
  map.Put<std::uint64_t>(at + kProcessDirectoryTableBase, map.root());
  map.Put<std::uint64_t>(at + kProcessId, facts.id);
  map.Put<std::uint64_t>(at + kProcessParentId, facts.parent);
  map.Put<std::uint64_t>(at + kProcessCreateTime, machine->options.system_time - machine->options.up_time);
  map.Write(at + kProcessImageName, std::as_bytes(std::span(facts.name, std::strlen(facts.name))));
  if (!facts.listed) return at;
  const std::uint64_t head = machine->kernel.Export("PsActiveProcessHead");
  std::array<std::byte, 8> last{};
  map.Read(head + 8, last);
  const std::uint64_t before = Load<std::uint64_t>(last, 0);
  map.Put<std::uint64_t>(at + kProcessLinks, head);
  map.Put<std::uint64_t>(at + kProcessLinks + 8, before);
  map.Put<std::uint64_t>(before, at + kProcessLinks);
  map.Put<std::uint64_t>(head + 8, at + kProcessLinks);
  return at;
}

std::uint64_t PlantThread(AddressMap* map, KernelPool* pool, const PlantedProcessor& processor, unsigned number,
                          std::uint64_t process_id) {
  const std::uint64_t at = pool->Take(kThreadSize);
  const CrashStack& stack = processor.stack;
  map->Put<std::uint64_t>(at + kThreadInitialStack, stack.high());
  map->Put<std::uint64_t>(at + kThreadStackLimit, stack.low);
  map->Put<std::uint64_t>(at + kThreadStackBase, stack.high());
  map->Put<std::uint64_t>(at + kThreadKernelStack, stack.registers.general[4]);
  map->Put<std::uint64_t>(at + kThreadApcProcess, processor.process);
  map->Put<std::uint64_t>(at + kThreadProcess, processor.process);
  map->Put<std::uint8_t>(at + kThreadState, kRunning);
  map->Put<std::uint32_t>(at + kThreadNextProcessor, number);
  map->Put<std::uint64_t>(at + kThreadClientId, process_id);
  map->Put<std::uint64_t>(at + kThreadClientId + 8, 0x44 + 4 * number);
  return at;
}

// The arguments of the stop, where its first instruction finds them; and in the stack's unused room a pointer into a
// driver, as older calls leave them.
void LeaveArguments(const CrashedMachine& machine, CrashStack* stack) {
  const auto& parameters = machine.options.parameters;
  auto& registers = stack->registers.general;
  registers[1] = machine.options.bugcheck_code;
  registers[2] = parameters[0];
  registers[8] = parameters[1];
  registers[9] = parameters[2];
  Store<std::uint64_t>(stack->bytes, registers[4] + 0x28 - stack->low, parameters[3]);
  Store<std::uint64_t>(stack->bytes, registers[4] + 0x100 - stack->low, machine.modules.at(5).base + 0x1234);
}

void PlantBlock(CrashedMachine* machine, PlantedProcessor* processor, unsigned number) {
  AddressMap& map = machine->map;
  const std::uint64_t region = processor->control_region;
  const std::uint64_t block = region + kPcrContainedPrcb;
  processor->block = block;
  map.MapNew(region, RoundUp(kPcrSize, PhysicalMemory::kPageSize), PageAccess::kReadWrite);
  map.Put<std::uint64_t>(region + kPcrSelf, region);
  map.Put<std::uint64_t>(region + kPcrCurrentPrcb, block);
  map.Put<std::uint64_t>(block + kPrcbCurrentThread, processor->thread);
  map.Put<std::uint32_t>(block + kPrcbNumber, number);
  map.Put<std::uint8_t>(block + kPrcbCpuType, 6);
  map.Put<std::uint32_t>(block + kPrcbMegahertz, kMegahertz);
  map.Write(block + kPrcbVendor, std::as_bytes(std::span("GenuineIntel")));
  map.Put<std::uint64_t>(block + kPrcbSpecialRegisters + kSpecialCr0, 0x80050033);
  map.Put<std::uint64_t>(block + kPrcbSpecialRegisters + kSpecialCr3, map.root());
  map.Put<std::uint64_t>(block + kPrcbSpecialRegisters + kSpecialCr4, map.levels() == 5 ? 0x3516F8 : 0x3506F8);
  map.Put<std::uint64_t>(block + kPrcbSpecialRegisters + kSpecialCr8, processor->cr8);
  map.Put<std::uint64_t>(block + kPrcbContext, processor->context);
  map.Put<std::uint64_t>(machine->kernel.Export("KiProcessorBlock") + 8 * number, block);
}

void PlantStack(CrashedMachine* machine, CrashStack* stack) {
  machine->map.MapNew(stack->low, stack->bytes.size(), PageAccess::kReadWrite);
  machine->map.Write(stack->low, stack->bytes);
}

}  // namespace

void PlantProcessors(CrashedMachine* machine, KernelPool* pool) {
  const LoadedImage& kernel = machine->kernel;
  std::array<std::uint64_t, std::size(kProcesses)> processes{};
  for (std::size_t i = 0; i < processes.size(); ++i) processes.at(i) = PlantProcess(machine, pool, kProcesses[i]);
  machine->map.Put<std::uint64_t>(kernel.Export("PsInitialSystemProcess"), processes[kSystem]);
  for (unsigned number = 0; number < 2; ++number) {
    PlantedProcessor& processor = machine->processors.at(number);
    const bool crashed = number == machine->options.crashing_processor;
    processor.stack = BuildCrashStack(kernel, kStacks[number], kStackSize,
                                      kernel.Export(crashed ? "KiStartSystemThread" : "KiIdleLoop"),
                                      kernel.Export(crashed ? "KeBugCheckEx" : "KeQueryInterruptTime"));
    if (crashed) LeaveArguments(*machine, &processor.stack);
    PlantStack(machine, &processor.stack);
    processor.control_region = kControlRegions[number];
    processor.cr8 = crashed ? kDispatchLevel : 0;
    processor.process = processes.at(crashed ? kSystem : kIdle);
    processor.thread = PlantThread(&machine->map, pool, processor, number, kProcesses[crashed ? kSystem : kIdle].id);
    processor.context_bytes = ContextRecord(processor.stack.registers);
    processor.context = pool->Keep(processor.context_bytes);
  }
  for (unsigned number = 0; number < 2; ++number) PlantBlock(machine, &machine->processors.at(number), number);
}

}  // namespace varnel::embedded

// DrainDump asks a dump everything that it can be asked, and ends the program where two answers contradict each other.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "formats/dump/kernel_dump.h"

namespace varnel::support {

inline void Demand(bool good) {
  if (!good) std::abort();
}

/// What can be read there, why not the rest, and that the ways to ask agree.
inline void DrainMemory(const formats::KernelDump& dump, std::uint64_t address) {
  std::vector<std::byte> bytes(0x2400);
  const std::size_t size = dump.ReadVirtual(address, bytes);
  Demand(size <= bytes.size());
  Demand((dump.WhyMissing(address) == formats::MissingReason::kNone) == (size > 0));
  if (size > 0 && size < bytes.size() && address + size > address) {
    Demand(dump.WhyMissing(address + size) != formats::MissingReason::kNone);
  }
  if (const auto physical = dump.Translate(address); physical && size > 0) {
    std::byte one{};
    Demand(dump.ReadPhysical(*physical, std::span(&one, 1)) == 1 && one == bytes[0]);
  }
  static_cast<void>(dump.Protection(address));
}

inline void DrainLists(const formats::KernelDump& dump) {
  const auto& modules = dump.Modules();
  Demand(modules.size() <= 65536);
  for (std::size_t i = 0; i < modules.size(); ++i) {
    Demand(!modules[i].name.empty());
    if (i < 20) DrainMemory(dump, modules[i].base);
  }
  Demand(dump.UnloadedModules().size() <= 50);
  for (const auto& block : dump.SecondaryData()) {
    std::byte one{};
    Demand(dump.ReadSecondaryData(block, std::span(&one, 1)) <= std::min<std::size_t>(1, block.size));
  }
}

inline void DrainDump(const formats::KernelDump& dump) {
  DrainLists(dump);
  const auto blocks = dump.ProcessorBlocks();
  Demand(blocks.size() <= 2048);
  for (std::uint32_t i = 0; i < std::min<std::size_t>(blocks.size(), 32); ++i) {
    if (blocks[i] != 0) DrainMemory(dump, blocks[i]);
    static_cast<void>(dump.ContextOf(i));
  }
  static_cast<void>(dump.Cr8());
  if (const auto number = dump.CrashingProcessor()) static_cast<void>(dump.ContextOf(*number));
  if (const auto thread = dump.CurrentThread()) DrainMemory(dump, *thread);
  if (const auto process = dump.CurrentProcess()) DrainMemory(dump, *process);
  if (const auto stack = dump.KernelStack()) DrainMemory(dump, stack->low);
  if (dump.header().context) {
    DrainMemory(dump, dump.header().context->Rsp());
    DrainMemory(dump, dump.header().context->Rip());
  }
  DrainMemory(dump, dump.header().loaded_module_list);
  const formats::DumpCompleteness whole = dump.Completeness();
  Demand(!whole.complete() || whole.expected_size <= whole.file_size);
  static_cast<void>(dump.Qualifier());
}

}  // namespace varnel::support

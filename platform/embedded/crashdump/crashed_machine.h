// The simulated machine in the moment of its crash: physical memory with page tables, a kernel, its lists and
// variables, two processors. Built from options alone, and the same each time; what was planted can be asked for, so
// that a reader of its dumps can be held to it. One thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/embedded/crashdump/address_map.h"
#include "platform/embedded/crashdump/crash_stack.h"
#include "platform/embedded/crashdump/loaded_image.h"
#include "platform/embedded/crashdump/physical_memory.h"

namespace varnel::embedded {

struct CrashedMachineOptions {
  std::uint32_t bugcheck_code = 0xE2;
  std::array<std::uint64_t, 4> parameters{};
  std::uint64_t system_time = 0;            // of the crash, 100 ns since 1601, UTC
  std::uint64_t up_time = 0;                // 100 ns
  std::uint64_t memory_size = 64 << 20;     // bytes of physical memory
  unsigned paging_levels = 4;               // or 5
  unsigned crashing_processor = 0;          // or 1
  bool large_kernel_page = false;           // the kernel's image lies in one page of 2 MiB
  bool encoded_debugger_data = false;       // in memory; a small dump holds the block plain all the same
  bool odd_entries = false;                 // page table entries of each kind: CrashedMachine::probes
  std::uint32_t more_modules = 0;           // beyond the usual ones
  std::optional<std::uint32_t> attributes;  // of the dump's header; else they are absent
};

/// A driver or the kernel in the list of loaded modules.
struct PlantedModule {
  std::u16string name;  // of the file
  std::u16string path;
  std::uint64_t base = 0;
  std::uint32_t size = 0;
  std::uint32_t time_stamp = 0;
  std::uint32_t checksum = 0;
  std::uint64_t entry_point = 0;
  std::uint64_t record = 0;           // the address of its record in the list
  std::uint64_t exception_table = 0;  // 0: none
  std::uint32_t exception_table_size = 0;
};

struct PlantedUnloadedDriver {
  std::u16string name;
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  std::uint64_t time = 0;
};

struct PlantedProcessor {
  std::uint64_t control_region = 0;
  std::uint64_t block = 0;    // the processor block inside of it
  std::uint64_t context = 0;  // where its registers are saved
  std::vector<std::byte> context_bytes;
  std::uint64_t thread = 0;
  std::uint64_t process = 0;
  std::uint64_t cr8 = 0;
  CrashStack stack;
};

/// A place in virtual memory whose page table entry is of a kind that running kernels show seldom.
struct Probe {
  enum class Outcome { kThere, kNoTablePage, kNoDataPage, kPagedOut, kZero, kNotCanonical };
  const char* kind = "";
  std::uint64_t address = 0;
  std::string text;  // what stands there, for one that is there
  Outcome in_kernel_dump = Outcome::kThere;
  Outcome in_complete_dump = Outcome::kThere;
};

/// A named block that stands behind the dump proper.
struct SecondaryBlob {
  std::array<std::uint8_t, 16> tag{};
  std::vector<std::byte> data;
  std::uint32_t pad_before = 0;
  std::uint32_t pad_behind = 0;
};

struct CrashedMachine {
  explicit CrashedMachine(const CrashedMachineOptions& options);

  CrashedMachineOptions options;
  std::uint32_t build = 19041;
  PhysicalMemory memory;
  AddressMap map;
  LoadedImage kernel;
  std::vector<PlantedModule> modules;           // the kernel first
  std::vector<PlantedUnloadedDriver> unloaded;  // the oldest first
  std::array<PlantedProcessor, 2> processors;
  std::uint64_t debugger_data_address = 0;
  std::vector<std::byte> debugger_data;  // plain
  std::string build_lab;
  std::vector<Probe> probes;
  std::vector<SecondaryBlob> blobs;

  const PlantedProcessor& crashed() const { return processors.at(options.crashing_processor); }
  const CrashStack& stack() const { return crashed().stack; }
};

}  // namespace varnel::embedded

// DumpSummary is what `dump info` tells of one crash dump, apart from how it is printed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats/dump/kernel_dump.h"

namespace varnel::host {

/// A word of the stack whose value lies in a loaded module.
struct DumpStackWord {
  std::uint64_t address = 0;
  std::uint64_t value = 0;
  std::u16string module;     // its name without a folder
  std::uint64_t offset = 0;  // of the value in the module
};

struct DumpStack {
  /// The crashing processor's stack pointer; the lowest address of the thread's stack where the dump has nothing there.
  std::uint64_t start = 0;
  std::uint64_t bytes = 0;  // how many the dump has from there on, without a gap
  std::vector<DumpStackWord> words;
};

/// Values only. What the dump does not have is nothing.
struct DumpSummary {
  std::string file;
  std::uint64_t size = 0;  // of the file, in bytes
  formats::DumpHeader header;
  std::optional<formats::DumpQualifier> qualifier;
  std::optional<std::uint32_t> crashing_processor;
  std::optional<std::uint64_t> cr8;
  std::optional<std::uint64_t> thread;
  std::optional<std::uint64_t> process;
  std::vector<formats::DumpModule> modules;
  std::vector<formats::DumpUnloadedModule> unloaded;
  std::optional<DumpStack> stack;
  std::vector<formats::SecondaryDataBlock> secondary_data;
  std::optional<formats::DumpCompleteness> completeness;
};

/// Asks a dump for all of it. Of another machine's dump there is the header alone, of a complete one of 32 bits also
/// how complete its file is. One thread, as the dump's.
DumpSummary Summarize(const std::string& file, std::uint64_t size, const formats::KernelDump& dump);

}  // namespace varnel::host

// KernelDump reads a kernel crash dump of a 64-bit machine: its header, its memory, its lists. It keeps the bytes it is
// given from and reads them when it is asked. Opening reads a few kilobytes, whatever the size of the dump; page
// tables, the index of a bitmap and the lists are read when a call first needs them. Any bytes may come: a call ends,
// takes memory no more than a small multiple of the file, and answers with what is there.
//
// One thread at a time: reading builds indexes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "formats/address_space.h"
#include "formats/dump/debugger_data.h"
#include "formats/dump/dump_header.h"
#include "formats/dump/dump_problem.h"
#include "formats/dump/dump_records.h"
#include "formats/dump/dump_source.h"
#include "formats/dump/processor_context.h"
#include "formats/dump/triage_block.h"

namespace varnel::formats {

class DumpMemory;
class KernelDump;
class PagedMemory;
class Processors;
class TriageMemory;

/// The dump, or why there is none.
struct OpenedDump {
  std::unique_ptr<KernelDump> dump;
  DumpProblem problem = DumpProblem::kNone;

  bool ok() const noexcept { return dump != nullptr; }
};

class KernelDump final : public AddressSpace {
 public:
  /// A dump of another machine opens too: it has a header, and nothing else of it is read. So does a file that ends
  /// behind its header: all of its memory is missing.
  static OpenedDump Open(std::shared_ptr<const DumpSource> source);
  ~KernelDump() override;

  const DumpHeader& header() const noexcept { return header_; }
  /// True for a 64-bit dump of an x64, the only kind that has an answer to the questions below.
  bool IsX64() const noexcept { return header_.is_64_bit && header_.machine == kMachineAmd64; }
  /// What kind of dump the platform would call it; of other machines' dumps as well.
  DumpQualifier Qualifier() const noexcept;
  /// Of a small dump: where its parts stand. Null otherwise, and when the file ends before it.
  const TriageBlock* triage() const noexcept;

  /// Virtual memory as the crashing processor saw it. Small dumps: what the blocks, the stack and the copies of
  /// structures hold, put together. Others: through the page tables.
  std::size_t ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept override;
  /// Why the byte at `address` can't be read; kNone when it can.
  MissingReason WhyMissing(std::uint64_t address) const noexcept;
  /// Physical memory, up to the first byte that is not in the dump. @return bytes filled.
  std::size_t ReadPhysical(std::uint64_t address, std::span<std::byte> into) const noexcept;
  /// The physical address behind a virtual one, whether or not its page is in the dump. Empty in a small dump.
  std::optional<std::uint64_t> Translate(std::uint64_t address) const noexcept;
  /// PAGE_READONLY (2), PAGE_READWRITE (4), PAGE_WRITECOPY (8), PAGE_EXECUTE (0x10) ... of the page at `address`. Empty
  /// where no page table tells it: in small dumps always.
  std::optional<std::uint32_t> Protection(std::uint64_t address) const noexcept;

  /// The debugger's data block, decoded where it was scrambled; null when the dump does not have it.
  const DebuggerData* debugger_data() const;

  /// In the order of the dump, at most 65,536.
  const std::vector<DumpModule>& Modules() const;
  const std::vector<DumpUnloadedModule>& UnloadedModules() const;
  const std::vector<SecondaryDataBlock>& SecondaryData() const;
  /// Reads the bytes of one block. @return bytes filled from the beginning of `into`.
  std::size_t ReadSecondaryData(const SecondaryDataBlock& block, std::span<std::byte> into) const noexcept;

  /// The number of the processor that crashed; empty when the dump does not tell.
  std::optional<std::uint32_t> CrashingProcessor() const;
  /// Addresses of the processor blocks, by number; 0 for one that is not known. As many as the header has processors,
  /// at most 2048.
  std::vector<std::uint64_t> ProcessorBlocks() const;
  /// The registers of a processor: of the one that crashed those of the header, of others those that it saved.
  std::optional<ProcessorContext> ContextOf(std::uint32_t processor) const;
  /// The register cr8 (the interrupt level) of the processor that crashed.
  std::optional<std::uint64_t> Cr8() const;

  /// Address of the current thread's structure on the processor that crashed, and of the process it was working for.
  std::optional<std::uint64_t> CurrentThread() const;
  std::optional<std::uint64_t> CurrentProcess() const;
  /// The kernel stack that the dump has: of a small dump the part that was copied, else the current thread's limits.
  std::optional<AddressRange> KernelStack() const;

  /// Counts pages, and so reads the whole bitmap where there is one.
  DumpCompleteness Completeness() const;

 private:
  KernelDump(std::shared_ptr<const DumpSource> source, DumpHeader header);

  struct Lists;

  DumpProblem OpenMemory();
  std::optional<std::uint64_t> SecondaryDataOffset() const;
  std::optional<Processors> ProcessorsOf() const;

  const std::shared_ptr<const DumpSource> source_;
  const DumpHeader header_;
  std::unique_ptr<DumpMemory> memory_;    // null for other machines; one of the next two
  const TriageMemory* triage_ = nullptr;  // of a small dump
  const PagedMemory* paged_ = nullptr;    // of all others
  std::unique_ptr<Lists> lists_;          // what was read once and is kept
};

}  // namespace varnel::formats

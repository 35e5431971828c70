// TriageMemory is the memory of a small dump: blocks of bytes around what mattered, the newest part of the stack, and
// copies of a few structures, put together as one address space.
#pragma once

#include <optional>

#include "formats/dump/debugger_data.h"
#include "formats/dump/dump_header.h"
#include "formats/dump/dump_memory.h"
#include "formats/dump/dump_source.h"
#include "formats/dump/segment_map.h"
#include "formats/dump/triage_block.h"

namespace varnel::formats {

/// One thread at a time. The blocks are sorted when memory is first read.
class TriageMemory final : public DumpMemory {
 public:
  /// `source` and `header` must outlive this.
  TriageMemory(const DumpSource& source, const DumpHeader& header);

  /// Null when the file ends before it.
  const TriageBlock* block() const noexcept { return block_ ? &*block_ : nullptr; }
  /// The copy of the debugger's block.
  const std::optional<DebuggerData>& debugger_data() const noexcept { return debugger_data_; }

  std::optional<std::uint64_t> CurrentThread() const noexcept;
  std::optional<std::uint64_t> CurrentProcess() const noexcept;
  std::optional<std::uint64_t> Cr8() const noexcept;
  std::optional<std::uint32_t> ProcessorNumber() const noexcept;
  /// Where the file's last part ends, whether or not the file is so long.
  std::uint64_t EndOfParts() const noexcept;

  std::size_t ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept override;
  MissingReason WhyMissing(std::uint64_t address) const noexcept override;
  std::size_t ReadPhysical(std::uint64_t address, std::span<std::byte> into) const noexcept override;
  std::optional<std::uint64_t> Translate(std::uint64_t address) const noexcept override;
  std::optional<std::uint32_t> Protection(std::uint64_t address) const noexcept override;

 private:
  std::optional<Segment> Find(std::uint64_t address) const noexcept;
  void Prepare() const noexcept;
  /// Calls `visit` with each data block as a segment.
  template <typename Visit>
  void ForEachBlock(Visit visit) const;
  std::vector<Segment> ReadBlocks() const;
  std::vector<Segment> Copies() const;
  /// A number in the copy of a structure that begins at `copy` of the file. The debugger's block tells, at the two
  /// fields, how large the structure is and the number's place in it.
  template <typename T>
  std::optional<T> FromCopy(std::uint32_t copy, std::size_t size_field, std::size_t place_field,
                            std::uint64_t further) const noexcept;
  template <typename T>
  std::optional<T> FromProcessorBlock(std::size_t place_field, std::uint64_t further) const noexcept;

  const DumpSource& source_;
  const DumpHeader& header_;
  std::optional<TriageBlock> block_;
  std::optional<DebuggerData> debugger_data_;
  mutable bool prepared_ = false;
  mutable SegmentMap blocks_;
  mutable SegmentMap copies_;  // read where no block has the byte
};

}  // namespace varnel::formats

// What a dump tells of the machine's processors, through the debugger's block. Any thread that the memory allows.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "formats/address_space.h"
#include "formats/dump/debugger_data.h"
#include "formats/dump/dump_header.h"
#include "formats/dump/dump_records.h"
#include "formats/dump/processor_context.h"

namespace varnel::formats {

class Processors {
 public:
  /// More than any system of this family takes.
  static constexpr std::uint32_t kMaxProcessors = 2048;

  /// All three must outlive this.
  Processors(const AddressSpace& memory, const DumpHeader& header, const DebuggerData& data) noexcept
      : memory_(memory), header_(header), data_(data) {}

  /// The address of the block of processor `number`; empty when it is not in the dump, or null there.
  std::optional<std::uint64_t> Block(std::uint32_t number) const noexcept;
  /// One for each processor of the header, 0 where it is not known.
  std::vector<std::uint64_t> Blocks() const;
  /// The registers that the processor saved when it was stopped.
  std::optional<ProcessorContext> SavedContext(std::uint32_t number) const noexcept;
  /// The one whose saved stack pointer is the header's.
  std::optional<std::uint32_t> Crashing() const noexcept;
  std::optional<std::uint64_t> Cr8(std::uint32_t number) const noexcept;
  std::optional<std::uint64_t> CurrentThread(std::uint32_t number) const noexcept;
  /// The process for which a thread was working.
  std::optional<std::uint64_t> ProcessOf(std::uint64_t thread) const noexcept;
  /// The limits of a thread's kernel stack.
  std::optional<AddressRange> StackOf(std::uint64_t thread) const noexcept;

 private:
  std::uint32_t Count() const noexcept;
  std::optional<std::uint64_t> SavedContextAt(std::uint32_t number) const noexcept;

  const AddressSpace& memory_;
  const DumpHeader& header_;
  const DebuggerData& data_;
};

}  // namespace varnel::formats

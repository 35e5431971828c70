#include "formats/dump/triage_memory.h"

#include <algorithm>
#include <array>
#include <new>

#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

namespace field = debugger_data_field;

constexpr std::size_t kBlockEntry = 16;
// Real dumps have up to two thousand; a count in a damaged one costs no more than this.
constexpr std::uint32_t kMaxBlocks = 65'536;
constexpr std::uint64_t kCr8InSpecialRegisters = 0xA0;

std::optional<DebuggerData> ReadDebuggerData(const DumpSource& source, const TriageBlock& block) {
  if (block.debugger_data_offset == 0) return {};
  std::array<std::byte, DebuggerData::kMaxSize> bytes{};
  const std::size_t wanted = std::min<std::size_t>(block.debugger_data_size, bytes.size());
  const std::size_t size = source.Read(block.debugger_data_offset, std::span(bytes).first(wanted));
  return DebuggerData::FromPlain(std::span(bytes).first(size));
}

}  // namespace

TriageMemory::TriageMemory(const DumpSource& source, const DumpHeader& header)
    : source_(source), header_(header), block_(ReadTriageBlock(source)) {
  if (block_) debugger_data_ = ReadDebuggerData(source, *block_);
}

// A place of 0 is one that the kernel did not tell; one behind the told size is no part of the copy.
template <typename T>
std::optional<T> TriageMemory::FromCopy(std::uint32_t copy, std::size_t size_field, std::size_t place_field,
                                        std::uint64_t further) const noexcept {
  if (!block_ || copy == 0 || !debugger_data_) return {};
  const auto size = debugger_data_->At<std::uint16_t>(size_field);
  const auto place = debugger_data_->At<std::uint16_t>(place_field);
  if (!size || !place || *place == 0 || *place + further + sizeof(T) > *size) return {};
  return ReadFile<T>(source_, std::uint64_t{copy} + *place + further);
}

template <typename T>
std::optional<T> TriageMemory::FromProcessorBlock(std::size_t place, std::uint64_t further) const noexcept {
  if (!block_) return {};
  return FromCopy<T>(block_->prcb_offset, field::kSizePrcb, place, further);
}

std::optional<std::uint64_t> TriageMemory::CurrentThread() const noexcept {
  return FromProcessorBlock<std::uint64_t>(field::kPrcbCurrentThread, 0);
}

std::optional<std::uint64_t> TriageMemory::CurrentProcess() const noexcept {
  if (!block_) return {};
  return FromCopy<std::uint64_t>(block_->thread_offset, field::kSizeThread, field::kThreadApcProcess, 0);
}

std::optional<std::uint64_t> TriageMemory::Cr8() const noexcept {
  return FromProcessorBlock<std::uint64_t>(field::kPrcbSpecialRegisters, kCr8InSpecialRegisters);
}

std::optional<std::uint32_t> TriageMemory::ProcessorNumber() const noexcept {
  return FromProcessorBlock<std::uint32_t>(field::kPrcbNumber, 0);
}

// Many at a time: a dump may be read through a guard that costs more than a few bytes do.
template <typename Visit>
void TriageMemory::ForEachBlock(Visit visit) const {
  const std::uint64_t offset = block_->data_blocks_offset;
  if (offset == 0) return;
  const std::uint32_t count = std::min(block_->data_blocks_count, kMaxBlocks);
  std::array<std::byte, 256 * kBlockEntry> entries;
  for (std::uint32_t done = 0; done < count;) {
    const std::size_t wanted = std::min<std::size_t>(entries.size(), kBlockEntry * std::size_t{count - done});
    const std::size_t got = source_.Read(offset + kBlockEntry * done, std::span(entries).first(wanted));
    for (std::size_t at = 0; at + kBlockEntry <= got; at += kBlockEntry) {
      visit({Field<std::uint64_t>(entries, at), Field<std::uint32_t>(entries, at + 12),
             Field<std::uint32_t>(entries, at + 8)});
    }
    if (got < wanted) return;
    done += static_cast<std::uint32_t>(wanted / kBlockEntry);
  }
}

std::vector<Segment> TriageMemory::ReadBlocks() const {
  std::vector<Segment> out;
  ForEachBlock([&out](const Segment& block) { out.push_back(block); });
  return out;
}

// What stands in the file as a copy of a structure, at the address where the structure was.
std::vector<Segment> TriageMemory::Copies() const {
  std::vector<Segment> out;
  const auto add = [&out](std::optional<std::uint64_t> address, std::uint64_t size, std::uint64_t offset) {
    if (address && *address != 0 && offset != 0) out.push_back({*address, size, offset});
  };
  add(block_->top_of_stack, block_->call_stack_size, block_->call_stack_offset);
  add(block_->data_page_address, block_->data_page_size, block_->data_page_offset);
  if (!debugger_data_) return out;
  add(header_.debugger_data_block, debugger_data_->size(), block_->debugger_data_offset);
  const auto size = [this](std::size_t field) { return debugger_data_->At<std::uint16_t>(field).value_or(0); };
  add(CurrentThread(), size(field::kSizeThread), block_->thread_offset);
  add(CurrentProcess(), size(field::kSizeProcess), block_->process_offset);
  const auto processors = debugger_data_->At<std::uint64_t>(field::kKiProcessorBlock);
  const auto number = ProcessorNumber();
  if (!processors || !number) return out;
  const auto pointer = blocks_.Find(*processors + std::uint64_t{8} * *number);
  if (!pointer || pointer->size < 8) return out;
  add(ReadFile<std::uint64_t>(source_, pointer->offset), size(field::kSizePrcb), block_->prcb_offset);
  return out;
}

// A dump whose blocks don't fit into memory has no memory of its own; that is told as missing like any other.
void TriageMemory::Prepare() const noexcept {
  if (prepared_) return;
  prepared_ = true;
  if (!block_) return;
  try {
    blocks_ = SegmentMap(ReadBlocks(), source_.Size());
    copies_ = SegmentMap(Copies(), source_.Size());
  } catch (const std::bad_alloc&) {
    blocks_ = {};
    copies_ = {};
  }
}

std::optional<Segment> TriageMemory::Find(std::uint64_t address) const noexcept {
  Prepare();
  if (auto found = blocks_.Find(address)) return found;
  auto found = copies_.Find(address);
  if (found) found->size = std::min(found->size, blocks_.NextAbove(address) - address);
  return found;
}

std::size_t TriageMemory::ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept {
  std::size_t filled = 0;
  while (filled < into.size()) {
    const auto found = Find(address + filled);
    if (!found) break;
    const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(into.size() - filled, found->size));
    const std::size_t got = source_.Read(found->offset, into.subspan(filled, part));
    filled += got;
    if (got < part || address + filled < address) break;
  }
  return filled;
}

MissingReason TriageMemory::WhyMissing(std::uint64_t address) const noexcept {
  std::byte one{};
  return ReadVirtual(address, std::span(&one, 1)) == 1 ? MissingReason::kNone : MissingReason::kNoMemory;
}

std::size_t TriageMemory::ReadPhysical(std::uint64_t, std::span<std::byte>) const noexcept {
  return 0;
}

std::optional<std::uint64_t> TriageMemory::Translate(std::uint64_t) const noexcept {
  return {};
}

std::optional<std::uint32_t> TriageMemory::Protection(std::uint64_t) const noexcept {
  return {};
}

std::uint64_t TriageMemory::EndOfParts() const noexcept {
  if (!block_) return 0x2080;
  std::uint64_t end = block_->size_of_dump;
  if (block_->data_blocks_offset != 0) {
    end = std::max(end, block_->data_blocks_offset + kBlockEntry * std::uint64_t{block_->data_blocks_count});
  }
  ForEachBlock([&end](const Segment& block) { end = std::max(end, block.offset + block.size); });
  return end;
}

}  // namespace varnel::formats

#include "formats/dump/triage_memory.h"

#include <algorithm>
#include <array>
#include <new>

#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

namespace field = debugger_data_field;

constexpr std::size_t kBlockEntry = 16;
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

template <typename T>
std::optional<T> TriageMemory::FromProcessorBlock(std::size_t field, std::uint64_t further) const noexcept {
  if (!block_ || block_->prcb_offset == 0 || !debugger_data_) return {};
  const auto offset = debugger_data_->At<std::uint16_t>(field);
  if (!offset) return {};
  return ReadFile<T>(source_, std::uint64_t{block_->prcb_offset} + *offset + further);
}

std::optional<std::uint64_t> TriageMemory::CurrentThread() const noexcept {
  return FromProcessorBlock<std::uint64_t>(field::kPrcbCurrentThread, 0);
}

std::optional<std::uint64_t> TriageMemory::CurrentProcess() const noexcept {
  if (!block_ || block_->thread_offset == 0 || !debugger_data_) return {};
  const auto offset = debugger_data_->At<std::uint16_t>(field::kThreadApcProcess);
  if (!offset) return {};
  return ReadFile<std::uint64_t>(source_, std::uint64_t{block_->thread_offset} + *offset);
}

std::optional<std::uint64_t> TriageMemory::Cr8() const noexcept {
  return FromProcessorBlock<std::uint64_t>(field::kPrcbSpecialRegisters, kCr8InSpecialRegisters);
}

std::optional<std::uint32_t> TriageMemory::ProcessorNumber() const noexcept {
  return FromProcessorBlock<std::uint32_t>(field::kPrcbNumber, 0);
}

std::vector<Segment> TriageMemory::ReadBlocks() const {
  const std::uint64_t offset = block_->data_blocks_offset;
  const std::uint64_t file_size = source_.Size();
  const std::uint64_t room = offset < file_size ? (file_size - offset) / kBlockEntry : 0;
  const std::uint64_t count = offset == 0 ? 0 : std::min<std::uint64_t>(block_->data_blocks_count, room);
  std::vector<Segment> out;
  out.reserve(count);
  for (std::uint64_t i = 0; i < count; ++i) {
    std::array<std::byte, kBlockEntry> entry{};
    if (source_.Read(offset + kBlockEntry * i, entry) != entry.size()) break;
    out.push_back({Field<std::uint64_t>(entry, 0), Field<std::uint32_t>(entry, 12), Field<std::uint32_t>(entry, 8)});
  }
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
  const std::uint64_t blocks = block_->data_blocks_offset;
  const std::uint64_t size = source_.Size();
  for (std::uint64_t i = 0; blocks != 0 && i < block_->data_blocks_count; ++i) {
    const std::uint64_t at = blocks + kBlockEntry * i;
    end = std::max(end, at + kBlockEntry);
    if (at >= size) break;
    const auto entry = ReadFile<std::array<std::uint32_t, 4>>(source_, at);
    if (!entry) break;
    end = std::max(end, std::uint64_t{(*entry)[2]} + (*entry)[3]);
  }
  return end;
}

}  // namespace varnel::formats

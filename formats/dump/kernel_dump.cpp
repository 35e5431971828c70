#include "formats/dump/kernel_dump.h"

#include <algorithm>
#include <utility>

#include "formats/dump/dump_memory.h"
#include "formats/dump/secondary_data.h"
#include "formats/dump/triage_lists.h"
#include "formats/dump/triage_memory.h"

namespace varnel::formats {

struct KernelDump::Lists {
  std::optional<std::vector<DumpModule>> modules;
  std::optional<std::vector<DumpUnloadedModule>> unloaded;
  std::optional<SecondaryDataChain> secondary;
};

KernelDump::KernelDump(std::shared_ptr<const DumpSource> source, DumpHeader header)
    : source_(std::move(source)), header_(std::move(header)), lists_(std::make_unique<Lists>()) {}

KernelDump::~KernelDump() = default;

OpenedDump KernelDump::Open(std::shared_ptr<const DumpSource> source) {
  DumpHeader header;
  DumpProblem problem = ReadDumpHeader(*source, &header);
  if (problem != DumpProblem::kNone) return {nullptr, problem};
  OpenedDump out{std::unique_ptr<KernelDump>(new KernelDump(std::move(source), std::move(header))), problem};
  KernelDump& dump = *out.dump;
  if (!dump.IsX64()) return out;
  if (dump.header_.type == DumpType::kTriage) {
    auto memory = std::make_unique<TriageMemory>(*dump.source_, dump.header_);
    dump.triage_ = memory.get();
    dump.memory_ = std::move(memory);
  }
  return out;
}

DumpQualifier KernelDump::Qualifier() const noexcept {
  const bool filtered = (header_.attributes.value_or(0) & kDumpAttributeFiltered) != 0;
  switch (header_.type) {
    case DumpType::kTriage:
      return DumpQualifier::kSmall;
    case DumpType::kFull:
    case DumpType::kBitmapFull:
      return filtered ? DumpQualifier::kActive : DumpQualifier::kFull;
    default:
      return filtered ? DumpQualifier::kActive : DumpQualifier::kKernel;
  }
}

const TriageBlock* KernelDump::triage() const noexcept {
  return triage_ != nullptr ? triage_->block() : nullptr;
}

std::size_t KernelDump::ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept {
  return memory_ ? memory_->ReadVirtual(address, into) : 0;
}

MissingReason KernelDump::WhyMissing(std::uint64_t address) const noexcept {
  return memory_ ? memory_->WhyMissing(address) : MissingReason::kNoMemory;
}

std::size_t KernelDump::ReadPhysical(std::uint64_t address, std::span<std::byte> into) const noexcept {
  return memory_ ? memory_->ReadPhysical(address, into) : 0;
}

std::optional<std::uint64_t> KernelDump::Translate(std::uint64_t address) const noexcept {
  return memory_ ? memory_->Translate(address) : std::nullopt;
}

std::optional<std::uint32_t> KernelDump::Protection(std::uint64_t address) const noexcept {
  return memory_ ? memory_->Protection(address) : std::nullopt;
}

const DebuggerData* KernelDump::debugger_data() const {
  return triage_ != nullptr && triage_->debugger_data() ? &*triage_->debugger_data() : nullptr;
}

const std::vector<DumpModule>& KernelDump::Modules() const {
  if (!lists_->modules) {
    lists_->modules = triage() != nullptr ? ReadTriageModules(*source_, *triage()) : std::vector<DumpModule>{};
  }
  return *lists_->modules;
}

const std::vector<DumpUnloadedModule>& KernelDump::UnloadedModules() const {
  if (!lists_->unloaded) {
    lists_->unloaded =
        triage() != nullptr ? ReadTriageUnloaded(*source_, *triage()) : std::vector<DumpUnloadedModule>{};
  }
  return *lists_->unloaded;
}

std::optional<std::uint64_t> KernelDump::SecondaryDataOffset() const {
  if (triage() != nullptr) return triage()->size_of_dump;
  return {};
}

const std::vector<SecondaryDataBlock>& KernelDump::SecondaryData() const {
  if (!lists_->secondary) {
    const auto offset = SecondaryDataOffset();
    lists_->secondary = offset ? ReadSecondaryDataChain(*source_, *offset) : SecondaryDataChain{};
  }
  return lists_->secondary->blocks;
}

std::size_t KernelDump::ReadSecondaryData(const SecondaryDataBlock& block, std::span<std::byte> into) const noexcept {
  return source_->Read(block.offset, into.first(std::min<std::size_t>(into.size(), block.size)));
}

std::optional<std::uint32_t> KernelDump::CrashingProcessor() const {
  return triage_ != nullptr ? triage_->ProcessorNumber() : std::nullopt;
}

std::vector<std::uint64_t> KernelDump::ProcessorBlocks() const {
  return {};
}

std::optional<ProcessorContext> KernelDump::ContextOf(std::uint32_t processor) const {
  if (processor == CrashingProcessor()) return header_.context;
  return {};
}

std::optional<std::uint64_t> KernelDump::Cr8() const {
  return triage_ != nullptr ? triage_->Cr8() : std::nullopt;
}

std::optional<std::uint64_t> KernelDump::CurrentThread() const {
  return triage_ != nullptr ? triage_->CurrentThread() : std::nullopt;
}

std::optional<std::uint64_t> KernelDump::CurrentProcess() const {
  return triage_ != nullptr ? triage_->CurrentProcess() : std::nullopt;
}

std::optional<AddressRange> KernelDump::KernelStack() const {
  if (triage() == nullptr || triage()->call_stack_size == 0) return {};
  return AddressRange{triage()->top_of_stack, triage()->top_of_stack + triage()->call_stack_size};
}

DumpCompleteness KernelDump::Completeness() const {
  DumpCompleteness out;
  out.file_size = source_->Size();
  out.expected_size = header_.is_64_bit ? 0x2000 : 0x1000;
  if (triage_ != nullptr) {
    out.expected_size = std::max(out.expected_size, triage_->EndOfParts());
    out.consistent = triage() == nullptr || triage()->marked;
  }
  static_cast<void>(SecondaryData());
  out.expected_size = std::max(out.expected_size, lists_->secondary->end.value_or(0));
  return out;
}

}  // namespace varnel::formats

#include "formats/dump/kernel_dump.h"

#include <algorithm>
#include <utility>

#include "formats/dump/dump_memory.h"
#include "formats/dump/live_lists.h"
#include "formats/dump/paged_memory.h"
#include "formats/dump/processors.h"
#include "formats/dump/secondary_data.h"
#include "formats/dump/triage_lists.h"
#include "formats/dump/triage_memory.h"

namespace varnel::formats {
namespace {

constexpr std::uint64_t kPagesToldBefore = 0x2038;  // where the header of a bitmap ends

// The kernel knew the size when it wrote the dump itself; elsewhere the field is what was set aside.
bool IsSpaceExact(const DumpHeader& header) {
  return header.required_dump_space && (header.attributes.value_or(0) & kDumpAttributeKernelGenerated) != 0;
}

// The runs of a 64-bit dump are the page store's; a 32-bit one has none.
std::uint64_t HeaderAndRuns(const DumpHeader& header) {
  if (header.is_64_bit) return 0x2000;
  std::uint64_t size = 0x1000;
  if (header.type != DumpType::kFull || !header.physical_memory) return size;
  for (const PageRun& run : header.physical_memory->runs) size += 0x1000 * run.page_count;
  return size;
}

// A mark behind the end of the file is missing, and contradicts nothing.
bool IsMarkWrong(const TriageBlock* block, std::uint64_t file_size) {
  return block != nullptr && !block->marked && std::uint64_t{block->valid_offset} + 4 <= file_size;
}

}  // namespace

struct KernelDump::Lists {
  std::optional<std::vector<DumpModule>> modules;
  std::optional<std::vector<DumpUnloadedModule>> unloaded;
  std::optional<SecondaryDataChain> secondary;
  std::optional<std::optional<std::uint32_t>> crashing;
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
  if (dump.IsX64()) out.problem = dump.OpenMemory();
  if (out.problem != DumpProblem::kNone) out.dump.reset();
  return out;
}

DumpProblem KernelDump::OpenMemory() {
  if (header_.type == DumpType::kTriage) {
    auto memory = std::make_unique<TriageMemory>(*source_, header_);
    triage_ = memory.get();
    memory_ = std::move(memory);
    return DumpProblem::kNone;
  }
  std::unique_ptr<PageStore> store;
  const DumpProblem problem = OpenPageStore(*source_, header_, &store);
  if (problem != DumpProblem::kNone) return problem;
  auto memory = std::make_unique<PagedMemory>(*source_, header_, std::move(store));
  paged_ = memory.get();
  memory_ = std::move(memory);
  return problem;
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
  if (triage_ != nullptr) return triage_->debugger_data() ? &*triage_->debugger_data() : nullptr;
  return paged_ != nullptr && paged_->debugger_data() ? &*paged_->debugger_data() : nullptr;
}

std::optional<Processors> KernelDump::ProcessorsOf() const {
  const DebuggerData* data = debugger_data();
  if (data == nullptr) return {};
  return Processors(*memory_, header_, *data);
}

const std::vector<DumpModule>& KernelDump::Modules() const {
  if (lists_->modules) return *lists_->modules;
  std::vector<DumpModule> modules;
  if (triage() != nullptr) modules = ReadTriageModules(*source_, *triage());
  if (paged_ != nullptr) modules = ReadLiveModules(*memory_, header_.loaded_module_list, source_->Size());
  return lists_->modules.emplace(std::move(modules));
}

const std::vector<DumpUnloadedModule>& KernelDump::UnloadedModules() const {
  if (lists_->unloaded) return *lists_->unloaded;
  std::vector<DumpUnloadedModule> modules;
  if (triage() != nullptr) modules = ReadTriageUnloaded(*source_, *triage());
  if (paged_ != nullptr && debugger_data() != nullptr)
    modules = ReadLiveUnloaded(*memory_, *debugger_data(), source_->Size());
  return lists_->unloaded.emplace(std::move(modules));
}

std::optional<std::uint64_t> KernelDump::SecondaryDataOffset() const {
  if (triage() != nullptr) return triage()->size_of_dump;
  if (paged_ != nullptr && paged_->store() != nullptr) return paged_->store()->End();
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
  if (triage_ != nullptr) return triage_->ProcessorNumber();
  if (!lists_->crashing) {
    const auto processors = ProcessorsOf();
    lists_->crashing.emplace(processors ? processors->Crashing() : std::nullopt);
  }
  return *lists_->crashing;
}

std::vector<std::uint64_t> KernelDump::ProcessorBlocks() const {
  const auto processors = ProcessorsOf();
  return processors ? processors->Blocks()
                    : std::vector<std::uint64_t>(std::min(header_.processors, Processors::kMaxProcessors));
}

std::optional<ProcessorContext> KernelDump::ContextOf(std::uint32_t processor) const {
  if (processor == CrashingProcessor()) return header_.context;
  const auto processors = ProcessorsOf();
  return processors ? processors->SavedContext(processor) : std::nullopt;
}

std::optional<std::uint64_t> KernelDump::Cr8() const {
  if (triage_ != nullptr) return triage_->Cr8();
  const auto processors = ProcessorsOf();
  const auto number = CrashingProcessor();
  return processors && number ? processors->Cr8(*number) : std::nullopt;
}

std::optional<std::uint64_t> KernelDump::CurrentThread() const {
  if (triage_ != nullptr) return triage_->CurrentThread();
  const auto processors = ProcessorsOf();
  const auto number = CrashingProcessor();
  return processors && number ? processors->CurrentThread(*number) : std::nullopt;
}

std::optional<std::uint64_t> KernelDump::CurrentProcess() const {
  if (triage_ != nullptr) return triage_->CurrentProcess();
  const auto processors = ProcessorsOf();
  const auto thread = CurrentThread();
  return processors && thread ? processors->ProcessOf(*thread) : std::nullopt;
}

std::optional<AddressRange> KernelDump::KernelStack() const {
  if (triage() != nullptr) {
    const std::uint64_t low = triage()->top_of_stack;
    const std::uint64_t high = low + triage()->call_stack_size;
    if (low >= high) return {};
    return AddressRange{low, high};
  }
  const auto processors = ProcessorsOf();
  const auto thread = CurrentThread();
  return processors && thread ? processors->StackOf(*thread) : std::nullopt;
}

DumpCompleteness KernelDump::Completeness() const {
  DumpCompleteness out;
  out.file_size = source_->Size();
  out.expected_size = HeaderAndRuns(header_);
  if (triage_ != nullptr) {
    out.expected_size = std::max(out.expected_size, triage_->EndOfParts());
    // What stands behind the small dump is told by nothing else, where nothing of it is left.
    if (IsSpaceExact(header_)) out.expected_size = std::max(out.expected_size, *header_.required_dump_space);
    out.consistent = !IsMarkWrong(triage(), out.file_size);
  }
  if (paged_ != nullptr && paged_->store() != nullptr) {
    out.expected_size = std::max(out.expected_size, paged_->store()->End());
    out.consistent = paged_->store()->CountsAgree();
  } else if (paged_ != nullptr && header_.type != DumpType::kHeaderOnly) {
    out.expected_size = kPagesToldBefore;  // how many pages follow is in the part that is cut off
  }
  static_cast<void>(SecondaryData());
  out.expected_size = std::max(out.expected_size, lists_->secondary->end.value_or(0));
  return out;
}

}  // namespace varnel::formats

#include "host/dump_summary.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace varnel::host {
namespace {

using formats::AddressRange;
using formats::DumpModule;
using formats::KernelDump;

// More than the largest stack of a kernel thread. Where the dump does not tell a stack's end, this much is looked at.
constexpr std::uint64_t kMostStackBytes = 256 * 1024;

/// Loaded modules by address.
class ModuleIndex {
 public:
  explicit ModuleIndex(const std::vector<DumpModule>& modules) {
    by_base_.reserve(modules.size());
    for (const DumpModule& module : modules) by_base_.push_back(&module);
    std::stable_sort(by_base_.begin(), by_base_.end(),
                     [](const DumpModule* a, const DumpModule* b) { return a->base < b->base; });
  }

  /// The module that an address lies in; null for none.
  const DumpModule* Find(std::uint64_t address) const {
    const auto above = std::upper_bound(by_base_.begin(), by_base_.end(), address,
                                        [](std::uint64_t at, const DumpModule* module) { return at < module->base; });
    if (above == by_base_.begin()) return nullptr;
    const DumpModule* const module = *(above - 1);
    return address - module->base < module->size ? module : nullptr;
  }

 private:
  std::vector<const DumpModule*> by_base_;
};

/// Where the stack in use may lie, the best place first: from the stack pointer on, to the stack's end where the
/// pointer lies in it; an interrupt's or a deferred call's stack is another one, whose end is not told. Else the
/// thread's.
std::vector<AddressRange> PlacesOfStack(const KernelDump& dump) {
  const std::optional<AddressRange> stack = dump.KernelStack();
  std::vector<AddressRange> places;
  if (const auto& context = dump.header().context) {
    const std::uint64_t pointer = context->Rsp();
    const bool inside = stack && pointer >= stack->low && pointer < stack->high;
    places.push_back({pointer, inside ? stack->high : ~std::uint64_t{0}});
  }
  if (stack && stack->high > stack->low) places.push_back(*stack);
  return places;
}

std::optional<DumpStack> ReadStack(const KernelDump& dump) {
  DumpStack stack;
  std::vector<std::byte> bytes;
  for (const AddressRange& place : PlacesOfStack(dump)) {
    bytes.resize(static_cast<std::size_t>(std::min(place.high - place.low, kMostStackBytes)));
    stack.start = place.low;
    stack.bytes = dump.ReadVirtual(place.low, bytes);
    if (stack.bytes != 0) break;
  }
  if (stack.bytes == 0) return std::nullopt;
  const ModuleIndex modules(dump.Modules());
  for (std::size_t at = 0; at + sizeof(std::uint64_t) <= stack.bytes; at += sizeof(std::uint64_t)) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof(value));
    const DumpModule* const module = modules.Find(value);
    if (module != nullptr) stack.words.push_back({stack.start + at, value, module->name, value - module->base});
  }
  return stack;
}

}  // namespace

DumpSummary Summarize(const std::string& file, std::uint64_t size, const KernelDump& dump) {
  DumpSummary summary;
  summary.file = file;
  summary.size = size;
  summary.header = dump.header();
  summary.qualifier = dump.Qualifier();
  // Of a complete dump of 32 bits the header tells its length; of other machines' dumps nothing does.
  const bool is_complete_32 = !summary.header.is_64_bit && summary.header.type == formats::DumpType::kFull &&
                              summary.header.physical_memory.has_value();
  if (dump.IsX64() || is_complete_32) summary.completeness = dump.Completeness();
  if (!dump.IsX64()) return summary;
  summary.crashing_processor = dump.CrashingProcessor();
  summary.cr8 = dump.Cr8();
  summary.thread = dump.CurrentThread();
  summary.process = dump.CurrentProcess();
  summary.modules = dump.Modules();
  summary.unloaded = dump.UnloadedModules();
  summary.stack = ReadStack(dump);
  summary.secondary_data = dump.SecondaryData();
  return summary;
}

}  // namespace varnel::host

// Dumps that hold whole pages: behind a bitmap of those that are there, or run behind run.
#include "platform/embedded/crashdump/bytes.h"
#include "platform/embedded/crashdump/dump_parts.h"

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kPage = PhysicalMemory::kPageSize;
constexpr std::uint64_t kBitmapHeader = 0x38;
constexpr std::uint64_t kKernelMemoryIsValid = 1;

// Pages of the machine's runs below this one: how far behind the first page a complete dump has it.
std::uint64_t PagesBelow(const PhysicalMemory& memory, std::uint64_t number) {
  std::uint64_t below = 0;
  for (const auto& run : memory.runs()) {
    if (number > run.first) below += std::min(number - run.first, run.count);
  }
  return below;
}

bool IsIn(const PhysicalMemory& memory, std::uint64_t number) {
  return PagesBelow(memory, number + 1) != PagesBelow(memory, number);
}

struct PlacedPage {
  std::uint64_t offset = 0;
  const PhysicalMemory::Kept* page = nullptr;
};

// What is written of a dump: the pages that were ever filled. The others of a complete dump are zero and stay
// unwritten.
struct PageLayout {
  std::uint64_t present = 0;  // pages, written or not
  std::uint64_t first = 0;    // where the first one stands
  std::vector<PlacedPage> pages;
};

PageLayout LayOut(const CrashedMachine& machine, bool complete, std::uint64_t first) {
  PageLayout layout;
  layout.first = first;
  for (const auto& [number, page] : machine.memory.pages()) {
    if (!IsIn(machine.memory, number)) continue;
    if (!complete && page->owner == PhysicalMemory::Owner::kProcess) continue;
    const std::uint64_t below = complete ? PagesBelow(machine.memory, number) : layout.present++;
    layout.pages.push_back({first + kPage * below, page.get()});
  }
  if (complete) layout.present = machine.memory.page_count();
  return layout;
}

void SetBits(std::vector<std::byte>* bitmap, std::uint64_t from, std::uint64_t count) {
  for (std::uint64_t bit = from; bit < from + count; ++bit) {
    (*bitmap)[kBitmapHeader + bit / 8] |= std::byte{1} << static_cast<int>(bit % 8);
  }
}

std::vector<std::byte> Bitmap(const CrashedMachine& machine, bool complete, const PageLayout& layout) {
  std::vector<std::byte> bitmap(kBitmapHeader + (machine.memory.end() + 7) / 8);
  StoreBytes(bitmap, 0, std::as_bytes(std::span(complete ? "FDMPDUMP" : "SDMPDUMP", 8)));
  Store<std::uint32_t>(bitmap, 0x08, kKernelMemoryIsValid);
  Store<std::uint64_t>(bitmap, 0x20, layout.first);
  Store<std::uint64_t>(bitmap, 0x28, layout.present);
  Store<std::uint64_t>(bitmap, 0x30, machine.memory.end());
  if (complete) {
    for (const auto& run : machine.memory.runs()) SetBits(&bitmap, run.first, run.count);
    return bitmap;
  }
  for (const auto& [number, page] : machine.memory.pages()) {
    if (page->owner == PhysicalMemory::Owner::kKernel && IsIn(machine.memory, number)) SetBits(&bitmap, number, 1);
  }
  return bitmap;
}

formats::Status WritePages(const CrashedMachine& machine, const DumpOptions& options, const PageLayout& layout,
                           const std::vector<std::byte>& bitmap, DumpSink* sink) {
  const std::uint64_t end = layout.first + kPage * layout.present;
  const std::vector<std::byte> behind = options.secondary_data ? SecondaryData(machine) : std::vector<std::byte>();
  const std::uint64_t size = end + behind.size();
  formats::Status done = sink->SetSize(size);
  if (done.ok()) done = sink->Write(0, DumpHeader(machine, options.form, size));
  if (done.ok() && !bitmap.empty()) done = sink->Write(kDumpHeaderSize, bitmap);
  for (const PlacedPage& placed : layout.pages) {
    if (done.ok()) done = sink->Write(placed.offset, placed.page->bytes);
  }
  if (done.ok() && !behind.empty()) done = sink->Write(end, behind);
  return done;
}

}  // namespace

formats::Status WriteBitmapDump(const CrashedMachine& machine, const DumpOptions& options, DumpSink* sink) {
  const bool complete = options.form == CrashDumpForm::kComplete;
  const std::uint64_t bitmap_end = kDumpHeaderSize + kBitmapHeader + (machine.memory.end() + 7) / 8;
  const PageLayout layout = LayOut(machine, complete, RoundUp(bitmap_end, kPage));
  return WritePages(machine, options, layout, Bitmap(machine, complete, layout), sink);
}

formats::Status WriteRunsDump(const CrashedMachine& machine, const DumpOptions& options, DumpSink* sink) {
  return WritePages(machine, options, LayOut(machine, true, kDumpHeaderSize), {}, sink);
}

}  // namespace varnel::embedded

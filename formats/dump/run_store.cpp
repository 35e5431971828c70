#include "formats/dump/run_store.h"

#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

constexpr std::uint64_t kFirstPageAt = 0x2000;

}  // namespace

DumpProblem RunStore::Open(const DumpHeader& header, std::unique_ptr<PageStore>* out) {
  if (!header.physical_memory) return DumpProblem::kDamagedBody;
  const PhysicalMemoryDescriptor& descriptor = *header.physical_memory;
  if (descriptor.runs.size() != descriptor.number_of_runs) return DumpProblem::kDamagedBody;
  std::unique_ptr<RunStore> store(new RunStore);
  for (const PageRun& run : descriptor.runs) {
    if (run.base_page > kMaxPages || run.page_count > kMaxPages - run.base_page) return DumpProblem::kDamagedBody;
    store->runs_.push_back({run.base_page, run.page_count, store->pages_});
    store->pages_ += run.page_count;  // at most 42 times 2^34
  }
  store->counts_agree_ = store->pages_ == descriptor.number_of_pages;
  *out = std::move(store);
  return DumpProblem::kNone;
}

std::optional<std::uint64_t> RunStore::OffsetOf(std::uint64_t page) const noexcept {
  for (const Run& run : runs_) {
    if (page < run.base_page || page - run.base_page >= run.page_count) continue;
    return kFirstPageAt + kDumpPageSize * (run.pages_before + page - run.base_page);
  }
  return {};
}

std::uint64_t RunStore::End() const noexcept {
  return kFirstPageAt + kDumpPageSize * pages_;
}

}  // namespace varnel::formats

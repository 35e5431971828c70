// RunStore finds pages in a complete dump of the older form: the runs of the header's descriptor, one page behind the
// other. Any thread.
#pragma once

#include <memory>
#include <vector>

#include "formats/dump/page_store.h"

namespace varnel::formats {

class RunStore final : public PageStore {
 public:
  /// kDamagedBody without a descriptor, with more runs than it has room for, or with one behind the end of memory.
  static DumpProblem Open(const DumpHeader& header, std::unique_ptr<PageStore>* out);

  std::optional<std::uint64_t> OffsetOf(std::uint64_t page) const noexcept override;
  std::uint64_t End() const noexcept override;
  bool CountsAgree() const noexcept override { return counts_agree_; }

 private:
  struct Run {
    std::uint64_t base_page = 0;
    std::uint64_t page_count = 0;
    std::uint64_t pages_before = 0;
  };

  RunStore() = default;

  std::vector<Run> runs_;
  std::uint64_t pages_ = 0;
  bool counts_agree_ = false;
};

}  // namespace varnel::formats

// PageStore finds the pages of physical memory in the file of a dump that keeps whole pages.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "formats/dump/dump_header.h"
#include "formats/dump/dump_problem.h"
#include "formats/dump/dump_source.h"

namespace varnel::formats {

/// 64 TiB in pages of 4 KiB; no dump is made of more, and a number above is damage.
inline constexpr std::uint64_t kMaxPages = std::uint64_t{1} << 34;

/// One thread at a time: implementations build indexes when they are first asked.
class PageStore {
 public:
  PageStore() = default;
  PageStore(const PageStore&) = delete;
  PageStore& operator=(const PageStore&) = delete;
  virtual ~PageStore() = default;

  /// Where the page of this number begins in the file; empty when it is not in the dump. The file may end before it.
  [[nodiscard]] virtual std::optional<std::uint64_t> OffsetOf(std::uint64_t page) const noexcept = 0;
  /// Where the last page ends, whether or not the file is so long.
  [[nodiscard]] virtual std::uint64_t End() const noexcept = 0;
  /// Whether the counts of pages agree, as far as they are in the file. May read the whole index.
  [[nodiscard]] virtual bool CountsAgree() const noexcept = 0;
};

/// The store of a dump of this header: none for a form without whole pages, and when the file ends before the store
/// begins. `source` must outlive it.
DumpProblem OpenPageStore(const DumpSource& source, const DumpHeader& header, std::unique_ptr<PageStore>* out);

}  // namespace varnel::formats

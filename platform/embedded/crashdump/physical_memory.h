// The physical memory of the simulated machine: two runs of pages with a hole between them, of which only those that
// were written to are kept. One thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>

namespace varnel::embedded {

class PhysicalMemory {
 public:
  static constexpr std::size_t kPageSize = 4096;

  /// `count` pages from page number `first` on.
  struct Run {
    std::uint64_t first = 0;
    std::uint64_t count = 0;
  };

  /// What a page belongs to: a kernel dump leaves the processes' own pages out.
  enum class Owner { kKernel, kProcess };

  /// `size` in bytes, at least 16 MiB.
  explicit PhysicalMemory(std::uint64_t size);

  const std::array<Run, 2>& runs() const { return runs_; }
  std::uint64_t page_count() const { return runs_[0].count + runs_[1].count; }
  /// The first number behind the highest page.
  std::uint64_t end() const { return runs_[1].first + runs_[1].count; }

  /// The number of a page that nobody has yet. The numbers do not follow each other, and in a large memory they lie far
  /// apart, as those of a machine that has run for a while do.
  std::uint64_t TakePage(Owner owner = Owner::kKernel);

  /// The first of 512 pages for one large page; they begin where such a page may.
  std::uint64_t TakeLargePage();

  /// A page's bytes: zeros until they are written. Makes the page one that is kept.
  std::span<std::byte, kPageSize> Page(std::uint64_t number, Owner owner = Owner::kKernel);

  struct Kept {
    std::array<std::byte, kPageSize> bytes{};
    Owner owner = Owner::kKernel;
  };
  /// The pages that are kept, by number.
  const std::map<std::uint64_t, std::unique_ptr<Kept>>& pages() const { return pages_; }

 private:
  std::array<Run, 2> runs_;
  std::uint64_t low_ = 0;    // the next free page of the low part
  std::uint64_t high_ = 0;   // of the high part; 0 in a small memory
  std::uint64_t large_ = 0;  // where the large pages begin; they grow downward
  std::uint64_t taken_ = 0;
  std::map<std::uint64_t, std::unique_ptr<Kept>> pages_;
};

}  // namespace varnel::embedded

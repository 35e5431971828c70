// PagedMemory is the memory of a dump that keeps whole pages: virtual addresses go through the crashed machine's own
// page tables.
#pragma once

#include <array>
#include <memory>
#include <optional>

#include "formats/dump/debugger_data.h"
#include "formats/dump/dump_header.h"
#include "formats/dump/dump_memory.h"
#include "formats/dump/dump_source.h"
#include "formats/dump/page_entry.h"
#include "formats/dump/page_store.h"

namespace varnel::formats {

/// One thread at a time. How many levels the tables have is found when virtual memory is first read: by the levels with
/// which the debugger's block, or else the list of modules, can be read; four when neither can.
class PagedMemory final : public DumpMemory {
 public:
  /// `source` and `header` must outlive this. Without a store all of memory is missing.
  PagedMemory(const DumpSource& source, const DumpHeader& header, std::unique_ptr<PageStore> store);

  /// Null when the file ends before the pages.
  const PageStore* store() const noexcept { return store_.get(); }
  /// The debugger's block; empty when it is not in the dump.
  const std::optional<DebuggerData>& debugger_data() const noexcept;
  /// 4 or 5.
  int levels() const noexcept;

  std::size_t ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept override;
  MissingReason WhyMissing(std::uint64_t address) const noexcept override;
  std::size_t ReadPhysical(std::uint64_t address, std::span<std::byte> into) const noexcept override;
  std::optional<std::uint64_t> Translate(std::uint64_t address) const noexcept override;
  std::optional<std::uint32_t> Protection(std::uint64_t address) const noexcept override;

 private:
  /// Where one page of 4 KiB went.
  struct Place {
    MissingReason reason = MissingReason::kNotMapped;
    std::uint64_t physical = 0;  // of the page's first byte, where `reason` is kNone
    std::optional<std::uint32_t> protection;
  };
  struct Remembered {
    std::uint64_t page = ~std::uint64_t{0};
    Place place;
  };

  void Prepare() const noexcept;
  void UseLevels(int levels) const noexcept;
  std::optional<DebuggerData> ReadDebuggerData() const noexcept;
  bool IsCanonical(std::uint64_t address) const noexcept;
  Place Find(std::uint64_t address) const noexcept;
  Place Walk(std::uint64_t address, int depth) const noexcept;
  Place Leaf(std::uint64_t address, std::uint64_t entry, int level, bool writable, bool executable,
             int depth) const noexcept;
  Place Prototype(std::uint64_t entry, int depth) const noexcept;
  std::size_t ReadAt(std::uint64_t address, std::span<std::byte> into, int depth) const noexcept;

  const DumpSource& source_;
  const DumpHeader& header_;
  const std::unique_ptr<PageStore> store_;
  mutable bool prepared_ = false;
  mutable int levels_ = 4;
  mutable std::optional<DebuggerData> debugger_data_;
  mutable std::array<Remembered, 64> remembered_{};  // by the low bits of the page's number
};

}  // namespace varnel::formats

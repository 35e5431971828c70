// Opening a dump whose bytes a test made.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "formats/dump/kernel_dump.h"
#include "formats/dump/read_values.h"
#include "tests/support/dump_bytes.h"
#include "tests/support/dump_file.h"

namespace varnel::formats {

inline OpenedDump OpenBytes(std::vector<std::byte> bytes) {
  return KernelDump::Open(std::make_shared<support::DumpFileSource>(std::move(bytes)));
}

/// A file as large as it says, of zeros but for its first bytes; counts what is read.
class SparseSource final : public DumpSource {
 public:
  SparseSource(std::vector<std::byte> bytes, std::uint64_t size) : file_(std::move(bytes)), size_(size) {}
  std::uint64_t Size() const noexcept override { return size_; }
  std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override {
    if (offset >= size_) return 0;
    const auto there = static_cast<std::size_t>(std::min<std::uint64_t>(into.size(), size_ - offset));
    const std::size_t told = file_.Read(offset, into.first(there));
    std::fill(into.begin() + static_cast<std::ptrdiff_t>(told), into.begin() + static_cast<std::ptrdiff_t>(there),
              std::byte{});
    ++reads;
    bytes_read += there;
    return there;
  }
  mutable std::size_t reads = 0;
  mutable std::size_t bytes_read = 0;

 private:
  support::DumpFileSource file_;
  const std::uint64_t size_;
};

/// Bytes that tell their place and `seed`.
inline std::vector<std::byte> Pattern(std::size_t size, unsigned seed) {
  std::vector<std::byte> out(size);
  for (std::size_t i = 0; i < size; ++i) out[i] = std::byte((i * 7 + seed) & 0xFF);
  return out;
}

}  // namespace varnel::formats

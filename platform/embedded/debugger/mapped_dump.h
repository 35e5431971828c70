// MappedDump is a crash dump's file as a memory map: nothing is read before it is asked for, and a file that is cut
// short while it is mapped has missing bytes instead of ending the process. Any thread may read.
#pragma once

#include <cstdint>
#include <memory>

#include "formats/dump/dump_source.h"
#include "platform/embedded/core/unique_fd.h"

namespace varnel::embedded {

class MappedDump final : public formats::DumpSource {
 public:
  /// Maps a plain file as large as it is at this moment, an empty one too. `error` gets an errno value, and the result
  /// is null, when that can't be done.
  static std::unique_ptr<MappedDump> Map(UniqueFd file, int* error);
  ~MappedDump() override;

  std::uint64_t Size() const noexcept override { return size_; }
  std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override;

 private:
  MappedDump(UniqueFd file, const std::byte* bytes, std::uint64_t size)
      : file_(std::move(file)), bytes_(bytes), size_(size) {}

  const UniqueFd file_;
  const std::byte* const bytes_;  // null for an empty file
  const std::uint64_t size_;
};

}  // namespace varnel::embedded

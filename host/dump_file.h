// DumpFile is a crash dump on disk, mapped and read by place: nothing is read before it is asked for, and a file that
// is cut short while it is mapped has missing bytes instead of ending the program. Any thread may read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "formats/dump/dump_source.h"
#include "formats/result.h"

namespace varnel::host {

class DumpFile final : public formats::DumpSource {
 public:
  /// Maps a plain file as it is at this moment. An Error tells why it can't be had; it does not name the file.
  static formats::Result<std::unique_ptr<DumpFile>> Open(const std::string& path);

  ~DumpFile() override;

  std::uint64_t Size() const noexcept override { return size_; }
  std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override;

 private:
  DumpFile(const std::byte* bytes, std::uint64_t size) : bytes_(bytes), size_(size) {}

  const std::byte* const bytes_;  // null for an empty file
  const std::uint64_t size_;
};

}  // namespace varnel::host

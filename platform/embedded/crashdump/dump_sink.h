// Where a dump is written to: a file, or memory in a test. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "formats/result.h"
#include "platform/embedded/core/unique_fd.h"

namespace varnel::embedded {

class DumpSink {
 public:
  DumpSink() = default;
  DumpSink(const DumpSink&) = delete;
  DumpSink& operator=(const DumpSink&) = delete;
  virtual ~DumpSink() = default;

  /// Sets the size, once and before any write. What is not written then is zero and need not take room.
  virtual formats::Status SetSize(std::uint64_t size) = 0;
  /// Writes bytes within the size, in any order of places.
  virtual formats::Status Write(std::uint64_t offset, std::span<const std::byte> bytes) = 0;
};

class MemorySink final : public DumpSink {
 public:
  formats::Status SetSize(std::uint64_t size) override;
  formats::Status Write(std::uint64_t offset, std::span<const std::byte> bytes) override;
  const std::vector<std::byte>& bytes() const { return bytes_; }

 private:
  std::vector<std::byte> bytes_;
};

/// Replaces the file of that path. What is not written takes no room on the disk.
class FileSink final : public DumpSink {
 public:
  explicit FileSink(std::string path);
  formats::Status SetSize(std::uint64_t size) override;
  formats::Status Write(std::uint64_t offset, std::span<const std::byte> bytes) override;

 private:
  const std::string path_;
  const UniqueFd fd_;
  const int open_error_;
};

}  // namespace varnel::embedded

// EtlSource gives the bytes of a trace file by place. A file that is still written, a mapping and a block of memory can
// all be one; the formats themselves make no system calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace varnel::formats {

/// An implementation is called from one thread at a time.
class EtlSource {
 public:
  EtlSource() = default;
  EtlSource(const EtlSource&) = delete;
  EtlSource& operator=(const EtlSource&) = delete;
  virtual ~EtlSource() = default;

  /// Bytes in the file now. Asked once, when a reader opens; what is written later is not seen.
  virtual std::uint64_t Size() = 0;
  /// Fills all of `into` from `offset`. One call is one consistent read: a source that shares its file with a writer
  /// takes its lock here. @return false when any of it can't be had.
  [[nodiscard]] virtual bool Read(std::uint64_t offset, std::span<std::byte> into) = 0;
  /// The same bytes in place, where the source has them in memory and they stay put until it ends; else an empty span,
  /// and the caller reads instead.
  virtual std::span<const std::byte> View(std::uint64_t offset, std::size_t size) {
    static_cast<void>(offset);
    static_cast<void>(size);
    return {};
  }
};

/// A file whose bytes are all in memory; they belong to the caller.
class EtlMemorySource final : public EtlSource {
 public:
  explicit EtlMemorySource(std::span<const std::byte> bytes) noexcept : bytes_(bytes) {}

  std::uint64_t Size() override { return bytes_.size(); }
  bool Read(std::uint64_t offset, std::span<std::byte> into) override;
  std::span<const std::byte> View(std::uint64_t offset, std::size_t size) override;

 private:
  std::span<const std::byte> bytes_;
};

}  // namespace varnel::formats

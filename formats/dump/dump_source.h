// DumpSource gives the bytes of a crash dump file by place. Dumps are large and foreign: the caller maps or reads them
// as it can, and a byte that can't be had is missing, never an end of the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace varnel::formats {

/// An implementation may be read from any number of threads at once.
class DumpSource {
 public:
  DumpSource() = default;
  DumpSource(const DumpSource&) = delete;
  DumpSource& operator=(const DumpSource&) = delete;
  virtual ~DumpSource() = default;

  /// Bytes in the file when it was opened.
  [[nodiscard]] virtual std::uint64_t Size() const noexcept = 0;
  /// Copies what is there from `offset` on, up to the first byte that is not: behind the end, or cut off since.
  /// @return how many bytes of `into` were filled from its beginning.
  [[nodiscard]] virtual std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept = 0;
};

}  // namespace varnel::formats

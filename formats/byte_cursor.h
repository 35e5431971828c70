// ByteCursor walks foreign bytes. It is the one place that knows about bounds: every read is checked against what
// remains, integers are copied out and never aliased, and a failed read leaves the place where it was. Little-endian.
// The bytes belong to the caller and must outlive the cursor. Not synchronised.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace varnel::formats {

class ByteCursor {
 public:
  explicit ByteCursor(std::span<const std::byte> bytes) noexcept : bytes_(bytes) {}

  std::size_t offset() const noexcept { return offset_; }
  std::size_t remaining() const noexcept { return bytes_.size() - offset_; }

  /// Copies a plain value out and moves behind it. @return false when too few bytes remain; `*out` is then untouched.
  template <typename T>
  [[nodiscard]] bool Read(T* out) noexcept {
    static_assert(std::is_trivially_copyable_v<T>);
    if (sizeof(T) > remaining()) return false;
    std::memcpy(out, bytes_.data() + offset_, sizeof(T));
    offset_ += sizeof(T);
    return true;
  }

  /// Gives `size` bytes in place and moves behind them. @return false when too few remain.
  [[nodiscard]] bool Take(std::size_t size, std::span<const std::byte>* out) noexcept;
  [[nodiscard]] bool Skip(std::size_t size) noexcept;
  /// Moves to an absolute place. @return false when it lies behind the end.
  [[nodiscard]] bool Seek(std::size_t offset) noexcept;

 private:
  std::span<const std::byte> bytes_;
  std::size_t offset_ = 0;
};

}  // namespace varnel::formats

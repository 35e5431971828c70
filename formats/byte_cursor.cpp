#include "formats/byte_cursor.h"

namespace varnel::formats {

bool ByteCursor::Take(std::size_t size, std::span<const std::byte>* out) noexcept {
  if (size > remaining()) return false;
  *out = bytes_.subspan(offset_, size);
  offset_ += size;
  return true;
}

bool ByteCursor::Skip(std::size_t size) noexcept {
  if (size > remaining()) return false;
  offset_ += size;
  return true;
}

bool ByteCursor::Seek(std::size_t offset) noexcept {
  if (offset > bytes_.size()) return false;
  offset_ = offset;
  return true;
}

}  // namespace varnel::formats

#include <algorithm>
#include <cstring>

#include "tests/support/byte_stream.h"

namespace varnel::testing {
namespace {

struct Cookie {
  StreamedBytes target;
  std::size_t position = 0;
};

ssize_t Read(void* opaque, char* buffer, std::size_t size) {
  auto* const at = static_cast<Cookie*>(opaque);
  const std::lock_guard lock(*at->target.mutex);
  const std::string& bytes = *at->target.bytes;
  const std::size_t taken = bytes.copy(buffer, size, std::min(at->position, bytes.size()));
  at->position += taken;
  return static_cast<ssize_t>(taken);
}

ssize_t Write(void* opaque, const char* buffer, std::size_t size) {
  auto* const at = static_cast<Cookie*>(opaque);
  const std::lock_guard lock(*at->target.mutex);
  std::string& bytes = *at->target.bytes;
  if (bytes.size() < at->position + size) bytes.resize(at->position + size);
  std::memcpy(bytes.data() + at->position, buffer, size);
  at->position += size;
  return static_cast<ssize_t>(size);
}

int Seek(void* opaque, off64_t* offset, int whence) {
  auto* const at = static_cast<Cookie*>(opaque);
  const std::lock_guard lock(*at->target.mutex);
  const auto size = static_cast<off64_t>(at->target.bytes->size());
  const auto base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? static_cast<off64_t>(at->position) : size;
  if (base + *offset < 0) return -1;
  *offset += base;
  at->position = static_cast<std::size_t>(*offset);
  return 0;
}

int Close(void* opaque) {
  delete static_cast<Cookie*>(opaque);
  return 0;
}

}  // namespace

std::FILE* OpenByteStream(const StreamedBytes& target, const char* mode, std::shared_ptr<StreamCopy>* copy) {
  copy->reset();
  auto* const cookie = new Cookie{target, mode[0] == 'a' ? target.bytes->size() : 0};
  return fopencookie(cookie, mode, {Read, Write, Seek, Close});
}

}  // namespace varnel::testing

#include "host/dump_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/embedded/core/unique_fd.h"
#include "platform/embedded/system/guarded_call.h"

namespace varnel::host {
namespace {

using formats::Error;

constexpr std::size_t kPage = 4096;

/// A copy out of a mapping. What a fault leaves of it is told by `done`.
struct Copy {
  const std::byte* from;
  std::byte* to;
  std::size_t size;
  volatile std::size_t done = 0;
};

// The pages behind the end of a file that was cut can't be touched, so that each page counts by itself.
void CopyByPages(void* parameter) {
  auto* copy = static_cast<Copy*>(parameter);
  while (copy->done < copy->size) {
    const std::size_t at = copy->done;
    const std::size_t in_page = kPage - reinterpret_cast<std::uintptr_t>(copy->from + at) % kPage;
    const std::size_t n = std::min(in_page, copy->size - at);
    std::memcpy(copy->to + at, copy->from + at, n);
    copy->done = at + n;
  }
}

}  // namespace

formats::Result<std::unique_ptr<DumpFile>> DumpFile::Open(const std::string& path) {
  // Without O_NONBLOCK a pipe would be waited for before it can be told from a file.
  const embedded::UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file.valid() || ::fstat(file.get(), &status) != 0) return Error{std::strerror(errno)};
  if (S_ISDIR(status.st_mode)) return Error{"is a folder"};
  if (!S_ISREG(status.st_mode)) return Error{"is no plain file"};
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size == 0) return std::unique_ptr<DumpFile>(new DumpFile(nullptr, 0));
  void* const bytes = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, file.get(), 0);
  if (bytes == MAP_FAILED) return Error{std::string("can't be mapped: ") + std::strerror(errno)};
  return std::unique_ptr<DumpFile>(new DumpFile(static_cast<const std::byte*>(bytes), size));
}

DumpFile::~DumpFile() {
  if (bytes_ != nullptr) ::munmap(const_cast<std::byte*>(bytes_), static_cast<std::size_t>(size_));
}

std::size_t DumpFile::Read(std::uint64_t offset, std::span<std::byte> into) const noexcept {
  if (offset >= size_ || into.empty()) return 0;
  Copy copy{bytes_ + offset, into.data(),
            static_cast<std::size_t>(std::min<std::uint64_t>(into.size(), size_ - offset))};
  static_cast<void>(embedded::RunGuarded(&CopyByPages, &copy));
  return copy.done;
}

}  // namespace varnel::host

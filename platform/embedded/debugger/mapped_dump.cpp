#include "platform/embedded/debugger/mapped_dump.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "platform/embedded/system/guarded_call.h"

namespace varnel::embedded {
namespace {

constexpr std::size_t kPage = 4096;

/// A copy out of the map. `done` tells what a fault left of it.
struct Copy {
  const std::byte* from;
  std::byte* to;
  std::size_t size;
  volatile std::size_t done = 0;
};

/// Page by page: those behind the end of a file that was cut can't be touched, those before it can.
void CopyByPages(void* parameter) {
  auto* const copy = static_cast<Copy*>(parameter);
  while (copy->done < copy->size) {
    const std::size_t at = copy->done;
    const std::size_t left_in_page = kPage - reinterpret_cast<std::uintptr_t>(copy->from + at) % kPage;
    const std::size_t size = std::min(left_in_page, copy->size - at);
    std::memcpy(copy->to + at, copy->from + at, size);
    copy->done = at + size;
  }
}

}  // namespace

std::unique_ptr<MappedDump> MappedDump::Map(UniqueFd file, int* error) {
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) {
    *error = errno;
    return nullptr;
  }
  if (!S_ISREG(status.st_mode)) {
    *error = EINVAL;
    return nullptr;
  }
  void* bytes = nullptr;
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size != 0) {
    bytes = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, file.get(), 0);
    if (bytes == MAP_FAILED) {
      *error = errno;
      return nullptr;
    }
  }
  auto* const mapped = new (std::nothrow) MappedDump(std::move(file), static_cast<const std::byte*>(bytes), size);
  if (mapped == nullptr) {
    if (bytes != nullptr) ::munmap(bytes, size);
    *error = ENOMEM;
  }
  return std::unique_ptr<MappedDump>(mapped);
}

MappedDump::~MappedDump() {
  if (bytes_ != nullptr) ::munmap(const_cast<std::byte*>(bytes_), static_cast<std::size_t>(size_));
}

std::size_t MappedDump::Read(std::uint64_t offset, std::span<std::byte> into) const noexcept {
  if (offset >= size_ || into.empty()) return 0;
  const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(into.size(), size_ - offset));
  Copy copy{bytes_ + offset, into.data(), size};
  static_cast<void>(RunGuarded(&CopyByPages, &copy));
  const std::size_t done = copy.done;
  if (done == 0 || into[done - 1] != std::byte{0}) return done;
  // The system fills the last page of a file with zeros, so that what was cut out of that page reads as zeros.
  struct stat status {};
  if (::fstat(file_.get(), &status) != 0) return done;
  const auto present = static_cast<std::uint64_t>(status.st_size);
  return present <= offset ? 0 : static_cast<std::size_t>(std::min<std::uint64_t>(done, present - offset));
}

}  // namespace varnel::embedded

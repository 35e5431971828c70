#include "platform/embedded/files/file_object.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/embedded/files/resolver.h"

namespace varnel::embedded {
namespace {

constexpr std::uint32_t kErrorNegativeSeek = 131;

bool IsAppend(const platform::OVERLAPPED* place) {
  return place != nullptr && place->Offset == ~0u && place->OffsetHigh == ~0u;
}

std::uint64_t PlaceOf(const platform::OVERLAPPED& place) {
  return (std::uint64_t{place.OffsetHigh} << 32) | place.Offset;
}

}  // namespace

FileObject::FileObject(int fd, FileRights rights, ShareLock lock, std::optional<std::uint64_t> link_creation)
    : Object(Kind::kFile), fd_(fd), rights_(rights), link_creation_(link_creation), lock_(std::move(lock)) {}

FileObject::~FileObject() {
  ::close(fd_);
}

std::string FileObject::HostLink() const {
  return "/proc/self/fd/" + std::to_string(fd_);
}

FileTimes FileObject::Times() const {
  FileTimes times = TimesOf(HostLink());
  if (link_creation_) times.creation = *link_creation_;
  return times;
}

std::uint32_t FileObject::Attributes() const {
  struct stat status {};
  if (link_creation_ || ::fstat(fd_, &status) != 0) return kLinkAttributes;
  return AttributesOf(HostLink(), status);
}

std::uint32_t FileObject::Read(void* buffer, std::uint32_t size, std::uint32_t* read, platform::OVERLAPPED* place) {
  if (read != nullptr) *read = 0;
  if (!rights_.read) return platform::kErrorAccessDenied;
  std::lock_guard lock(mutex_);
  const std::uint64_t at = place != nullptr ? PlaceOf(*place) : position_;
  std::uint32_t done = 0;
  while (done < size) {
    const ssize_t n = ::pread(fd_, static_cast<char*>(buffer) + done, size - done, static_cast<off_t>(at + done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return Win32Error(errno);
    if (n == 0) break;
    done += static_cast<std::uint32_t>(n);
  }
  // The end of the file is an error only for those who name a place.
  if (place != nullptr && done == 0 && size != 0) return platform::kErrorHandleEof;
  position_ = at + done;
  if (read != nullptr) *read = done;
  return platform::kErrorSuccess;
}

std::uint32_t FileObject::Write(const void* buffer, std::uint32_t size, std::uint32_t* written,
                                platform::OVERLAPPED* place) {
  std::uint32_t done = 0;
  if (written == nullptr) written = &done;
  *written = 0;
  if (!rights_.write) return platform::kErrorAccessDenied;
  if (IsAppend(place)) return Append(buffer, size, written);
  std::lock_guard lock(mutex_);
  const std::uint64_t at = place != nullptr ? PlaceOf(*place) : position_;
  const std::uint32_t error = WriteAt(buffer, size, at, written);
  position_ = at + *written;
  return error;
}

std::uint32_t FileObject::Append(const void* buffer, std::uint32_t size, std::uint32_t* written) {
  *written = 0;
  std::lock_guard lock(mutex_);
  if (!lock_.LockAppend()) return Win32Error(errno);
  struct stat status {};
  std::uint32_t error = ::fstat(fd_, &status) == 0 ? platform::kErrorSuccess : Win32Error(errno);
  if (error == 0) {
    const auto end = static_cast<std::uint64_t>(status.st_size);
    error = WriteAt(buffer, size, end, written);
    if (error != 0) {
      // Nobody else can have appended behind what was written of it.
      if (*written != 0 && ::ftruncate(fd_, status.st_size) == 0) *written = 0;
    } else {
      position_ = end + size;
    }
  }
  lock_.UnlockAppend();
  return error;
}

std::uint32_t FileObject::WriteAt(const void* buffer, std::uint32_t size, std::uint64_t at, std::uint32_t* written) {
  while (*written < size) {
    const ssize_t n =
        ::pwrite(fd_, static_cast<const char*>(buffer) + *written, size - *written, static_cast<off_t>(at + *written));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return Win32Error(errno);
    if (n == 0) return platform::kErrorDiskFull;
    *written += static_cast<std::uint32_t>(n);
  }
  return platform::kErrorSuccess;
}

std::uint32_t FileObject::Seek(std::int64_t distance, std::uint32_t method, std::uint64_t* position) {
  std::lock_guard lock(mutex_);
  std::uint64_t from = method == platform::kFileCurrent ? position_ : 0;
  if (method > platform::kFileEnd) return platform::kErrorInvalidParameter;
  if (method == platform::kFileEnd) {
    if (const auto error = Size(&from); error != 0) return error;
  }
  const std::int64_t target = static_cast<std::int64_t>(from) + distance;
  if (target < 0) return kErrorNegativeSeek;
  *position = position_ = static_cast<std::uint64_t>(target);
  return platform::kErrorSuccess;
}

std::uint32_t FileObject::Size(std::uint64_t* size) const {
  struct stat status {};
  if (::fstat(fd_, &status) != 0) return Win32Error(errno);
  *size = static_cast<std::uint64_t>(status.st_size);
  return platform::kErrorSuccess;
}

std::uint32_t FileObject::Truncate() {
  if (!rights_.write) return platform::kErrorAccessDenied;
  std::lock_guard lock(mutex_);
  return ::ftruncate(fd_, static_cast<off_t>(position_)) == 0 ? platform::kErrorSuccess : Win32Error(errno);
}

std::uint32_t FileObject::Flush() {
  if (!rights_.write) return platform::kErrorAccessDenied;
  return ::fsync(fd_) == 0 ? platform::kErrorSuccess : Win32Error(errno);
}

}  // namespace varnel::embedded

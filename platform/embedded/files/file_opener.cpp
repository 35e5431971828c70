#include "platform/embedded/files/file_opener.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/embedded/files/file_metadata.h"

namespace varnel::embedded {
namespace {

constexpr std::uint32_t kGenericExecute = 0x20000000;
constexpr std::uint32_t kFileReadData = 0x1;
constexpr std::uint32_t kFileWriteData = 0x2;
constexpr std::uint32_t kFileAppendData = 0x4;
constexpr std::uint32_t kFileWriteAttributes = 0x100;
constexpr std::uint32_t kDeleteAccess = 0x10000;

FileRights RightsOf(std::uint32_t access) {
  using namespace platform;
  return {.read = (access & (kGenericRead | kGenericAll | kGenericExecute | kFileReadData)) != 0,
          .write = (access & (kGenericWrite | kGenericAll | kFileWriteData | kFileAppendData)) != 0,
          .write_attributes = (access & (kGenericWrite | kGenericAll | kFileWriteAttributes)) != 0};
}

bool Empties(std::uint32_t disposition) {
  return disposition == platform::kCreateAlways || disposition == platform::kTruncateExisting;
}

Sharing SharingOf(const FileOpener::Request& request) {
  const FileRights rights = RightsOf(request.access);
  return {.reads = rights.read,
          .writes = rights.write || Empties(request.disposition),
          .deletes = (request.access & (kDeleteAccess | platform::kGenericAll)) != 0,
          .share_mode = request.share_mode};
}

/// Whether an open could change a file, or the times and attributes that it has.
bool Changes(const FileOpener::Request& request) {
  const Sharing sharing = SharingOf(request);
  return sharing.writes || sharing.deletes || RightsOf(request.access).write_attributes;
}

/// What can be told of a present file before it is opened. 0, or the error.
std::uint32_t Judge(const HostPath& place, const FileOpener::Request& request) {
  if (request.disposition == platform::kCreateNew) return platform::kErrorFileExists;
  if (place.IsFolder() || !S_ISREG(place.status.st_mode)) return platform::kErrorAccessDenied;
  if (place.windows.ends_in_separator) return platform::kErrorInvalidName;
  if (place.IsLinkOut() && Changes(request)) return platform::kErrorAccessDenied;
  return IsReadOnly(place.status) && SharingOf(request).writes ? platform::kErrorAccessDenied : platform::kErrorSuccess;
}

int OpenHost(const std::string& path, bool write, int flags) {
  return ::open(path.c_str(), (write ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | flags, 0666);
}

}  // namespace

std::uint32_t LookUntilItHolds(const std::function<std::uint32_t()>& attempt) {
  constexpr int kTries = 1000;
  for (int i = 0; i < kTries; ++i) {
    if (const auto error = attempt(); error != kLookAgain) return error;
  }
  return platform::kErrorSharingViolation;
}

std::uint32_t FileOpener::ResolvePath(std::u16string_view path, HostPath* place) const {
  return machine_ ? embedded::ResolvePath(*machine_, path, place) : platform::kErrorPathNotFound;
}

std::uint32_t FileOpener::Open(std::u16string_view path, const Request& request, std::shared_ptr<FileObject>* file,
                               bool* existed) const {
  if (request.disposition < platform::kCreateNew || request.disposition > platform::kTruncateExisting) {
    return platform::kErrorInvalidParameter;
  }
  return LookUntilItHolds([&]() -> std::uint32_t {
    HostPath place;
    if (const auto error = ResolvePath(path, &place); error != 0) return error;
    *existed = place.exists;
    return place.exists ? OpenPresent(place, request, file) : Make(place, request, file);
  });
}

std::uint32_t FileOpener::TakeShare(const struct stat& status, const Sharing& sharing, ShareLock* lock) const {
  const bool minds = sharing.writes || sharing.deletes || (sharing.share_mode & platform::kFileShareWrite) == 0;
  if (minds && (sharing.reads || sharing.writes || sharing.deletes) && in_use_elsewhere_ &&
      in_use_elsewhere_(status.st_dev, status.st_ino)) {
    return platform::kErrorSharingViolation;
  }
  return ShareLock::Take(*machine_, status.st_dev, status.st_ino, sharing, lock);
}

std::uint32_t FileOpener::OpenPresent(const HostPath& place, const Request& request,
                                      std::shared_ptr<FileObject>* file) const {
  if (const auto error = Judge(place, request); error != 0) return error;
  ShareLock lock;
  if (const auto error = TakeShare(place.status, SharingOf(request), &lock); error != 0) return error;
  const FileRights rights = RightsOf(request.access);
  const bool writes = rights.write || Empties(request.disposition);
  // Reading through a link leaves even the target's access time alone, where the host lets us.
  int fd = place.IsLinkOut() ? OpenHost(place.path, writes, O_NOATIME) : -1;
  if (fd < 0) fd = OpenHost(place.path, writes, 0);
  if (fd < 0) return errno == ENOENT ? kLookAgain : Win32Error(errno);
  *file = std::make_shared<FileObject>(fd, rights, std::move(lock), place.link_creation);
  struct stat opened {};
  if (::fstat(fd, &opened) != 0 || !IsSameFile(opened, place.status) || !(*file)->HoldsItsLock()) {
    file->reset();
    return kLookAgain;
  }
  if (!Empties(request.disposition)) return platform::kErrorSuccess;
  if (::ftruncate(fd, 0) != 0) return Win32Error(errno);
  return SetAttributes((*file)->HostLink(), opened, request.attributes | platform::kFileAttributeArchive);
}

std::uint32_t FileOpener::Make(const HostPath& place, const Request& request, std::shared_ptr<FileObject>* file) const {
  if (request.disposition == platform::kOpenExisting || request.disposition == platform::kTruncateExisting) {
    return platform::kErrorFileNotFound;
  }
  if (place.windows.ends_in_separator) return platform::kErrorInvalidName;
  const int fd = OpenHost(place.path, true, O_CREAT | O_EXCL);
  if (fd < 0) return errno == EEXIST ? kLookAgain : Win32Error(errno);
  struct stat made {};
  ShareLock lock;
  std::uint32_t error = ::fstat(fd, &made) != 0 ? Win32Error(errno) : TakeShare(made, SharingOf(request), &lock);
  // Before the lock was taken, another process could find the new file and delete it.
  if (error == 0 && (::fstat(fd, &made) != 0 || made.st_nlink == 0)) error = kLookAgain;
  if (error != 0) {
    ::close(fd);
    return error;
  }
  *file = std::make_shared<FileObject>(fd, RightsOf(request.access), std::move(lock));
  return SetAttributes((*file)->HostLink(), made, request.attributes | platform::kFileAttributeArchive);
}

}  // namespace varnel::embedded

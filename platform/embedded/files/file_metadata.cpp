#include "platform/embedded/files/file_metadata.h"

#include <fcntl.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/embedded/files/resolver.h"
#include "platform/files.h"

namespace varnel::embedded {
namespace {

constexpr char kAttributesName[] = "user.varnel.attributes";
constexpr char kCreatedName[] = "user.varnel.created";
constexpr std::uint64_t kSecondsFrom1601To1970 = 11644473600;
// What can be set: read-only, hidden, system, archive, temporary, offline, not indexed.
constexpr std::uint32_t kSettable = 0x1 | 0x2 | 0x4 | 0x20 | 0x100 | 0x1000 | 0x2000;
constexpr mode_t kWriteBits = S_IWUSR | S_IWGRP | S_IWOTH;

/// False when the file has no such attribute.
bool ReadNumber(const std::string& path, const char* name, int base, std::uint64_t* value) {
  char text[32];
  const ssize_t size = ::getxattr(path.c_str(), name, text, sizeof text - 1);
  if (size <= 0) return false;
  text[size] = '\0';
  char* end = nullptr;
  *value = std::strtoull(text, &end, base);
  return end == text + size;
}

/// False only where the host could keep it and did not.
bool WriteText(const std::string& path, const char* name, const std::string& text) {
  return ::setxattr(path.c_str(), name, text.data(), text.size(), 0) == 0 || errno == ENOTSUP;
}

bool Remove(const std::string& path, const char* name) {
  return ::removexattr(path.c_str(), name) == 0 || errno == ENODATA || errno == ENOTSUP;
}

std::uint32_t Ordinary(const struct stat& status) {
  return S_ISDIR(status.st_mode) ? 0 : platform::kFileAttributeArchive;
}

std::uint64_t ToFileTime(std::int64_t seconds, std::int64_t nanoseconds) {
  return (static_cast<std::uint64_t>(seconds) + kSecondsFrom1601To1970) * 10000000 +
         static_cast<std::uint64_t>(nanoseconds) / 100;
}

timespec ToTimespec(const platform::FILETIME* time) {
  if (time == nullptr) return {0, UTIME_OMIT};
  const std::uint64_t value = platform::ToUint64(*time);
  return {static_cast<time_t>(value / 10000000) - static_cast<time_t>(kSecondsFrom1601To1970),
          static_cast<long>(value % 10000000 * 100)};
}

}  // namespace

bool IsReadOnly(const struct stat& status) {
  return !S_ISDIR(status.st_mode) && (status.st_mode & kWriteBits) == 0;
}

std::uint32_t AttributesOf(const std::string& host_path, const struct stat& status) {
  std::uint64_t kept = 0;
  std::uint32_t attributes = Ordinary(status);
  if (ReadNumber(host_path, kAttributesName, 16, &kept)) attributes = static_cast<std::uint32_t>(kept) & kSettable;
  if (IsReadOnly(status)) attributes |= platform::kFileAttributeReadonly;
  if (S_ISDIR(status.st_mode)) attributes |= platform::kFileAttributeDirectory;
  return attributes != 0 ? attributes : platform::kFileAttributeNormal;
}

std::uint32_t SetAttributes(const std::string& host_path, const struct stat& status, std::uint32_t attributes) {
  // A folder's mark says nothing about what may be made in it, as its write bits would.
  const bool read_only = !S_ISDIR(status.st_mode) && (attributes & platform::kFileAttributeReadonly) != 0;
  const std::uint32_t kept = attributes & kSettable & ~(read_only ? platform::kFileAttributeReadonly : 0);
  const mode_t mode = status.st_mode & 07777;
  // The host refuses to change extended attributes of a file without its write bit.
  if ((mode & S_IWUSR) == 0 && ::chmod(host_path.c_str(), mode | S_IWUSR) != 0) return Win32Error(errno);
  char text[16];
  std::snprintf(text, sizeof text, "%x", kept);
  const bool good =
      kept == Ordinary(status) ? Remove(host_path, kAttributesName) : WriteText(host_path, kAttributesName, text);
  const std::uint32_t error = good ? platform::kErrorSuccess : Win32Error(errno);
  const mode_t wanted = read_only ? mode & ~kWriteBits : mode | S_IWUSR;
  if (wanted != (mode | S_IWUSR) && ::chmod(host_path.c_str(), wanted) != 0) return Win32Error(errno);
  return error;
}

FileTimes TimesOf(const std::string& host_path) {
  struct statx status {};
  if (::statx(AT_FDCWD, host_path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) return {};
  FileTimes times;
  times.last_access = ToFileTime(status.stx_atime.tv_sec, status.stx_atime.tv_nsec);
  times.last_write = ToFileTime(status.stx_mtime.tv_sec, status.stx_mtime.tv_nsec);
  if (ReadNumber(host_path, kCreatedName, 10, &times.creation)) return times;
  if ((status.stx_mask & STATX_BTIME) != 0) {
    times.creation = ToFileTime(status.stx_btime.tv_sec, status.stx_btime.tv_nsec);
  } else {
    times.creation = std::min(times.last_write, ToFileTime(status.stx_ctime.tv_sec, status.stx_ctime.tv_nsec));
  }
  return times;
}

std::uint32_t SetTimes(const std::string& host_path, const platform::FILETIME* creation,
                       const platform::FILETIME* last_access, const platform::FILETIME* last_write) {
  if (creation != nullptr && !WriteText(host_path, kCreatedName, std::to_string(platform::ToUint64(*creation)))) {
    return Win32Error(errno);
  }
  const timespec times[] = {ToTimespec(last_access), ToTimespec(last_write)};
  return ::utimensat(AT_FDCWD, host_path.c_str(), times, 0) == 0 ? platform::kErrorSuccess : Win32Error(errno);
}

}  // namespace varnel::embedded

#include "platform/embedded/files/resolver.h"

#include <dirent.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include "formats/text_encoding.h"
#include "platform/embedded/core/casefold.h"
#include "platform/embedded/files/link_table.h"
#include "platform/types.h"

namespace varnel::embedded {
namespace {

/// The present entry of `folder` that has the name but for its case; the first by bytes when there are several.
std::optional<std::string> FindFolded(const std::string& folder, std::u16string_view name) {
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(folder.c_str()), &::closedir);
  if (!listing) return std::nullopt;
  std::optional<std::string> best;
  while (const dirent* entry = ::readdir(listing.get())) {
    const std::string_view candidate = entry->d_name;
    if (best && candidate >= *best) continue;
    const auto as_windows = WindowsName(candidate);
    if (as_windows && EqualFolded(*as_windows, name)) best = std::string(candidate);
  }
  return best;
}

/// Puts the place that a link leads to into `result`. False when that is not below `root`.
bool FollowLink(const std::string& root, HostPath* result) {
  char real_root[PATH_MAX];
  char target[PATH_MAX];
  if (::realpath(root.c_str(), real_root) == nullptr || ::realpath(result->path.c_str(), target) == nullptr) {
    return false;
  }
  if (!std::string_view(target).starts_with(std::string(real_root) + '/')) return false;
  result->path = target;
  return ::lstat(target, &result->status) == 0;
}

/// Puts what the symbolic link at `result` stands for into it. 0, or the error.
std::uint32_t Follow(const Machine& machine, const std::string& root, HostPath* result) {
  const LinkTable table = LinkTable::Read(machine);
  const LinkTable::Link* link = table.Find(result->path);
  if (link == nullptr) return FollowLink(root, result) ? platform::kErrorSuccess : platform::kErrorAccessDenied;
  result->path = link->target;
  if (::lstat(result->path.c_str(), &result->status) != 0) return Win32Error(errno);
  if (!S_ISREG(result->status.st_mode)) return platform::kErrorAccessDenied;
  result->link_creation = link->creation;
  return platform::kErrorSuccess;
}

/// Goes from the folder that `result` stands for to one name in it.
std::uint32_t Step(const Machine& machine, const std::string& root, std::u16string_view name, HostPath* result) {
  const std::string folder = result->path;
  result->name.clear();
  result->path = folder + '/' + formats::Utf16ToUtf8(name);
  if (::lstat(result->path.c_str(), &result->status) != 0) {
    if (errno != ENOENT && errno != ENAMETOOLONG) return Win32Error(errno);
    const auto other_case = errno == ENOENT ? FindFolded(folder, name) : std::nullopt;
    if (!other_case || ::lstat((folder + '/' + *other_case).c_str(), &result->status) != 0) {
      result->exists = false;
      return platform::kErrorSuccess;
    }
    result->path = folder + '/' + *other_case;
  }
  result->name = result->path.substr(folder.size() + 1);
  return S_ISLNK(result->status.st_mode) ? Follow(machine, root, result) : platform::kErrorSuccess;
}

}  // namespace

bool IsSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

std::uint32_t ResolvePath(const Machine& machine, std::u16string_view windows_path, HostPath* result) {
  *result = HostPath();
  if (const auto error = ParseWindowsPath(windows_path, &result->windows); error != 0) return error;
  const std::string root = machine.DrivePath(static_cast<char>(result->windows.drive));
  result->path = root;
  if (::stat(root.c_str(), &result->status) != 0 || !S_ISDIR(result->status.st_mode)) {
    return platform::kErrorPathNotFound;
  }
  result->exists = true;
  for (const std::u16string& name : result->windows.names) {
    if (!result->IsFolder()) return platform::kErrorPathNotFound;
    if (const auto error = Step(machine, root, name, result); error != 0) return error;
  }
  return platform::kErrorSuccess;
}

formats::Result<HostPath> Resolve(const Machine& machine, std::u16string_view windows_path) {
  HostPath result;
  const std::uint32_t error = ResolvePath(machine, windows_path, &result);
  if (error == 0) return result;
  return formats::Error{formats::Utf16ToUtf8(windows_path) + ": error " + std::to_string(error)};
}

std::optional<std::u16string> WindowsName(std::string_view host_name) {
  std::u16string name = formats::Utf8ToUtf16(host_name);
  // A name with bytes that are no UTF-8 does not come back as it was.
  if (!IsFileName(name) || formats::Utf16ToUtf8(name) != host_name) return std::nullopt;
  return name;
}

std::uint32_t Win32Error(int host_error) {
  switch (host_error) {
    case ENOENT:
      return platform::kErrorFileNotFound;
    case ENOTDIR:
      return platform::kErrorPathNotFound;
    case EMFILE:
    case ENFILE:
      return 4;  // too many open files
    case EACCES:
    case EPERM:
    case EISDIR:
    case ELOOP:
    case ENXIO:
      return platform::kErrorAccessDenied;
    case ENOMEM:
      return platform::kErrorNotEnoughMemory;
    case EXDEV:
      return 17;  // another device
    case EROFS:
      return 19;  // write-protected
    case EEXIST:
      return platform::kErrorAlreadyExists;
    case ENOTEMPTY:
      return platform::kErrorDirNotEmpty;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return platform::kErrorDiskFull;
    case ENAMETOOLONG:
      return 206;  // the name is too long
    case EINVAL:
      return platform::kErrorInvalidParameter;
    case EIO:
      return 1117;  // a device's error
    default:
      return platform::kErrorGenFailure;
  }
}

}  // namespace varnel::embedded

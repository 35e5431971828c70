#include "platform/embedded/files/file_operations.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <vector>

#include "formats/text_encoding.h"
#include "platform/embedded/files/file_metadata.h"
#include "platform/embedded/files/find_object.h"

namespace varnel::embedded {
namespace {

using platform::kErrorAccessDenied;
using platform::kErrorAlreadyExists;
using platform::kErrorFileNotFound;
using platform::kErrorPathNotFound;
using platform::kErrorSuccess;

constexpr std::uint32_t kErrorNotSameDevice = 17;
constexpr std::uint32_t kErrorNameTooLong = 206;
constexpr std::size_t kLongestNewFolder = 247;  // room for a short file name below it
constexpr std::uint32_t kMoveFileCopyAllowed = 2;
constexpr std::uint32_t kShareAll = platform::kFileShareRead | platform::kFileShareWrite | platform::kFileShareDelete;
constexpr Sharing kDeletes{.deletes = true, .share_mode = kShareAll};

std::uint32_t FromHost(int result) {
  return result == 0 ? kErrorSuccess : Win32Error(errno);
}

std::u16string Below(std::u16string_view folder, std::u16string_view name) {
  std::u16string path(folder);
  if (path.empty() || (path.back() != u'\\' && path.back() != u'/')) path += u'\\';
  return path += name;
}

/// Whether the file that was looked at still has its name. Behind the file's gate it keeps it.
bool IsStillThere(const HostPath& place) {
  struct stat status {};
  return ::lstat(place.path.c_str(), &status) == 0 && IsSameFile(status, place.status);
}

/// Takes the right to take a present file away from its name.
std::uint32_t TakeForDeletion(const FileOpener& opener, const HostPath& place, ShareLock* lock) {
  if (!S_ISREG(place.status.st_mode)) return kErrorAccessDenied;
  if (place.windows.ends_in_separator) return platform::kErrorInvalidName;
  return opener.TakeShare(place.status, kDeletes, lock);
}

/// 5 when a file below the folder is in use, or a link out of the drive, which both keep the folder where it is.
std::uint32_t JudgeTree(const FileOpener& opener, const LinkTable& links, const std::string& host_folder) {
  for (const std::u16string& name : ListNames(host_folder, links)) {
    const std::string path = host_folder + '/' + formats::Utf16ToUtf8(name);
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) continue;
    if (S_ISLNK(status.st_mode)) return kErrorAccessDenied;
    std::uint32_t error = kErrorSuccess;
    ShareLock lock;
    if (S_ISDIR(status.st_mode)) {
      error = JudgeTree(opener, links, path);
    } else {
      error = opener.TakeShare(status, kDeletes, &lock);
    }
    if (error != 0) return kErrorAccessDenied;
  }
  return kErrorSuccess;
}

/// Copies all bytes from one open file to another.
std::uint32_t CopyBytes(FileObject* from, FileObject* to) {
  std::vector<char> block(256 * 1024);
  for (;;) {
    std::uint32_t read = 0;
    const auto size = static_cast<std::uint32_t>(block.size());
    if (const auto error = from->Read(block.data(), size, &read, nullptr); error != 0) return error;
    if (read == 0) return kErrorSuccess;
    std::uint32_t written = 0;
    if (const auto error = to->Write(block.data(), read, &written, nullptr); error != 0) return error;
  }
}

/// The write time and the attributes of one open file for another.
std::uint32_t CopyMetadata(const FileObject& from, const FileObject& to) {
  struct stat target {};
  const std::string link = to.HostLink();
  if (::stat(link.c_str(), &target) != 0) return Win32Error(errno);
  const platform::FILETIME write = platform::ToFileTime(from.Times().last_write);
  if (const auto error = SetTimes(link, nullptr, nullptr, &write); error != 0) return error;
  return SetAttributes(link, target, from.Attributes());
}

/// Whether the target of a move may be replaced; takes the right to.
std::uint32_t JudgeTarget(const FileOpener& opener, const HostPath& target, std::uint32_t flags, ShareLock* lock) {
  if ((flags & platform::kMoveFileReplaceExisting) == 0) return kErrorAlreadyExists;
  if (target.IsFolder() || target.IsLinkOut() || IsReadOnly(target.status)) return kErrorAccessDenied;
  return TakeForDeletion(opener, target, lock) == 0 ? kErrorSuccess : kErrorAccessDenied;
}

/// Where the moved file gets the name as it is written now, also when only its case changes.
std::string HostTarget(const HostPath& target) {
  if (target.windows.names.empty()) return target.path;
  return target.path.substr(0, target.path.rfind('/') + 1) + formats::Utf16ToUtf8(target.windows.names.back());
}

std::uint32_t MoveByCopy(const FileOpener& opener, const HostPath& from, const HostPath& to) {
  if (from.IsFolder()) return kErrorNotSameDevice;
  if (const auto error = CopyOneFile(opener, from.windows.Text(), to.windows.Text(), false); error != 0) return error;
  return DeleteOneFile(opener, from.windows.Text());
}

/// Renames within a drive, behind the gates of what loses its name.
std::uint32_t Rename(const HostPath& source, const HostPath& target, ShareLock* source_lock, ShareLock* target_lock) {
  if (!ShareLock::EnterGates(source_lock, target_lock)) return kLookAgain;
  if (source_lock->held() && !IsStillThere(source)) return kLookAgain;
  if (target_lock->held() && !IsStillThere(target)) return kLookAgain;
  const std::uint32_t error = FromHost(::rename(source.path.c_str(), HostTarget(target).c_str()));
  if (error == 0 && target_lock->held()) target_lock->RemoveLockFile();
  return error;
}

std::uint32_t MoveResolved(const FileOpener& opener, const HostPath& source, const HostPath& target,
                           std::uint32_t flags) {
  ShareLock source_lock;
  ShareLock target_lock;
  if (target.exists && !IsSameFile(source.status, target.status)) {
    if (const auto error = JudgeTarget(opener, target, flags, &target_lock); error != 0) return error;
  }
  const std::uint32_t error = source.IsFolder() ? JudgeTree(opener, LinkTable::Read(*opener.machine()), source.path)
                                                : opener.TakeShare(source.status, kDeletes, &source_lock);
  if (error != 0) return error;
  const bool other_drive = source.windows.drive != target.windows.drive;
  if (other_drive && (flags & kMoveFileCopyAllowed) == 0) return kErrorNotSameDevice;
  const std::uint32_t renamed = other_drive ? kErrorNotSameDevice : Rename(source, target, &source_lock, &target_lock);
  if (renamed != kErrorNotSameDevice) return renamed;
  source_lock = ShareLock();
  target_lock = ShareLock();
  return MoveByCopy(opener, source, target);
}

}  // namespace

std::uint32_t MakeFolder(const FileOpener& opener, std::u16string_view path) {
  HostPath place;
  const std::uint32_t error = opener.ResolvePath(path, &place);
  const WindowsPath& windows = place.windows;
  if (error != platform::kErrorInvalidName && !windows.verbatim && windows.Text().size() > kLongestNewFolder) {
    return kErrorNameTooLong;
  }
  if (error != 0) return error;
  if (windows.names.empty()) return kErrorAccessDenied;
  if (place.exists) return kErrorAlreadyExists;
  return FromHost(::mkdir(place.path.c_str(), 0777));
}

std::uint32_t RemoveFolder(const FileOpener& opener, std::u16string_view path) {
  HostPath place;
  if (const auto error = opener.ResolvePath(path, &place); error != 0) return error;
  if (!place.exists) return kErrorFileNotFound;
  if (!place.IsFolder()) return platform::kErrorDirectory;
  if (place.windows.names.empty()) return kErrorAccessDenied;
  if (::rmdir(place.path.c_str()) == 0) return kErrorSuccess;
  return errno == EEXIST ? platform::kErrorDirNotEmpty : Win32Error(errno);
}

std::uint32_t DeleteOneFile(const FileOpener& opener, std::u16string_view path) {
  return LookUntilItHolds([&]() -> std::uint32_t {
    HostPath place;
    if (const auto error = opener.ResolvePath(path, &place); error != 0) return error;
    if (!place.exists) return kErrorFileNotFound;
    if (place.IsFolder() || place.IsLinkOut() || IsReadOnly(place.status)) return kErrorAccessDenied;
    ShareLock lock;
    if (const auto error = TakeForDeletion(opener, place, &lock); error != 0) return error;
    if (!lock.EnterGate() || !IsStillThere(place)) return kLookAgain;
    const std::uint32_t error = FromHost(::unlink(place.path.c_str()));
    if (error == 0) lock.RemoveLockFile();
    return error;
  });
}

std::uint32_t CopyOneFile(const FileOpener& opener, std::u16string_view from, std::u16string_view to,
                          bool fail_if_exists) {
  std::shared_ptr<FileObject> source;
  std::shared_ptr<FileObject> target;
  bool existed = false;
  const FileOpener::Request read{
      .access = platform::kGenericRead, .share_mode = kShareAll, .disposition = platform::kOpenExisting};
  const FileOpener::Request write{.access = platform::kGenericWrite,
                                  .disposition = fail_if_exists ? platform::kCreateNew : platform::kCreateAlways};
  if (const auto error = opener.Open(from, read, &source, &existed); error != 0) return error;
  if (const auto error = opener.Open(to, write, &target, &existed); error != 0) return error;
  std::uint32_t error = CopyBytes(source.get(), target.get());
  if (error == 0) error = CopyMetadata(*source, *target);
  if (error == 0) return kErrorSuccess;
  target.reset();
  DeleteOneFile(opener, to);  // half a copy is none
  return error;
}

std::uint32_t Move(const FileOpener& opener, std::u16string_view from, std::u16string_view to, std::uint32_t flags) {
  return LookUntilItHolds([&]() -> std::uint32_t {
    HostPath source;
    HostPath target;
    if (const auto error = opener.ResolvePath(from, &source); error != 0) return error;
    if (!source.exists) return kErrorFileNotFound;
    if (const auto error = opener.ResolvePath(to, &target); error != 0) return error;
    if (source.windows.names.empty() || source.IsLinkOut()) return kErrorAccessDenied;
    return MoveResolved(opener, source, target, flags);
  });
}

std::uint32_t DeleteAtNextBoot(const FileOpener& opener, std::u16string_view path) {
  HostPath place;
  if (const auto error = opener.ResolvePath(path, &place); error != 0) return error;
  if (!place.exists) return kErrorFileNotFound;
  const auto added = opener.machine()->AddPendingDelete(formats::Utf16ToUtf8(place.windows.Text()));
  return added.ok() ? kErrorSuccess : platform::kErrorGenFailure;
}

std::uint32_t MakeFolders(const FileOpener& opener, std::u16string_view path) {
  WindowsPath whole;
  if (const auto error = ParseWindowsPath(path, &whole); error != 0) return error;
  WindowsPath part;
  part.drive = whole.drive;
  HostPath place;
  for (const std::u16string& name : whole.names) {
    part.names.push_back(name);
    if (const auto error = opener.ResolvePath(part.Text(), &place); error != 0) return error;
    if (place.IsFolder()) continue;
    if (place.exists) return part.names.size() == whole.names.size() ? kErrorAlreadyExists : kErrorPathNotFound;
    // Another process may have made it since.
    const std::uint32_t error = MakeFolder(opener, part.Text());
    if (error != 0 && error != kErrorAlreadyExists) return error;
  }
  return opener.ResolvePath(part.Text(), &place);
}

std::uint32_t RemoveTree(const FileOpener& opener, std::u16string_view path) {
  HostPath place;
  const std::uint32_t error = opener.ResolvePath(path, &place);
  if (error == kErrorPathNotFound || (error == 0 && !place.exists)) return kErrorSuccess;
  if (error != 0) return error;
  if (!place.IsFolder()) return platform::kErrorDirectory;
  for (const std::u16string& name : ListNames(place.path, LinkTable::Read(*opener.machine()))) {
    const std::u16string child = Below(path, name);
    HostPath inside;
    if (const auto child_error = opener.ResolvePath(child, &inside); child_error != 0) return child_error;
    const std::uint32_t removed = inside.IsFolder() ? RemoveTree(opener, child) : DeleteOneFile(opener, child);
    if (removed != 0 && removed != kErrorFileNotFound) return removed;
  }
  return RemoveFolder(opener, path);
}

}  // namespace varnel::embedded

#include "tests/support/fake_files.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "formats/text_encoding.h"
#include "tests/support/byte_stream.h"
#include "tests/support/fake_paths.h"
#include "tests/support/last_error.h"
#include "tests/support/names.h"

namespace varnel::testing {

using platform::FILETIME;
using platform::HANDLE;

struct FakeFiles::Entry {
  std::u16string path;  // as first written, normalized
  std::uint32_t attributes = platform::kFileAttributeNormal;
  std::string bytes;
  std::uint64_t creation = 0;
  std::uint64_t last_access = 0;
  std::uint64_t last_write = 0;
  bool in_use = false;
  std::vector<const Handle*> handles;
  std::shared_ptr<StreamCopy> copy;  // of the last stream

  bool is_folder() const { return (attributes & platform::kFileAttributeDirectory) != 0; }
};

struct FakeFiles::Handle : FakeObject {
  ~Handle() override {
    const std::lock_guard lock(*mutex);
    std::erase(entry->handles, this);
  }
  std::mutex* mutex = nullptr;
  std::shared_ptr<Entry> entry;
  std::uint32_t access = 0;
  std::uint32_t share_mode = 0;
  std::uint64_t position = 0;
};

struct FakeFiles::Find : FakeObject {
  std::vector<platform::WIN32_FIND_DATAW> entries;
  std::size_t next = 0;
};

namespace {

constexpr std::uint32_t kDeleteAccess = 0x10000;
constexpr std::uint32_t kNegativeSeek = 131;
constexpr std::uint32_t kNameTooLong = 206;
constexpr std::size_t kLongestNewFolder = 247;  // characters

bool Writes(std::uint32_t access) {
  return (access & (platform::kGenericWrite | platform::kGenericAll)) != 0;
}

bool Reads(std::uint32_t access) {
  return (access & (platform::kGenericRead | platform::kGenericAll)) != 0;
}

bool Deletes(std::uint32_t access) {
  return (access & (kDeleteAccess | platform::kGenericAll)) != 0;
}

/// Whether an access is allowed beside a handle that shares so much.
bool Shares(std::uint32_t access, std::uint32_t share_mode) {
  if (Reads(access) && (share_mode & platform::kFileShareRead) == 0) return false;
  if (Writes(access) && (share_mode & platform::kFileShareWrite) == 0) return false;
  return !Deletes(access) || (share_mode & platform::kFileShareDelete) != 0;
}

/// An open that only looks at attributes denies nothing and is denied nothing.
bool OnlyLooks(std::uint32_t access) {
  return !Reads(access) && !Writes(access) && !Deletes(access);
}

void PutTime(FILETIME* out, std::uint64_t time) {
  if (out != nullptr) *out = platform::ToFileTime(time);
}

}  // namespace

FakeFiles::FakeFiles(FakeHandles* handles, std::function<std::uint64_t()> now)
    : handles_(handles), now_(std::move(now)) {
  AddFolder(u"C:\\Windows\\System32\\LogFiles\\WMI");
  AddFolder(u"C:\\Windows\\Temp");
  AddFolder(u"C:\\ProgramData");
}

FakeFiles::~FakeFiles() = default;

std::shared_ptr<FakeFiles::Entry> FakeFiles::FindEntry(std::u16string_view path) const {
  const auto found = entries_.find(PathKey(path));
  if (found == entries_.end()) return nullptr;
  if (found->second->copy != nullptr) found->second->copy->BringBack(&found->second->bytes);
  return found->second;
}

std::shared_ptr<FakeFiles::Entry> FakeFiles::Make(std::u16string_view path, std::uint32_t attributes) {
  auto entry = std::make_shared<Entry>();
  entry->path = NormalizedPath(path);
  entry->attributes = attributes;
  entry->creation = entry->last_access = entry->last_write = now_();
  entries_[PathKey(path)] = entry;
  return entry;
}

std::uint32_t FakeFiles::CheckParent(std::u16string_view path) const {
  const auto parent = FindEntry(FolderOfPath(NormalizedPath(path)));
  return parent != nullptr && parent->is_folder() ? platform::kErrorSuccess : platform::kErrorPathNotFound;
}

bool FakeFiles::MayDelete(const Entry& entry) const {
  return !entry.in_use && std::all_of(entry.handles.begin(), entry.handles.end(), [](const Handle* handle) {
    return OnlyLooks(handle->access) || (handle->share_mode & platform::kFileShareDelete) != 0;
  });
}

void FakeFiles::Erase(std::u16string_view path) {
  entries_.erase(PathKey(path));
}

void FakeFiles::Relocate(const std::u16string& from, const std::u16string& to) {
  const std::u16string old_key = PathKey(from);
  std::vector<std::shared_ptr<Entry>> moved;
  for (const auto& [key, entry] : entries_) {
    if (key == old_key || key.starts_with(old_key + u'\\')) moved.push_back(entry);
  }
  for (const auto& entry : moved) entries_.erase(PathKey(entry->path));
  for (const auto& entry : moved) {
    entry->path = to + entry->path.substr(from.size());
    entries_[PathKey(entry->path)] = entry;
  }
}

void FakeFiles::AddFolder(std::u16string_view path) {
  const std::lock_guard lock(mutex_);
  const std::u16string normalized = NormalizedPath(path);
  for (std::size_t end = normalized.find(u'\\'); true; end = normalized.find(u'\\', end + 1)) {
    const std::u16string_view part = std::u16string_view(normalized).substr(0, end);
    if (FindEntry(part) == nullptr) Make(part, platform::kFileAttributeDirectory);
    if (end == std::u16string::npos) return;
  }
}

void FakeFiles::AddFile(std::u16string_view path, std::string_view bytes) {
  AddFolder(FolderOfPath(NormalizedPath(path)));
  const std::lock_guard lock(mutex_);
  Make(path, platform::kFileAttributeArchive)->bytes = bytes;
}

void FakeFiles::Remove(std::u16string_view path) {
  const std::lock_guard lock(mutex_);
  const std::u16string below = PathKey(path) + u'\\';
  Erase(path);
  std::erase_if(entries_, [&](const auto& entry) { return entry.first.starts_with(below); });
}

bool FakeFiles::Exists(std::u16string_view path) const {
  const std::lock_guard lock(mutex_);
  return FindEntry(path) != nullptr;
}

bool FakeFiles::IsFolder(std::u16string_view path) const {
  const std::lock_guard lock(mutex_);
  const auto entry = FindEntry(path);
  return entry != nullptr && entry->is_folder();
}

std::string FakeFiles::Contents(std::u16string_view path) const {
  const std::lock_guard lock(mutex_);
  const auto entry = FindEntry(path);
  return entry == nullptr ? std::string() : entry->bytes;
}

std::vector<std::u16string> FakeFiles::List() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::u16string> paths;
  for (const auto& [key, entry] : entries_) {
    if (!entry->is_folder()) paths.push_back(entry->path);
  }
  return paths;
}

std::vector<std::u16string> FakeFiles::List(std::u16string_view folder) const {
  std::vector<std::u16string> paths = List();
  std::erase_if(paths, [&](const std::u16string& path) { return Folded(FolderOfPath(path)) != PathKey(folder); });
  return paths;
}

void FakeFiles::SetInUse(std::u16string_view path, bool in_use) {
  const std::lock_guard lock(mutex_);
  if (const auto entry = FindEntry(path)) entry->in_use = in_use;
}

void FakeFiles::SetTimes(std::u16string_view path, std::uint64_t creation, std::uint64_t last_write) {
  const std::lock_guard lock(mutex_);
  if (const auto entry = FindEntry(path)) {
    entry->creation = creation;
    entry->last_write = last_write;
  }
}

std::vector<std::u16string> FakeFiles::PendingDeletes() const {
  const std::lock_guard lock(mutex_);
  return pending_deletes_;
}

std::size_t FakeFiles::open_files() const {
  const std::lock_guard lock(mutex_);
  std::size_t count = 0;
  for (const auto& [key, entry] : entries_) count += entry->handles.size();
  return count;
}

HANDLE FakeFiles::CreateFileW(const char16_t* path, std::uint32_t access, std::uint32_t share_mode,
                              std::uint32_t disposition, std::uint32_t) {
  std::unique_lock lock(mutex_);
  const auto fail = [](std::uint32_t error) {
    FailWith(error);
    return platform::kInvalidHandleValue;
  };
  if (disposition < platform::kCreateNew || disposition > platform::kTruncateExisting) {
    return fail(platform::kErrorInvalidParameter);
  }
  auto entry = FindEntry(path);
  const bool present = entry != nullptr;
  if (!present) {
    if (HasForbiddenCharacter(path)) return fail(platform::kErrorInvalidName);
    if (const std::uint32_t error = CheckParent(path); error != 0) return fail(error);
    if (disposition == platform::kOpenExisting || disposition == platform::kTruncateExisting) {
      return fail(platform::kErrorFileNotFound);
    }
    entry = Make(path, platform::kFileAttributeArchive);
  } else {
    if (entry->is_folder()) return fail(platform::kErrorAccessDenied);
    if (disposition == platform::kCreateNew) return fail(platform::kErrorFileExists);
    const bool empties = disposition == platform::kCreateAlways || disposition == platform::kTruncateExisting;
    const std::uint32_t wanted = access | (empties ? platform::kGenericWrite : 0);
    const bool read_only = (entry->attributes & platform::kFileAttributeReadonly) != 0;
    if (read_only && Writes(wanted)) return fail(platform::kErrorAccessDenied);
    if (entry->in_use && Writes(wanted)) return fail(platform::kErrorSharingViolation);
    for (const Handle* other : entry->handles) {
      if (OnlyLooks(wanted) || OnlyLooks(other->access)) continue;
      if (!Shares(wanted, other->share_mode) || !Shares(other->access, share_mode)) {
        return fail(platform::kErrorSharingViolation);
      }
    }
    if (empties) entry->bytes.clear();
  }
  auto handle = std::make_shared<Handle>();
  handle->mutex = &mutex_;
  handle->entry = entry;
  handle->access = access;
  handle->share_mode = share_mode;
  entry->handles.push_back(handle.get());
  const bool tells = disposition == platform::kOpenAlways || disposition == platform::kCreateAlways;
  FailWith(tells && present ? platform::kErrorAlreadyExists : platform::kErrorSuccess);
  lock.unlock();
  return handles_->Add(std::move(handle));
}

bool FakeFiles::ReadFile(HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read,
                         platform::OVERLAPPED* overlapped) {
  const auto handle = handles_->Get<Handle>(file);
  if (handle == nullptr) return FailWith(platform::kErrorInvalidHandle);
  const std::lock_guard lock(mutex_);
  if (!Reads(handle->access)) return FailWith(platform::kErrorAccessDenied);
  std::uint64_t at = handle->position;
  if (overlapped != nullptr) at = (std::uint64_t{overlapped->OffsetHigh} << 32) | overlapped->Offset;
  const std::string& bytes = handle->entry->bytes;
  const std::uint64_t left = at < bytes.size() ? bytes.size() - at : 0;
  const auto taken = static_cast<std::uint32_t>(std::min<std::uint64_t>(left, size));
  std::memcpy(buffer, bytes.data() + (taken == 0 ? 0 : at), taken);
  handle->position = at + taken;
  if (read != nullptr) *read = taken;
  if (overlapped != nullptr && taken == 0 && size != 0) return FailWith(platform::kErrorHandleEof);
  return true;
}

bool FakeFiles::WriteFile(HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* written,
                          platform::OVERLAPPED* overlapped) {
  const auto handle = handles_->Get<Handle>(file);
  if (handle == nullptr) return FailWith(platform::kErrorInvalidHandle);
  const std::uint64_t now = now_();
  const std::lock_guard lock(mutex_);
  if (!Writes(handle->access)) return FailWith(platform::kErrorAccessDenied);
  std::string& bytes = handle->entry->bytes;
  std::uint64_t at = handle->position;
  if (overlapped != nullptr) {
    at = (std::uint64_t{overlapped->OffsetHigh} << 32) | overlapped->Offset;
    if (at == ~std::uint64_t{0}) at = bytes.size();
  }
  if (bytes.size() < at + size) bytes.resize(at + size);
  std::memcpy(bytes.data() + at, buffer, size);
  handle->position = at + size;
  handle->entry->last_write = now;
  if (written != nullptr) *written = size;
  return true;
}

std::uint32_t FakeFiles::GetFileSize(HANDLE file, std::uint32_t* high) {
  std::uint64_t size = 0;
  if (!GetFileSizeEx(file, &size)) return platform::kInvalidFileSize;
  if (high != nullptr) *high = static_cast<std::uint32_t>(size >> 32);
  return static_cast<std::uint32_t>(size);
}

bool FakeFiles::GetFileSizeEx(HANDLE file, std::uint64_t* size) {
  const auto handle = handles_->Get<Handle>(file);
  if (handle == nullptr) return FailWith(platform::kErrorInvalidHandle);
  const std::lock_guard lock(mutex_);
  *size = handle->entry->bytes.size();
  return true;
}

std::uint32_t FakeFiles::SetFilePointer(HANDLE file, std::int32_t distance, std::int32_t* distance_high,
                                        std::uint32_t method) {
  std::int64_t moved = distance;
  if (distance_high != nullptr) {
    moved = (std::int64_t{*distance_high} << 32) | static_cast<std::uint32_t>(distance);
  }
  std::int64_t position = 0;
  if (!SetFilePointerEx(file, moved, &position, method)) return ~0u;
  if (distance_high != nullptr) *distance_high = static_cast<std::int32_t>(position >> 32);
  return static_cast<std::uint32_t>(position);
}

bool FakeFiles::SetFilePointerEx(HANDLE file, std::int64_t distance, std::int64_t* position, std::uint32_t method) {
  const auto handle = handles_->Get<Handle>(file);
  if (handle == nullptr) return FailWith(platform::kErrorInvalidHandle);
  const std::lock_guard lock(mutex_);
  const std::uint64_t base = method == platform::kFileBegin     ? 0
                             : method == platform::kFileCurrent ? handle->position
                                                                : handle->entry->bytes.size();
  if (distance < 0 && static_cast<std::uint64_t>(-distance) > base) return FailWith(kNegativeSeek);
  handle->position = base + static_cast<std::uint64_t>(distance);
  if (position != nullptr) *position = static_cast<std::int64_t>(handle->position);
  return true;
}

bool FakeFiles::SetEndOfFile(HANDLE file) {
  const auto handle = handles_->Get<Handle>(file);
  if (handle == nullptr) return FailWith(platform::kErrorInvalidHandle);
  if (!Writes(handle->access)) return FailWith(platform::kErrorAccessDenied);
  const std::lock_guard lock(mutex_);
  handle->entry->bytes.resize(handle->position);
  return true;
}

bool FakeFiles::FlushFileBuffers(HANDLE file) {
  return handles_->Get<Handle>(file) != nullptr || FailWith(platform::kErrorInvalidHandle);
}

bool FakeFiles::GetFileTime(HANDLE file, FILETIME* creation, FILETIME* last_access, FILETIME* last_write) {
  const auto handle = handles_->Get<Handle>(file);
  if (handle == nullptr) return FailWith(platform::kErrorInvalidHandle);
  const std::lock_guard lock(mutex_);
  PutTime(creation, handle->entry->creation);
  PutTime(last_access, handle->entry->last_access);
  PutTime(last_write, handle->entry->last_write);
  return true;
}

bool FakeFiles::SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* last_access,
                            const FILETIME* last_write) {
  const auto handle = handles_->Get<Handle>(file);
  if (handle == nullptr) return FailWith(platform::kErrorInvalidHandle);
  if (!Writes(handle->access)) return FailWith(platform::kErrorAccessDenied);
  const std::lock_guard lock(mutex_);
  if (creation != nullptr) handle->entry->creation = platform::ToUint64(*creation);
  if (last_access != nullptr) handle->entry->last_access = platform::ToUint64(*last_access);
  if (last_write != nullptr) handle->entry->last_write = platform::ToUint64(*last_write);
  return true;
}

std::uint32_t FakeFiles::GetFileAttributesW(const char16_t* path) {
  const std::lock_guard lock(mutex_);
  const auto entry = FindEntry(path);
  if (entry != nullptr) return entry->attributes;
  FailWith(HasForbiddenCharacter(path) ? platform::kErrorInvalidName
           : CheckParent(path) == 0    ? platform::kErrorFileNotFound
                                       : platform::kErrorPathNotFound);
  return platform::kInvalidFileAttributes;
}

bool FakeFiles::GetFileAttributesExW(const char16_t* path, platform::WIN32_FILE_ATTRIBUTE_DATA* data) {
  if (GetFileAttributesW(path) == platform::kInvalidFileAttributes) return false;
  const std::lock_guard lock(mutex_);
  const auto entry = FindEntry(path);
  if (entry == nullptr) return FailWith(platform::kErrorFileNotFound);
  data->dwFileAttributes = entry->attributes;
  PutTime(&data->ftCreationTime, entry->creation);
  PutTime(&data->ftLastAccessTime, entry->last_access);
  PutTime(&data->ftLastWriteTime, entry->last_write);
  data->nFileSizeHigh = static_cast<std::uint32_t>(std::uint64_t{entry->bytes.size()} >> 32);
  data->nFileSizeLow = static_cast<std::uint32_t>(entry->bytes.size());
  return true;
}

bool FakeFiles::SetFileAttributesW(const char16_t* path, std::uint32_t attributes) {
  const std::lock_guard lock(mutex_);
  const auto entry = FindEntry(path);
  if (entry == nullptr) return FailWith(platform::kErrorFileNotFound);
  entry->attributes = attributes | (entry->attributes & platform::kFileAttributeDirectory);
  return true;
}

bool FakeFiles::CreateDirectoryW(const char16_t* path) {
  const std::lock_guard lock(mutex_);
  if (FindEntry(path) != nullptr) return FailWith(platform::kErrorAlreadyExists);
  if (NormalizedPath(path).size() > kLongestNewFolder) return FailWith(kNameTooLong);
  if (const std::uint32_t error = CheckParent(path); error != 0) return FailWith(error);
  Make(path, platform::kFileAttributeDirectory);
  return true;
}

bool FakeFiles::RemoveDirectoryW(const char16_t* path) {
  const std::lock_guard lock(mutex_);
  const auto entry = FindEntry(path);
  if (entry == nullptr) return FailWith(platform::kErrorFileNotFound);
  if (!entry->is_folder()) return FailWith(platform::kErrorDirectory);
  const std::u16string below = PathKey(path) + u'\\';
  const auto next = entries_.lower_bound(below);
  if (next != entries_.end() && next->first.starts_with(below)) return FailWith(platform::kErrorDirNotEmpty);
  Erase(path);
  return true;
}

bool FakeFiles::DeleteFileW(const char16_t* path) {
  const std::lock_guard lock(mutex_);
  const auto entry = FindEntry(path);
  if (entry == nullptr) {
    return FailWith(CheckParent(path) == 0 ? platform::kErrorFileNotFound : platform::kErrorPathNotFound);
  }
  if (entry->is_folder() || (entry->attributes & platform::kFileAttributeReadonly) != 0) {
    return FailWith(platform::kErrorAccessDenied);
  }
  if (!MayDelete(*entry)) return FailWith(platform::kErrorSharingViolation);
  Erase(path);
  return true;
}

bool FakeFiles::DeleteFileA(const char* path) {
  return DeleteFileW(formats::Utf8ToUtf16(path).c_str());
}

bool FakeFiles::CopyFileW(const char16_t* from, const char16_t* to, bool fail_if_exists) {
  const std::lock_guard lock(mutex_);
  const auto source = FindEntry(from);
  if (source == nullptr) {
    return FailWith(CheckParent(from) == 0 ? platform::kErrorFileNotFound : platform::kErrorPathNotFound);
  }
  if (source->is_folder()) return FailWith(platform::kErrorAccessDenied);
  auto target = FindEntry(to);
  if (target != nullptr) {
    if (fail_if_exists) return FailWith(platform::kErrorFileExists);
    const std::uint32_t unwritable = platform::kFileAttributeDirectory | platform::kFileAttributeReadonly;
    if ((target->attributes & unwritable) != 0) return FailWith(platform::kErrorAccessDenied);
    if (target->in_use || !target->handles.empty()) return FailWith(platform::kErrorSharingViolation);
  } else {
    if (const std::uint32_t error = CheckParent(to); error != 0) return FailWith(error);
    target = Make(to, source->attributes);
  }
  target->bytes = source->bytes;
  target->last_write = source->last_write;
  return true;
}

bool FakeFiles::MoveFileExW(const char16_t* from, const char16_t* to, std::uint32_t flags) {
  const std::lock_guard lock(mutex_);
  const auto source = FindEntry(from);
  if (source == nullptr) return FailWith(platform::kErrorFileNotFound);
  if (to == nullptr) {
    if ((flags & platform::kMoveFileDelayUntilReboot) == 0) return FailWith(platform::kErrorInvalidParameter);
    pending_deletes_.push_back(source->path);
    return true;
  }
  const auto target = FindEntry(to);
  if (target != nullptr && (flags & platform::kMoveFileReplaceExisting) == 0) {
    return FailWith(platform::kErrorAlreadyExists);
  }
  if (const std::uint32_t error = CheckParent(to); error != 0) return FailWith(error);
  if (!MayDelete(*source)) return FailWith(platform::kErrorSharingViolation);
  if (target != nullptr && (target->in_use || !target->handles.empty())) return FailWith(platform::kErrorAccessDenied);
  Relocate(NormalizedPath(from), NormalizedPath(to));
  return true;
}

bool FakeFiles::PathFileExistsW(const char16_t* path) {
  return GetFileAttributesW(path) != platform::kInvalidFileAttributes;
}

bool FakeFiles::PathFileExistsA(const char* path) {
  return PathFileExistsW(formats::Utf8ToUtf16(path).c_str());
}

std::FILE* FakeFiles::OpenNarrow(const char* path, const char* mode) {
  const std::u16string wide = formats::Utf8ToUtf16(path);
  const bool writes = mode[0] == 'w' || mode[0] == 'a';
  const std::lock_guard lock(mutex_);
  auto entry = FindEntry(wide);
  if (entry == nullptr) {
    if (!writes || CheckParent(wide) != 0) {
      FailWith(platform::kErrorPathNotFound);
      return nullptr;
    }
    entry = Make(wide, platform::kFileAttributeArchive);
  }
  if (mode[0] == 'w') entry->bytes.clear();
  return OpenByteStream({entry, &entry->bytes, &mutex_}, mode, &entry->copy);
}

HANDLE FakeFiles::FindFirstFileW(const char16_t* pattern, platform::WIN32_FIND_DATAW* data) {
  auto find = std::make_shared<Find>();
  {
    const std::lock_guard lock(mutex_);
    const std::u16string normalized = NormalizedPath(pattern, true);
    const std::u16string folder = Folded(FolderOfPath(normalized));
    const std::u16string names = Folded(NameOfPath(normalized));
    const auto add = [&](const Entry& entry, std::u16string_view name) {
      if (!MatchesPattern(names, Folded(name))) return;
      platform::WIN32_FIND_DATAW found{};
      found.dwFileAttributes = entry.attributes;
      found.ftCreationTime = platform::ToFileTime(entry.creation);
      found.ftLastAccessTime = found.ftLastWriteTime = platform::ToFileTime(entry.last_write);
      found.nFileSizeLow = static_cast<std::uint32_t>(entry.bytes.size());
      std::copy_n(name.begin(), std::min<std::size_t>(name.size(), 259), found.cFileName);
      find->entries.push_back(found);
    };
    const auto of_folder = FindEntry(folder);
    if (of_folder == nullptr || !of_folder->is_folder()) {
      FailWith(platform::kErrorPathNotFound);
      return platform::kInvalidHandleValue;
    }
    add(*of_folder, u".");
    add(*of_folder, u"..");
    for (const auto& [key, entry] : entries_) {
      if (FolderOfPath(key) == folder && entry != of_folder) add(*entry, NameOfPath(entry->path));
    }
  }
  if (find->entries.empty()) {
    FailWith(platform::kErrorFileNotFound);
    return platform::kInvalidHandleValue;
  }
  *data = find->entries[find->next++];
  return handles_->Add(std::move(find));
}

bool FakeFiles::FindNextFileW(HANDLE handle, platform::WIN32_FIND_DATAW* data) {
  const auto find = handles_->Get<Find>(handle);
  if (find == nullptr) return FailWith(platform::kErrorInvalidHandle);
  if (find->next >= find->entries.size()) return FailWith(platform::kErrorNoMoreFiles);
  *data = find->entries[find->next++];
  return true;
}

bool FakeFiles::FindClose(HANDLE handle) {
  if (handles_->Get<Find>(handle) == nullptr) return FailWith(platform::kErrorInvalidHandle);
  return handles_->Close(handle);
}

std::uint32_t FakeFiles::GetTempPathW(std::uint32_t capacity, char16_t* buffer) {
  const auto length = static_cast<std::uint32_t>(temp_path.size());
  if (length >= capacity) return length + 1;
  std::copy(temp_path.begin(), temp_path.end(), buffer);
  buffer[length] = 0;
  return length;
}

std::uint32_t FakeFiles::CreateFolders(const char16_t* path) {
  const std::u16string whole = NormalizedPath(path);
  for (std::u16string part = whole; !part.empty(); part = FolderOfPath(part)) {
    if (Exists(part) && !IsFolder(part)) return platform::kErrorPathNotFound;
  }
  AddFolder(whole);
  return platform::kErrorSuccess;
}

std::uint32_t FakeFiles::RemoveFolders(const char16_t* path) {
  {
    const std::lock_guard lock(mutex_);
    const std::u16string below = PathKey(path) + u'\\';
    for (const auto& [key, entry] : entries_) {
      if (key.starts_with(below) && !MayDelete(*entry)) return platform::kErrorSharingViolation;
    }
  }
  Remove(path);
  return platform::kErrorSuccess;
}

}  // namespace varnel::testing

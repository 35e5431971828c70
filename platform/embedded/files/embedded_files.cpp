#include "platform/embedded/files/embedded_files.h"

#include "formats/text_encoding.h"
#include "platform/embedded/core/wide_buffer.h"
#include "platform/embedded/files/file_metadata.h"
#include "platform/embedded/files/file_operations.h"
#include "platform/embedded/files/find_object.h"
#include "platform/embedded/files/narrow_stream.h"

namespace varnel::embedded {
namespace {

using platform::FILETIME;
using platform::HANDLE;
using Kind = Object::Kind;

bool Answer(std::uint32_t error) {
  return error == platform::kErrorSuccess || Fail(error);
}

/// Null, with the last error set, for what is no open file.
std::shared_ptr<FileObject> FileOf(HANDLE handle) {
  auto file = Handles().Find<FileObject>(handle, Kind::kFile);
  if (!file) SetLastError(platform::kErrorInvalidHandle);
  return file;
}

std::u16string Wide(const char* text) {
  return text == nullptr ? std::u16string() : formats::Utf8ToUtf16(text);
}

void Store(std::uint64_t value, FILETIME* time) {
  if (time != nullptr) *time = platform::ToFileTime(value);
}

}  // namespace

HANDLE EmbeddedFiles::CreateFileW(const char16_t* path, std::uint32_t access, std::uint32_t share_mode,
                                  std::uint32_t disposition, std::uint32_t flags_and_attributes) {
  const FileOpener::Request request{access, share_mode, disposition, flags_and_attributes};
  std::shared_ptr<FileObject> file;
  bool existed = false;
  if (!Answer(opener_.Open(ViewOf(path), request, &file, &existed))) return platform::kInvalidHandleValue;
  const HANDLE handle = Handles().Insert(std::move(file));
  if (handle == nullptr) return platform::kInvalidHandleValue;
  const bool tells = disposition == platform::kCreateAlways || disposition == platform::kOpenAlways;
  SetLastError(tells && existed ? platform::kErrorAlreadyExists : platform::kErrorSuccess);
  return handle;
}

bool EmbeddedFiles::ReadFile(HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read,
                             platform::OVERLAPPED* overlapped) {
  if (read != nullptr) *read = 0;
  const auto object = FileOf(file);
  return object && Answer(object->Read(buffer, size, read, overlapped));
}

bool EmbeddedFiles::WriteFile(HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* written,
                              platform::OVERLAPPED* overlapped) {
  if (written != nullptr) *written = 0;
  const auto object = FileOf(file);
  return object && Answer(object->Write(buffer, size, written, overlapped));
}

std::uint32_t EmbeddedFiles::GetFileSize(HANDLE file, std::uint32_t* high) {
  std::uint64_t size = 0;
  if (!GetFileSizeEx(file, &size)) return platform::kInvalidFileSize;
  if (high != nullptr) *high = static_cast<std::uint32_t>(size >> 32);
  const auto low = static_cast<std::uint32_t>(size);
  if (low == platform::kInvalidFileSize) SetLastError(platform::kErrorSuccess);  // tells it from a failure
  return low;
}

bool EmbeddedFiles::GetFileSizeEx(HANDLE file, std::uint64_t* size) {
  const auto object = FileOf(file);
  return object && Answer(object->Size(size));
}

std::uint32_t EmbeddedFiles::SetFilePointer(HANDLE file, std::int32_t distance, std::int32_t* distance_high,
                                            std::uint32_t method) {
  const auto object = FileOf(file);
  if (!object) return platform::kInvalidFileSize;
  const std::int64_t whole =
      distance_high == nullptr
          ? distance
          : static_cast<std::int64_t>((std::uint64_t{static_cast<std::uint32_t>(*distance_high)} << 32) |
                                      static_cast<std::uint32_t>(distance));
  std::uint64_t position = 0;
  if (!Answer(object->Seek(whole, method, &position))) return platform::kInvalidFileSize;
  if (distance_high != nullptr) *distance_high = static_cast<std::int32_t>(position >> 32);
  const auto low = static_cast<std::uint32_t>(position);
  if (low == platform::kInvalidFileSize) SetLastError(platform::kErrorSuccess);
  return low;
}

bool EmbeddedFiles::SetFilePointerEx(HANDLE file, std::int64_t distance, std::int64_t* position, std::uint32_t method) {
  const auto object = FileOf(file);
  std::uint64_t reached = 0;
  if (!object || !Answer(object->Seek(distance, method, &reached))) return false;
  if (position != nullptr) *position = static_cast<std::int64_t>(reached);
  return true;
}

bool EmbeddedFiles::SetEndOfFile(HANDLE file) {
  const auto object = FileOf(file);
  return object && Answer(object->Truncate());
}

bool EmbeddedFiles::FlushFileBuffers(HANDLE file) {
  const auto object = FileOf(file);
  return object && Answer(object->Flush());
}

bool EmbeddedFiles::GetFileTime(HANDLE file, FILETIME* creation, FILETIME* last_access, FILETIME* last_write) {
  const auto object = FileOf(file);
  if (!object) return false;
  const FileTimes times = object->Times();
  Store(times.creation, creation);
  Store(times.last_access, last_access);
  Store(times.last_write, last_write);
  return true;
}

bool EmbeddedFiles::SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* last_access,
                                const FILETIME* last_write) {
  const auto object = FileOf(file);
  if (!object) return false;
  if (!object->rights().write_attributes) return Fail(platform::kErrorAccessDenied);
  return Answer(SetTimes(object->HostLink(), creation, last_access, last_write));
}

std::uint32_t EmbeddedFiles::LookAt(const char16_t* path, HostPath* place) const {
  if (const std::uint32_t error = opener_.ResolvePath(ViewOf(path), place); error != 0) return error;
  if (!place->exists) return platform::kErrorFileNotFound;
  const bool named_as_folder = !place->IsFolder() && place->windows.ends_in_separator;
  return named_as_folder ? platform::kErrorInvalidName : platform::kErrorSuccess;
}

std::uint32_t EmbeddedFiles::GetFileAttributesW(const char16_t* path) {
  HostPath place;
  if (!Answer(LookAt(path, &place))) return platform::kInvalidFileAttributes;
  return place.IsLinkOut() ? kLinkAttributes : AttributesOf(place.path, place.status);
}

bool EmbeddedFiles::GetFileAttributesExW(const char16_t* path, platform::WIN32_FILE_ATTRIBUTE_DATA* data) {
  HostPath place;
  if (!Answer(LookAt(path, &place))) return false;
  FileTimes times = TimesOf(place.path);
  if (place.IsLinkOut()) times.creation = *place.link_creation;
  const std::uint64_t size = place.IsFolder() ? 0 : static_cast<std::uint64_t>(place.status.st_size);
  data->dwFileAttributes = place.IsLinkOut() ? kLinkAttributes : AttributesOf(place.path, place.status);
  Store(times.creation, &data->ftCreationTime);
  Store(times.last_access, &data->ftLastAccessTime);
  Store(times.last_write, &data->ftLastWriteTime);
  data->nFileSizeHigh = static_cast<std::uint32_t>(size >> 32);
  data->nFileSizeLow = static_cast<std::uint32_t>(size);
  return true;
}

bool EmbeddedFiles::SetFileAttributesW(const char16_t* path, std::uint32_t attributes) {
  HostPath place;
  if (!Answer(opener_.ResolvePath(ViewOf(path), &place))) return false;
  if (!place.exists) return Fail(platform::kErrorFileNotFound);
  if (place.IsLinkOut()) return Fail(platform::kErrorAccessDenied);
  return Answer(SetAttributes(place.path, place.status, attributes));
}

bool EmbeddedFiles::CreateDirectoryW(const char16_t* path) {
  return Answer(MakeFolder(opener_, ViewOf(path)));
}

bool EmbeddedFiles::RemoveDirectoryW(const char16_t* path) {
  return Answer(RemoveFolder(opener_, ViewOf(path)));
}

bool EmbeddedFiles::DeleteFileW(const char16_t* path) {
  return Answer(DeleteOneFile(opener_, ViewOf(path)));
}

bool EmbeddedFiles::DeleteFileA(const char* path) {
  return DeleteFileW(Wide(path).c_str());
}

bool EmbeddedFiles::CopyFileW(const char16_t* from, const char16_t* to, bool fail_if_exists) {
  return Answer(CopyOneFile(opener_, ViewOf(from), ViewOf(to), fail_if_exists));
}

bool EmbeddedFiles::MoveFileExW(const char16_t* from, const char16_t* to, std::uint32_t flags) {
  const bool later = (flags & platform::kMoveFileDelayUntilReboot) != 0;
  if (later && to == nullptr) return Answer(DeleteAtNextBoot(opener_, ViewOf(from)));
  if (later) return Fail(platform::kErrorNotSupported);
  if (to == nullptr) return Fail(platform::kErrorInvalidParameter);
  return Answer(Move(opener_, ViewOf(from), to, flags));
}

bool EmbeddedFiles::PathFileExistsW(const char16_t* path) {
  return GetFileAttributesW(path) != platform::kInvalidFileAttributes;
}

bool EmbeddedFiles::PathFileExistsA(const char* path) {
  return PathFileExistsW(Wide(path).c_str());
}

std::FILE* EmbeddedFiles::OpenNarrow(const char* path, const char* mode) {
  std::FILE* stream = nullptr;
  return Answer(OpenStream(opener_, Wide(path), mode, &stream)) ? stream : nullptr;
}

HANDLE EmbeddedFiles::FindFirstFileW(const char16_t* pattern, platform::WIN32_FIND_DATAW* data) {
  auto find = std::make_shared<FindObject>();
  if (!Answer(find->Begin(opener_, ViewOf(pattern)))) return platform::kInvalidHandleValue;
  if (!find->Next(data)) {
    SetLastError(platform::kErrorFileNotFound);
    return platform::kInvalidHandleValue;
  }
  const HANDLE handle = Handles().Insert(std::move(find));
  return handle == nullptr ? platform::kInvalidHandleValue : handle;
}

bool EmbeddedFiles::FindNextFileW(HANDLE find, platform::WIN32_FIND_DATAW* data) {
  const auto object = Handles().Find<FindObject>(find, Kind::kFind);
  if (!object) return Fail(platform::kErrorInvalidHandle);
  return object->Next(data) || Fail(platform::kErrorNoMoreFiles);
}

bool EmbeddedFiles::FindClose(HANDLE find) {
  if (!Handles().Find<FindObject>(find, Kind::kFind)) return Fail(platform::kErrorInvalidHandle);
  return Handles().Remove(find) != nullptr || Fail(platform::kErrorInvalidHandle);
}

std::uint32_t EmbeddedFiles::GetTempPathW(std::uint32_t capacity, char16_t* buffer) {
  return CopyOrTellSize(TempFolder(*environment_), buffer, capacity);
}

std::uint32_t EmbeddedFiles::CreateFolders(const char16_t* path) {
  return MakeFolders(opener_, ViewOf(path));
}

std::uint32_t EmbeddedFiles::RemoveFolders(const char16_t* path) {
  return RemoveTree(opener_, ViewOf(path));
}

}  // namespace varnel::embedded

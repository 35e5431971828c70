#include "platform/windows/win32_files.h"

#include "platform/windows/border.h"
// After the system's own header.
#include <shlwapi.h>

#include "platform/windows/folder_tree.h"

namespace varnel::windows {

platform::HANDLE Win32Files::CreateFileW(const char16_t* path, std::uint32_t access, std::uint32_t share_mode,
                                         std::uint32_t disposition, std::uint32_t flags_and_attributes) {
  return ::CreateFileW(Wide(path), access, share_mode, nullptr, disposition, flags_and_attributes, nullptr);
}

bool Win32Files::ReadFile(HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read, OVERLAPPED* overlapped) {
  return ::ReadFile(file, buffer, size, Across<DWORD>(read), Across<::OVERLAPPED>(overlapped)) != 0;
}

bool Win32Files::WriteFile(HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* written,
                           OVERLAPPED* overlapped) {
  return ::WriteFile(file, buffer, size, Across<DWORD>(written), Across<::OVERLAPPED>(overlapped)) != 0;
}

std::uint32_t Win32Files::GetFileSize(HANDLE file, std::uint32_t* high) {
  return ::GetFileSize(file, Across<DWORD>(high));
}

bool Win32Files::GetFileSizeEx(HANDLE file, std::uint64_t* size) {
  return ::GetFileSizeEx(file, Across<LARGE_INTEGER>(size)) != 0;
}

std::uint32_t Win32Files::SetFilePointer(HANDLE file, std::int32_t distance, std::int32_t* distance_high,
                                         std::uint32_t method) {
  return ::SetFilePointer(file, distance, Across<LONG>(distance_high), method);
}

bool Win32Files::SetFilePointerEx(HANDLE file, std::int64_t distance, std::int64_t* position, std::uint32_t method) {
  LARGE_INTEGER move{};
  move.QuadPart = distance;
  return ::SetFilePointerEx(file, move, Across<LARGE_INTEGER>(position), method) != 0;
}

bool Win32Files::SetEndOfFile(HANDLE file) {
  return ::SetEndOfFile(file) != 0;
}

bool Win32Files::FlushFileBuffers(HANDLE file) {
  return ::FlushFileBuffers(file) != 0;
}

bool Win32Files::GetFileTime(HANDLE file, FILETIME* creation, FILETIME* last_access, FILETIME* last_write) {
  return ::GetFileTime(file, Across<::FILETIME>(creation), Across<::FILETIME>(last_access),
                       Across<::FILETIME>(last_write)) != 0;
}

bool Win32Files::SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* last_access,
                             const FILETIME* last_write) {
  return ::SetFileTime(file, Across<::FILETIME>(creation), Across<::FILETIME>(last_access),
                       Across<::FILETIME>(last_write)) != 0;
}

std::uint32_t Win32Files::GetFileAttributesW(const char16_t* path) {
  return ::GetFileAttributesW(Wide(path));
}

bool Win32Files::GetFileAttributesExW(const char16_t* path, platform::WIN32_FILE_ATTRIBUTE_DATA* data) {
  return ::GetFileAttributesExW(Wide(path), GetFileExInfoStandard, data) != 0;
}

bool Win32Files::SetFileAttributesW(const char16_t* path, std::uint32_t attributes) {
  return ::SetFileAttributesW(Wide(path), attributes) != 0;
}

bool Win32Files::CreateDirectoryW(const char16_t* path) {
  return ::CreateDirectoryW(Wide(path), nullptr) != 0;
}

bool Win32Files::RemoveDirectoryW(const char16_t* path) {
  return ::RemoveDirectoryW(Wide(path)) != 0;
}

bool Win32Files::DeleteFileW(const char16_t* path) {
  return ::DeleteFileW(Wide(path)) != 0;
}

bool Win32Files::DeleteFileA(const char* path) {
  return ::DeleteFileA(path) != 0;
}

bool Win32Files::CopyFileW(const char16_t* from, const char16_t* to, bool fail_if_exists) {
  return ::CopyFileW(Wide(from), Wide(to), fail_if_exists ? TRUE : FALSE) != 0;
}

bool Win32Files::MoveFileExW(const char16_t* from, const char16_t* to, std::uint32_t flags) {
  return ::MoveFileExW(Wide(from), Wide(to), flags) != 0;
}

bool Win32Files::PathFileExistsW(const char16_t* path) {
  return ::PathFileExistsW(Wide(path)) != 0;
}

bool Win32Files::PathFileExistsA(const char* path) {
  return ::PathFileExistsA(path) != 0;
}

std::FILE* Win32Files::OpenNarrow(const char* path, const char* mode) {
  return std::fopen(path, mode);
}

platform::HANDLE Win32Files::FindFirstFileW(const char16_t* pattern, WIN32_FIND_DATAW* data) {
  return ::FindFirstFileW(Wide(pattern), Across<::WIN32_FIND_DATAW>(data));
}

bool Win32Files::FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data) {
  return ::FindNextFileW(find, Across<::WIN32_FIND_DATAW>(data)) != 0;
}

bool Win32Files::FindClose(HANDLE find) {
  return ::FindClose(find) != 0;
}

std::uint32_t Win32Files::GetTempPathW(std::uint32_t capacity, char16_t* buffer) {
  return ::GetTempPathW(capacity, Wide(buffer));
}

std::uint32_t Win32Files::CreateFolders(const char16_t* path) {
  return CreateFolderTree(path);
}

std::uint32_t Win32Files::RemoveFolders(const char16_t* path) {
  return RemoveFolderTree(path);
}

}  // namespace varnel::windows

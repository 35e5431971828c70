// The files port by the system's files.
#pragma once

#include "platform/files.h"

namespace varnel::windows {

class Win32Files final : public platform::Files {
 public:
  using HANDLE = platform::HANDLE;
  using FILETIME = platform::FILETIME;
  using OVERLAPPED = platform::OVERLAPPED;
  using WIN32_FIND_DATAW = platform::WIN32_FIND_DATAW;

  HANDLE CreateFileW(const char16_t* path, std::uint32_t access, std::uint32_t share_mode, std::uint32_t disposition,
                     std::uint32_t flags_and_attributes) override;
  bool ReadFile(HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read, OVERLAPPED* overlapped) override;
  bool WriteFile(HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* written,
                 OVERLAPPED* overlapped) override;
  std::uint32_t GetFileSize(HANDLE file, std::uint32_t* high) override;
  bool GetFileSizeEx(HANDLE file, std::uint64_t* size) override;
  std::uint32_t SetFilePointer(HANDLE file, std::int32_t distance, std::int32_t* distance_high,
                               std::uint32_t method) override;
  bool SetFilePointerEx(HANDLE file, std::int64_t distance, std::int64_t* position, std::uint32_t method) override;
  bool SetEndOfFile(HANDLE file) override;
  bool FlushFileBuffers(HANDLE file) override;
  bool GetFileTime(HANDLE file, FILETIME* creation, FILETIME* last_access, FILETIME* last_write) override;
  bool SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* last_access,
                   const FILETIME* last_write) override;
  std::uint32_t GetFileAttributesW(const char16_t* path) override;
  bool GetFileAttributesExW(const char16_t* path, platform::WIN32_FILE_ATTRIBUTE_DATA* data) override;
  bool SetFileAttributesW(const char16_t* path, std::uint32_t attributes) override;
  bool CreateDirectoryW(const char16_t* path) override;
  bool RemoveDirectoryW(const char16_t* path) override;
  bool DeleteFileW(const char16_t* path) override;
  bool DeleteFileA(const char* path) override;
  bool CopyFileW(const char16_t* from, const char16_t* to, bool fail_if_exists) override;
  bool MoveFileExW(const char16_t* from, const char16_t* to, std::uint32_t flags) override;
  bool PathFileExistsW(const char16_t* path) override;
  bool PathFileExistsA(const char* path) override;
  std::FILE* OpenNarrow(const char* path, const char* mode) override;
  HANDLE FindFirstFileW(const char16_t* pattern, WIN32_FIND_DATAW* data) override;
  bool FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data) override;
  bool FindClose(HANDLE find) override;
  std::uint32_t GetTempPathW(std::uint32_t capacity, char16_t* buffer) override;
  std::uint32_t CreateFolders(const char16_t* path) override;
  std::uint32_t RemoveFolders(const char16_t* path) override;
};

}  // namespace varnel::windows

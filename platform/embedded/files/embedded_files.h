// The files port of a machine folder. Any thread may call.
#pragma once

#include <memory>

#include "platform/embedded/core/environment.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/files/file_opener.h"
#include "platform/files.h"

namespace varnel::embedded {

class EmbeddedFiles : public platform::Files {
 public:
  /// Borrows the environment. Without a machine every path answers 3.
  EmbeddedFiles(std::shared_ptr<const Machine> machine, const Environment* environment)
      : opener_(std::move(machine)), environment_(environment) {}

  /// For the assembly, before the first use.
  void set_in_use_elsewhere(InUseElsewhere in_use) { opener_.set_in_use_elsewhere(std::move(in_use)); }

  platform::HANDLE CreateFileW(const char16_t* path, std::uint32_t access, std::uint32_t share_mode,
                               std::uint32_t disposition, std::uint32_t flags_and_attributes) override;
  bool ReadFile(platform::HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read,
                platform::OVERLAPPED* overlapped) override;
  bool WriteFile(platform::HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* written,
                 platform::OVERLAPPED* overlapped) override;
  std::uint32_t GetFileSize(platform::HANDLE file, std::uint32_t* high) override;
  bool GetFileSizeEx(platform::HANDLE file, std::uint64_t* size) override;
  std::uint32_t SetFilePointer(platform::HANDLE file, std::int32_t distance, std::int32_t* distance_high,
                               std::uint32_t method) override;
  bool SetFilePointerEx(platform::HANDLE file, std::int64_t distance, std::int64_t* position,
                        std::uint32_t method) override;
  bool SetEndOfFile(platform::HANDLE file) override;
  bool FlushFileBuffers(platform::HANDLE file) override;
  bool GetFileTime(platform::HANDLE file, platform::FILETIME* creation, platform::FILETIME* last_access,
                   platform::FILETIME* last_write) override;
  bool SetFileTime(platform::HANDLE file, const platform::FILETIME* creation, const platform::FILETIME* last_access,
                   const platform::FILETIME* last_write) override;
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
  platform::HANDLE FindFirstFileW(const char16_t* pattern, platform::WIN32_FIND_DATAW* data) override;
  bool FindNextFileW(platform::HANDLE find, platform::WIN32_FIND_DATAW* data) override;
  bool FindClose(platform::HANDLE find) override;
  std::uint32_t GetTempPathW(std::uint32_t capacity, char16_t* buffer) override;
  std::uint32_t CreateFolders(const char16_t* path) override;
  std::uint32_t RemoveFolders(const char16_t* path) override;

 private:
  /// What stands at a path: 0, or a Win32 error, also when there is nothing.
  std::uint32_t LookAt(const char16_t* path, HostPath* place) const;

  FileOpener opener_;
  const Environment* const environment_;
};

}  // namespace varnel::embedded

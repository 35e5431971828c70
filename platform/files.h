// The files port. Paths are Windows paths with a drive letter, both separators allowed. A call that yields a boolean or
// a handle sets the thread's last error when it fails (System::GetLastError). Any thread may call.
#pragma once

#include <cstdio>

#include "platform/types.h"

namespace varnel::platform {

inline constexpr std::uint32_t kGenericRead = 0x80000000;
inline constexpr std::uint32_t kGenericWrite = 0x40000000;
inline constexpr std::uint32_t kGenericAll = 0x10000000;
inline constexpr std::uint32_t kFileShareRead = 1;
inline constexpr std::uint32_t kFileShareWrite = 2;
inline constexpr std::uint32_t kFileShareDelete = 4;
inline constexpr std::uint32_t kCreateNew = 1;
inline constexpr std::uint32_t kCreateAlways = 2;
inline constexpr std::uint32_t kOpenExisting = 3;
inline constexpr std::uint32_t kOpenAlways = 4;
inline constexpr std::uint32_t kTruncateExisting = 5;
inline constexpr std::uint32_t kFileFlagSequentialScan = 0x08000000;
inline constexpr std::uint32_t kFileAttributeReadonly = 1;
inline constexpr std::uint32_t kFileAttributeDirectory = 16;
inline constexpr std::uint32_t kFileAttributeArchive = 32;
inline constexpr std::uint32_t kFileAttributeNormal = 128;
inline constexpr std::uint32_t kInvalidFileAttributes = ~0u;
inline constexpr std::uint32_t kInvalidFileSize = ~0u;
inline constexpr std::uint32_t kMoveFileReplaceExisting = 1;
inline constexpr std::uint32_t kMoveFileDelayUntilReboot = 4;
inline constexpr std::uint32_t kFileBegin = 0;
inline constexpr std::uint32_t kFileCurrent = 1;
inline constexpr std::uint32_t kFileEnd = 2;

/// The place at which one write or read happens. Offset and OffsetHigh both all ones: at the end of the file.
struct OVERLAPPED {
  std::uintptr_t Internal;
  std::uintptr_t InternalHigh;
  std::uint32_t Offset;
  std::uint32_t OffsetHigh;
  HANDLE hEvent;
};

struct WIN32_FIND_DATAW {
  std::uint32_t dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  std::uint32_t nFileSizeHigh;
  std::uint32_t nFileSizeLow;
  std::uint32_t dwReserved0;
  std::uint32_t dwReserved1;
  char16_t cFileName[260];
  char16_t cAlternateFileName[14];
};
static_assert(sizeof(WIN32_FIND_DATAW) == 592);

struct WIN32_FILE_ATTRIBUTE_DATA {
  std::uint32_t dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  std::uint32_t nFileSizeHigh;
  std::uint32_t nFileSizeLow;
};
static_assert(sizeof(WIN32_FILE_ATTRIBUTE_DATA) == 36);

class Files {
 public:
  virtual ~Files() = default;

  /// The invalid handle value on failure. With OPEN_ALWAYS or CREATE_ALWAYS on a present file the last error is 183,
  /// after any other success it is 0.
  virtual HANDLE CreateFileW(const char16_t* path, std::uint32_t access, std::uint32_t share_mode,
                             std::uint32_t disposition, std::uint32_t flags_and_attributes) = 0;
  /// `overlapped` may be null: then at the file pointer, which moves on.
  virtual bool ReadFile(HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read, OVERLAPPED* overlapped) = 0;
  /// With an overlapped place of all ones the bytes go to the end of the file as one write, whole or not at all, also
  /// beside other processes.
  virtual bool WriteFile(HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* written,
                         OVERLAPPED* overlapped) = 0;
  /// The low 32 bits; kInvalidFileSize on failure. `high` may be null.
  virtual std::uint32_t GetFileSize(HANDLE file, std::uint32_t* high) = 0;
  virtual bool GetFileSizeEx(HANDLE file, std::uint64_t* size) = 0;
  virtual std::uint32_t SetFilePointer(HANDLE file, std::int32_t distance, std::int32_t* distance_high,
                                       std::uint32_t method) = 0;
  /// `position` may be null.
  virtual bool SetFilePointerEx(HANDLE file, std::int64_t distance, std::int64_t* position, std::uint32_t method) = 0;
  virtual bool SetEndOfFile(HANDLE file) = 0;
  virtual bool FlushFileBuffers(HANDLE file) = 0;
  /// Any of the out values may be null.
  virtual bool GetFileTime(HANDLE file, FILETIME* creation, FILETIME* last_access, FILETIME* last_write) = 0;
  virtual bool SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* last_access,
                           const FILETIME* last_write) = 0;

  virtual std::uint32_t GetFileAttributesW(const char16_t* path) = 0;
  /// Attributes, times and size (0 for a folder) in one look, at the platform's standard level of detail.
  virtual bool GetFileAttributesExW(const char16_t* path, WIN32_FILE_ATTRIBUTE_DATA* data) = 0;
  virtual bool SetFileAttributesW(const char16_t* path, std::uint32_t attributes) = 0;
  virtual bool CreateDirectoryW(const char16_t* path) = 0;
  virtual bool RemoveDirectoryW(const char16_t* path) = 0;
  virtual bool DeleteFileW(const char16_t* path) = 0;
  virtual bool DeleteFileA(const char* path) = 0;
  virtual bool CopyFileW(const char16_t* from, const char16_t* to, bool fail_if_exists) = 0;
  /// A null `to` with kMoveFileDelayUntilReboot deletes `from` at the next boot.
  virtual bool MoveFileExW(const char16_t* from, const char16_t* to, std::uint32_t flags) = 0;
  virtual bool PathFileExistsW(const char16_t* path) = 0;
  virtual bool PathFileExistsA(const char* path) = 0;
  /// A narrow path in the system code page; the caller closes the stream with fclose. Null on failure. `mode` as
  /// fopen's.
  virtual std::FILE* OpenNarrow(const char* path, const char* mode) = 0;

  /// `pattern` is a folder, a separator and a name with '*' and '?'. The invalid handle value on failure. The first
  /// entries of a folder are "." and ".."; names come in the order of their upper-cased forms.
  virtual HANDLE FindFirstFileW(const char16_t* pattern, WIN32_FIND_DATAW* data) = 0;
  /// At the end: false, and the last error is 18.
  virtual bool FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data) = 0;
  virtual bool FindClose(HANDLE find) = 0;

  /// Both give the number of characters without the NUL, the number needed with it when the room is too small, 0 on
  /// failure. The temporary folder ends in a backslash.
  virtual std::uint32_t GetTempPathW(std::uint32_t capacity, char16_t* buffer) = 0;

  // Whole trees, for tools: Win32 error numbers, 0 for success, also where there was nothing to do.
  virtual std::uint32_t CreateFolders(const char16_t* path) = 0;
  virtual std::uint32_t RemoveFolders(const char16_t* path) = 0;
};

}  // namespace varnel::platform

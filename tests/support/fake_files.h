// The files port in memory: a drive C with folders and files, sharing modes, times, find.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "tests/support/fake_handles.h"

namespace varnel::testing {

/// Borrows the handles. `now` gives the FILETIME for new files. Paths of the test's own calls are full paths; folders
/// above a path that is added are made.
class FakeFiles : public platform::Files {
 public:
  FakeFiles(FakeHandles* handles, std::function<std::uint64_t()> now);
  ~FakeFiles() override;

  std::u16string temp_path = u"C:\\Windows\\Temp\\";

  void AddFolder(std::u16string_view path);
  void AddFile(std::u16string_view path, std::string_view bytes = {});
  /// Removes what is there, whoever uses it.
  void Remove(std::u16string_view path);
  bool Exists(std::u16string_view path) const;
  bool IsFolder(std::u16string_view path) const;
  /// Empty for a file that is not there.
  std::string Contents(std::u16string_view path) const;
  /// The full paths of all files, not folders, in the order of their folded names.
  std::vector<std::u16string> List() const;
  std::vector<std::u16string> List(std::u16string_view folder) const;
  /// A file in use by something outside: opening for writing and deleting it answer 32.
  void SetInUse(std::u16string_view path, bool in_use);
  void SetTimes(std::u16string_view path, std::uint64_t creation, std::uint64_t last_write);
  /// What MoveFileExW was asked to delete at the next boot.
  std::vector<std::u16string> PendingDeletes() const;
  std::size_t open_files() const;

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

  struct Entry;

 private:
  struct Handle;
  struct Find;

  std::shared_ptr<Entry> FindEntry(std::u16string_view path) const;
  std::shared_ptr<Entry> Make(std::u16string_view path, std::uint32_t attributes);
  std::uint32_t CheckParent(std::u16string_view path) const;
  bool MayDelete(const Entry& entry) const;
  void Erase(std::u16string_view path);
  /// Moves an entry with all below it; both normalized.
  void Relocate(const std::u16string& from, const std::u16string& to);

  FakeHandles* handles_;
  std::function<std::uint64_t()> now_;
  mutable std::mutex mutex_;
  std::map<std::u16string, std::shared_ptr<Entry>> entries_;  // by folded path
  std::vector<std::u16string> pending_deletes_;
};

}  // namespace varnel::testing

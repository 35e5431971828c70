// An open file of a machine. Several threads may use one; calls that move the file pointer exclude each other.
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/files/file_metadata.h"
#include "platform/embedded/files/share_lock.h"
#include "platform/files.h"

namespace varnel::embedded {

/// What an open file may be used for.
struct FileRights {
  bool read = false;
  bool write = false;
  bool write_attributes = false;
};

/// Calls that give a number give 0 or a Win32 error.
class FileObject : public Object {
 public:
  /// Owns the descriptor.
  FileObject(int fd, FileRights rights, ShareLock lock, std::optional<std::uint64_t> link_creation = {});
  ~FileObject() override;

  std::uint32_t Read(void* buffer, std::uint32_t size, std::uint32_t* read, platform::OVERLAPPED* place);
  /// At the pointer, at a place, or with a place of all ones at the end as Append does.
  std::uint32_t Write(const void* buffer, std::uint32_t size, std::uint32_t* written, platform::OVERLAPPED* place);
  /// At the end as one write, whole or not at all, beside any other appender of the machine.
  std::uint32_t Append(const void* buffer, std::uint32_t size, std::uint32_t* written);
  std::uint32_t Seek(std::int64_t distance, std::uint32_t method, std::uint64_t* position);
  std::uint32_t Size(std::uint64_t* size) const;
  std::uint32_t Truncate();
  std::uint32_t Flush();

  FileRights rights() const { return rights_; }
  FileTimes Times() const;
  std::uint32_t Attributes() const;
  /// Whether the file's locks are still those that others look at.
  bool HoldsItsLock() const { return lock_.IsCurrent(); }
  /// A host path that leads to the open file, whatever its name is by now.
  std::string HostLink() const;

 private:
  std::uint32_t WriteAt(const void* buffer, std::uint32_t size, std::uint64_t at, std::uint32_t* written);

  const int fd_;
  const FileRights rights_;
  const std::optional<std::uint64_t> link_creation_;  // as HostPath has it
  std::mutex mutex_;
  ShareLock lock_;              // guarded by mutex_
  std::uint64_t position_ = 0;  // guarded by mutex_
};

}  // namespace varnel::embedded

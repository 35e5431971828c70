// What writing the flushed copy asks of the disk, one call for each system call, so that a test can stand between them
// and cut the power at any of them. All results are errno values, 0 for success.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace varnel::embedded {

/// A file being written. Closed by its end.
class CopyFile {
 public:
  virtual ~CopyFile() = default;
  /// All of the bytes or an error.
  virtual int Write(std::span<const std::byte> bytes) = 0;
  virtual int Sync() = 0;
};

class CopyIo {
 public:
  virtual ~CopyIo() = default;
  /// An emptied file, made if it is not there. Null with *error set on failure.
  virtual std::unique_ptr<CopyFile> Create(const std::string& path, int* error) = 0;
  virtual int Rename(const std::string& from, const std::string& to) = 0;
  virtual int SyncFolder(const std::string& path) = 0;
};

/// The host's own file system. Lives for ever.
CopyIo& HostCopyIo();

}  // namespace varnel::embedded

// An open file or other handle of the platform that closes itself. Not for handles whose close is told elsewhere.
#pragma once

#include "platform/platform.h"

namespace varnel {

/// Owns what CreateFileW gave: the invalid value is no file.
class FileHandle {
 public:
  explicit FileHandle(platform::HANDLE file) : file_(file) {}
  ~FileHandle() {
    if (valid()) platform::SystemPort().CloseHandle(file_);
  }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  bool valid() const { return file_ != platform::kInvalidHandleValue; }
  platform::HANDLE get() const { return file_; }

 private:
  const platform::HANDLE file_;
};

}  // namespace varnel

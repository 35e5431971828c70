// FileLock: locks on single bytes of a file, between processes and between openers in one process (the host's locks of
// an open file description). They end with the FileLock or with the process, whatever ends it. A FileLock belongs to
// one thread at a time; two FileLocks on one file shut each other out.
#pragma once

#include <cstdint>
#include <string>

#include "platform/embedded/core/unique_fd.h"

namespace varnel::embedded {

class FileLock {
 public:
  enum class Mode { kShared, kExclusive };

  FileLock() = default;

  /// Makes the file if it is not there. @return an errno value, 0 for success.
  int Open(const std::string& path);

  bool is_open() const { return file_.valid(); }

  /// Waits for the byte. Taking a byte in another mode than it is held in changes the mode. @return an errno value.
  int Lock(std::uint64_t byte, Mode mode);
  /// @return EAGAIN when somebody else holds it in the way.
  int TryLock(std::uint64_t byte, Mode mode);
  void Unlock(std::uint64_t byte);

 private:
  UniqueFd file_;
};

}  // namespace varnel::embedded

// Locks on whole files that belong to an open file description, so that they go with the process that held them and
// two openings in one process exclude each other. A UniqueFd owns the descriptor.
#pragma once

#include <chrono>
#include <string>
#include <utility>

namespace varnel::embedded::ring {

class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) noexcept : fd_(fd) {}
  ~UniqueFd() { Reset(); }
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
      Reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }

  int get() const noexcept { return fd_; }
  bool valid() const noexcept { return fd_ >= 0; }
  void Reset() noexcept;

 private:
  int fd_ = -1;
};

enum class LockKind { kShared, kExclusive };

/// Gives up at once when another holds it.
bool TryLock(int fd, LockKind kind) noexcept;
/// Waits for at most `limit`. @return false when it was not to be had.
bool LockWithin(int fd, LockKind kind, std::chrono::milliseconds limit) noexcept;
void Unlock(int fd) noexcept;

/// Opens `path` (made when it is missing) and holds its exclusive lock until the end of the scope.
class ScopedFileLock {
 public:
  explicit ScopedFileLock(const std::string& path);
  /// False when the file could not be opened or locked; errno tells why.
  bool held() const noexcept { return held_; }

 private:
  UniqueFd fd_;
  bool held_ = false;
};

}  // namespace varnel::embedded::ring

#include "platform/embedded/ring/ofd_lock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

namespace varnel::embedded::ring {
namespace {

bool Apply(int fd, int command, short type) noexcept {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  int result;
  do {
    result = ::fcntl(fd, command, &lock);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

short TypeOf(LockKind kind) noexcept {
  return kind == LockKind::kShared ? F_RDLCK : F_WRLCK;
}

}  // namespace

void UniqueFd::Reset() noexcept {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

bool TryLock(int fd, LockKind kind) noexcept {
  return Apply(fd, F_OFD_SETLK, TypeOf(kind));
}

bool LockWithin(int fd, LockKind kind, std::chrono::milliseconds limit) noexcept {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  auto pause = std::chrono::microseconds(50);
  while (!TryLock(fd, kind)) {
    if (errno != EAGAIN && errno != EACCES) return false;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(pause);
    if (pause < std::chrono::milliseconds(2)) pause *= 2;
  }
  return true;
}

void Unlock(int fd) noexcept {
  Apply(fd, F_OFD_SETLK, F_UNLCK);
}

ScopedFileLock::ScopedFileLock(const std::string& path)
    : fd_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
  held_ = fd_.valid() && Apply(fd_.get(), F_OFD_SETLKW, F_WRLCK);
}

}  // namespace varnel::embedded::ring

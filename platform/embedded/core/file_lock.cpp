#include "platform/embedded/core/file_lock.h"

#include <fcntl.h>

#include <cerrno>

namespace varnel::embedded {
namespace {

int Apply(int fd, int command, short type, std::uint64_t byte) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(byte);
  lock.l_len = 1;
  while (::fcntl(fd, command, &lock) != 0) {
    if (errno != EINTR) return errno == EACCES ? EAGAIN : errno;
  }
  return 0;
}

short Type(FileLock::Mode mode) {
  return mode == FileLock::Mode::kShared ? F_RDLCK : F_WRLCK;
}

}  // namespace

int FileLock::Open(const std::string& path) {
  file_ = UniqueFd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
  return file_.valid() ? 0 : errno;
}

int FileLock::Lock(std::uint64_t byte, Mode mode) {
  return Apply(file_.get(), F_OFD_SETLKW, Type(mode), byte);
}

int FileLock::TryLock(std::uint64_t byte, Mode mode) {
  return Apply(file_.get(), F_OFD_SETLK, Type(mode), byte);
}

void FileLock::Unlock(std::uint64_t byte) {
  Apply(file_.get(), F_OFD_SETLK, F_UNLCK, byte);
}

}  // namespace varnel::embedded

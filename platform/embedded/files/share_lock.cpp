#include "platform/embedded/files/share_lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/embedded/files/resolver.h"
#include "platform/files.h"

namespace varnel::embedded {
namespace {

enum Byte : off_t { kReads, kWrites, kDeletes, kDeniesRead, kDeniesWrite, kDeniesDelete, kImage, kGate, kAppend };

bool SetLock(int fd, short type, Byte byte) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  while (::fcntl(fd, F_OFD_SETLKW, &lock) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

/// Whether another open holds a lock on the byte. One that can't be asked is taken for held.
bool IsHeld(int fd, Byte byte) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  return ::fcntl(fd, F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

bool Denies(const Sharing& sharing, std::uint32_t what) {
  return (sharing.share_mode & what) == 0;
}

/// A file that is opened for its attributes alone denies nothing.
bool TakesPart(const Sharing& sharing) {
  return sharing.reads || sharing.writes || sharing.deletes || sharing.is_image;
}

}  // namespace

ShareLock::ShareLock(ShareLock&& other) noexcept : fd_(std::exchange(other.fd_, -1)), path_(std::move(other.path_)) {}

ShareLock& ShareLock::operator=(ShareLock&& other) noexcept {
  if (this != &other) {
    Close();
    fd_ = std::exchange(other.fd_, -1);
    path_ = std::move(other.path_);
  }
  return *this;
}

ShareLock::~ShareLock() {
  Close();
}

void ShareLock::Close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

std::uint32_t ShareLock::Take(const Machine& machine, dev_t device, ino_t inode, const Sharing& sharing,
                              ShareLock* lock) {
  ShareLock taken;
  if (const auto error = taken.Open(machine, device, inode); error != 0) return error;
  const std::uint32_t error = taken.Test(sharing);
  const std::uint32_t result = error != 0 ? error : taken.Hold(sharing);
  SetLock(taken.fd_, F_UNLCK, kGate);
  if (result == 0) *lock = std::move(taken);
  return result;
}

/// Opens the lock file and takes its gate.
std::uint32_t ShareLock::Open(const Machine& machine, dev_t device, ino_t inode) {
  path_ = machine.LocksPath() + '/' + std::to_string(device) + '-' + std::to_string(inode);
  for (;;) {
    Close();
    fd_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd_ < 0 || !SetLock(fd_, F_WRLCK, kGate)) return Win32Error(errno);
    // While this call waited for the gate, its holder may have removed the lock file with its file.
    if (IsCurrent()) return platform::kErrorSuccess;
  }
}

std::uint32_t ShareLock::Test(const Sharing& sharing) const {
  if (!TakesPart(sharing)) return platform::kErrorSuccess;
  if (sharing.deletes && !sharing.is_image && IsHeld(fd_, kImage)) return platform::kErrorAccessDenied;
  const bool conflict = (sharing.reads && IsHeld(fd_, kDeniesRead)) || (sharing.writes && IsHeld(fd_, kDeniesWrite)) ||
                        (sharing.deletes && IsHeld(fd_, kDeniesDelete)) ||
                        (Denies(sharing, platform::kFileShareRead) && IsHeld(fd_, kReads)) ||
                        (Denies(sharing, platform::kFileShareWrite) && IsHeld(fd_, kWrites)) ||
                        (Denies(sharing, platform::kFileShareDelete) && IsHeld(fd_, kDeletes));
  return conflict ? platform::kErrorSharingViolation : platform::kErrorSuccess;
}

std::uint32_t ShareLock::Hold(const Sharing& sharing) {
  if (!TakesPart(sharing)) return platform::kErrorSuccess;
  const std::pair<bool, Byte> marks[] = {{sharing.reads, kReads},
                                         {sharing.writes, kWrites},
                                         {sharing.deletes, kDeletes},
                                         {Denies(sharing, platform::kFileShareRead), kDeniesRead},
                                         {Denies(sharing, platform::kFileShareWrite), kDeniesWrite},
                                         {Denies(sharing, platform::kFileShareDelete), kDeniesDelete},
                                         {sharing.is_image, kImage}};
  for (const auto& [wanted, byte] : marks) {
    if (wanted && !SetLock(fd_, F_RDLCK, byte)) return Win32Error(errno);
  }
  return platform::kErrorSuccess;
}

bool ShareLock::EnterGate() {
  return SetLock(fd_, F_WRLCK, kGate) && IsCurrent();
}

bool ShareLock::EnterGates(ShareLock* a, ShareLock* b) {
  if (b->path_ < a->path_) std::swap(a, b);
  return (!a->held() || a->EnterGate()) && (!b->held() || b->EnterGate());
}

bool ShareLock::IsCurrent() const {
  struct stat status {};
  return ::fstat(fd_, &status) == 0 && status.st_nlink != 0;
}

void ShareLock::RemoveLockFile() {
  if (fd_ >= 0) ::unlink(path_.c_str());
}

bool ShareLock::LockAppend() {
  return SetLock(fd_, F_WRLCK, kAppend);
}

void ShareLock::UnlockAppend() {
  SetLock(fd_, F_UNLCK, kAppend);
}

}  // namespace varnel::embedded

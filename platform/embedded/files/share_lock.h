// What an open file lets others do, held where every process of the machine sees it.
//
// Each open file has an open-file description of "<machine>/locks/<device>-<inode>" with shared locks on the bytes that
// say what it does and what it denies to others. A lock is tested, not taken, by those whom it concerns; the kernel
// drops all of them when the process ends in whatever way. One byte, the gate, locked exclusively for the moment of an
// open, makes test and taking one step.
//
// A lock file goes with its file, and then the host may give the file's number to a new one. So whoever takes a file's
// name away does it behind the gate, and whoever took a lock and then opened the file asks whether the lock is still
// the file's.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "platform/embedded/core/machine.h"

namespace varnel::embedded {

/// What one open of a file does, and what it lets others do at the same time.
struct Sharing {
  bool reads = false;
  bool writes = false;
  bool deletes = false;
  std::uint32_t share_mode = 0;  // kFileShareRead, kFileShareWrite, kFileShareDelete
  bool is_image = false;         // a loaded library, which can't be deleted while it is loaded
};

/// Movable owner of one open's locks; they go with it. One thread at a time, but for the append lock's users, who bring
/// a lock of their own.
class ShareLock {
 public:
  ShareLock() = default;
  ShareLock(ShareLock&& other) noexcept;
  ShareLock& operator=(ShareLock&& other) noexcept;
  ~ShareLock();

  /// 0; 32 when the file is open in a way that does not go with `sharing`; 5 when `sharing` deletes a loaded library;
  /// or what the host's call answered.
  static std::uint32_t Take(const Machine& machine, dev_t device, ino_t inode, const Sharing& sharing, ShareLock* lock);

  /// Shuts everybody else out of taking locks on the file until this lock goes. False when the lock is not the file's
  /// any more: the file was deleted since it was taken. REQUIRES: held().
  bool EnterGate();
  /// The same for two files; waits in one order among all processes. One that is not held is passed over.
  static bool EnterGates(ShareLock* a, ShareLock* b);

  /// Whether the lock is still the file's. REQUIRES: held().
  bool IsCurrent() const;

  /// Removes the lock file, for a file whose name was taken away. REQUIRES: behind the gate.
  void RemoveLockFile();

  /// One appender at a time, among all processes. False when the host refuses.
  bool LockAppend();
  void UnlockAppend();

  bool held() const { return fd_ >= 0; }

 private:
  std::uint32_t Open(const Machine& machine, dev_t device, ino_t inode);
  std::uint32_t Test(const Sharing& sharing) const;
  std::uint32_t Hold(const Sharing& sharing);
  void Close();

  int fd_ = -1;
  std::string path_;
};

}  // namespace varnel::embedded

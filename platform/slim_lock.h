// What the module's locks are made of: a reader/writer lock that takes no memory and no handle, needs no end, and can't
// fail to be taken. Not recursive. On Windows the system's own slim lock (SRWLOCK); the compiler's run-time library
// there would make each std::mutex at its first use, of heap blocks and semaphores that nothing gives back.
#pragma once

#ifndef _WIN32
#include <shared_mutex>
#endif

namespace varnel::platform {

class SlimLock {
 public:
  SlimLock() = default;
  SlimLock(const SlimLock&) = delete;
  SlimLock& operator=(const SlimLock&) = delete;

#ifdef _WIN32
  void LockExclusive() noexcept;
  void UnlockExclusive() noexcept;
  void LockShared() noexcept;
  void UnlockShared() noexcept;

 private:
  void* state_ = nullptr;  // an SRWLOCK
#else
  void LockExclusive() {
    mutex_.lock();
  }
  void UnlockExclusive() {
    mutex_.unlock();
  }
  void LockShared() {
    mutex_.lock_shared();
  }
  void UnlockShared() {
    mutex_.unlock_shared();
  }

 private:
  std::shared_mutex mutex_;
#endif
};

}  // namespace varnel::platform

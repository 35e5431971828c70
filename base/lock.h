// The module's locks: the platform's, with the attributes that clang checks.
//
// Lock order, outermost first; a thread that holds one takes only those below it:
//   1. the consumer table's TableLock (shared to insert, exclusive to add or remove a consumer)
//   2. a consumer's QueueLock (one consumer's at a time)
// The analyzer's locks stand apart: of the analyzer's lock, its state's sessionLock, a session's lock and the lock of
// the engine's private copies no two are held together, but for a session's lock inside sessionLock, while a session is
// made and while a stop ends a download. The lock of the process's one analyzer is held around them while it is
// disposed. The log's capacity lock stands below all of them: it is held for one load or store and around no call.
#pragma once

#include "base/compiler.h"
#include "platform/slim_lock.h"

namespace varnel {

/// A slim reader/writer lock. Not recursive; a shared holder must not ask for it exclusively.
class VARNEL_CAPABILITY("SrwLock") SrwLock {
 public:
  SrwLock() = default;
  SrwLock(const SrwLock&) = delete;
  SrwLock& operator=(const SrwLock&) = delete;

  void LockExclusive() VARNEL_ACQUIRE() { lock_.LockExclusive(); }
  void UnlockExclusive() VARNEL_RELEASE() { lock_.UnlockExclusive(); }
  void LockShared() VARNEL_ACQUIRE_SHARED() { lock_.LockShared(); }
  void UnlockShared() VARNEL_RELEASE_SHARED() { lock_.UnlockShared(); }

 private:
  platform::SlimLock lock_;
};

/// Holds a lock exclusively for its scope.
class VARNEL_SCOPED_CAPABILITY ExclusiveLock {
 public:
  explicit ExclusiveLock(SrwLock& lock) VARNEL_ACQUIRE(lock) : lock_(lock) { lock_.LockExclusive(); }
  ~ExclusiveLock() VARNEL_RELEASE() { lock_.UnlockExclusive(); }
  ExclusiveLock(const ExclusiveLock&) = delete;
  ExclusiveLock& operator=(const ExclusiveLock&) = delete;

 private:
  SrwLock& lock_;
};

/// Holds a lock shared for its scope.
class VARNEL_SCOPED_CAPABILITY SharedLock {
 public:
  explicit SharedLock(SrwLock& lock) VARNEL_ACQUIRE_SHARED(lock) : lock_(lock) { lock_.LockShared(); }
  ~SharedLock() VARNEL_RELEASE_GENERIC() { lock_.UnlockShared(); }
  SharedLock(const SharedLock&) = delete;
  SharedLock& operator=(const SharedLock&) = delete;

 private:
  SrwLock& lock_;
};

/// A lock with one holder. Not recursive.
class VARNEL_CAPABILITY("CriticalSection") CriticalSection {
 public:
  CriticalSection() = default;
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void Enter() VARNEL_ACQUIRE() { lock_.LockExclusive(); }
  void Leave() VARNEL_RELEASE() { lock_.UnlockExclusive(); }

 private:
  platform::SlimLock lock_;  // only ever taken exclusively
};

/// Holds a critical section for its scope.
class VARNEL_SCOPED_CAPABILITY CriticalSectionLock {
 public:
  explicit CriticalSectionLock(CriticalSection& section) VARNEL_ACQUIRE(section) : section_(section) {
    section_.Enter();
  }
  ~CriticalSectionLock() VARNEL_RELEASE() { section_.Leave(); }
  CriticalSectionLock(const CriticalSectionLock&) = delete;
  CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

 private:
  CriticalSection& section_;
};

}  // namespace varnel

// The lock around the one analyzer of the process, made at its first use.
#pragma once

#include <atomic>

#include "base/compiler.h"
#include "platform/slim_lock.h"

namespace varnel {

/// A critical section: asked of the platform when it is first needed, since that can fail. Ensure and Delete have no
/// guard of their own: neither may race with another call.
class VARNEL_CAPABILITY("AnalyzerLock") AnalyzerLock {
 public:
  AnalyzerLock() = default;
  AnalyzerLock(const AnalyzerLock&) = delete;
  AnalyzerLock& operator=(const AnalyzerLock&) = delete;

  /// EnsureAnalyzerLock: makes the lock unless it is there. False when the platform refuses; it is then not there.
  bool Ensure();
  /// AnalyzerLockReady. Any thread may ask; the answer may be old.
  bool IsReady() const { return ready_.load(std::memory_order_relaxed); }
  /// REQUIRES: nobody holds the lock or waits for it.
  void Delete() { ready_.store(false, std::memory_order_relaxed); }

  void Enter() VARNEL_ACQUIRE() { lock_.LockExclusive(); }
  void Leave() VARNEL_RELEASE() { lock_.UnlockExclusive(); }

 private:
  std::atomic<bool> ready_{false};
  platform::SlimLock lock_;  // only ever taken exclusively
};

/// The process's lock. It guards the pointer to the analyzer, and the whole of an install-time setup.
AnalyzerLock& TheAnalyzerLock();

/// Holds it for a scope.
class VARNEL_SCOPED_CAPABILITY AnalyzerLockScope {
 public:
  explicit AnalyzerLockScope(AnalyzerLock& lock) VARNEL_ACQUIRE(lock) : lock_(lock) { lock_.Enter(); }
  ~AnalyzerLockScope() VARNEL_RELEASE() { lock_.Leave(); }
  AnalyzerLockScope(const AnalyzerLockScope&) = delete;
  AnalyzerLockScope& operator=(const AnalyzerLockScope&) = delete;

 private:
  AnalyzerLock& lock_;
};

}  // namespace varnel

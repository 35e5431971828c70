#include "analyzer/analyzer_lock.h"

#include "platform/platform.h"

namespace varnel {

bool AnalyzerLock::Ensure() {
  if (IsReady()) return true;
  if (!platform::ThreadsPort().InitializeCriticalSection()) return false;
  ready_.store(true, std::memory_order_relaxed);
  return true;
}

AnalyzerLock& TheAnalyzerLock() {
  static AnalyzerLock lock;
  return lock;
}

}  // namespace varnel

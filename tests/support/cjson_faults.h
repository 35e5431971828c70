// Fails allocations of cJSON. Its hooks are set once, when a test program that links this starts, and forward to
// malloc; a scope arms them for its own thread alone.
#pragma once

namespace varnel::testing {

/// For its scope, on this thread: the n-th allocation of cJSON (from 1) gives null, and with `persistent` all behind
/// it. 0 fails none and only counts. Scopes do not nest.
class CJsonAllocationFaults {
 public:
  explicit CJsonAllocationFaults(unsigned nth, bool persistent = false);
  ~CJsonAllocationFaults();
  CJsonAllocationFaults(const CJsonAllocationFaults&) = delete;
  CJsonAllocationFaults& operator=(const CJsonAllocationFaults&) = delete;

  /// Whether an allocation has failed in this scope. A sweep goes on with the next n until none has.
  bool failed() const;
  unsigned allocations() const;
};

/// Blocks of cJSON that were not freed, over all threads.
long CJsonBlocks();

}  // namespace varnel::testing

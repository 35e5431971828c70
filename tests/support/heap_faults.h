// Fails allocations of the C++ heap, in a program that links the replaced one: operator new then throws bad_alloc, or
// gives null where it was asked not to throw. A scope arms them for its own thread alone.
#pragma once

#include "tests/support/fault_plan.h"

namespace varnel::testing {

/// For its scope, on this thread: the n-th allocation (from 1) fails, and with `persistent` all behind it. 0 fails none
/// and only counts. Scopes do not nest.
class HeapFaults {
 public:
  explicit HeapFaults(unsigned nth, bool persistent = false);
  ~HeapFaults();
  HeapFaults(const HeapFaults&) = delete;
  HeapFaults& operator=(const HeapFaults&) = delete;

  /// False where the program's heap can't be replaced, under the thread sanitizer: nothing fails then, nothing is
  /// counted, and a test that needs it is skipped.
  static bool Work();

  /// Whether an allocation has failed in this scope. A sweep goes on with the next n until none has.
  bool failed() const;
  unsigned allocations() const;
};

/// A plan under which the scripted ports below the decorators keep their own memory: only what the module itself
/// allocates is counted and fails.
class HeapFaultPlan : public FaultPlan {
 public:
  void Enter() override;
  void Leave() override;
};

}  // namespace varnel::testing

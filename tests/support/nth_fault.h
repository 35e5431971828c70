// NthFault counts allocations and says which of them fail. A plain value: one thread.
#pragma once

namespace varnel::testing {

/// As it is made it is not armed: nothing is counted and nothing fails.
struct NthFault {
  bool armed = false;
  bool persistent = false;  // with the n-th, all behind it
  unsigned nth = 0;         // from 1; 0: none
  unsigned seen = 0;
  bool failed = false;

  /// Counts one more. @return whether it fails.
  bool Strikes() {
    if (!armed) return false;
    ++seen;
    const bool fails = nth != 0 && (seen == nth || (persistent && seen > nth));
    failed = failed || fails;
    return fails;
  }
};

}  // namespace varnel::testing

// The one list of what hangs, spins or reads freed memory when a call fails, by the contracts as they stand. Each entry
// names the step that causes it. Sweeps leave these calls out; a test runs each in a process of its own and asserts
// exactly its outcome.
#pragma once

#include <ostream>
#include <span>

#include "tests/faults/trace_expectations.h"

namespace varnel::testing {

enum class KnownEnd {
  kWaitsForEver,      // every thread waits without a limit
  kSpins,             // one thread goes round and round, all others wait without a limit
  kReadsFreedMemory,  // a consumer's thread uses its record after stop has freed it
};

enum class KnownScene {
  kSweep,          // start, run and stop as they are swept
  kManifestsFail,  // the same, with every TdhLoadManifest failing besides
  kSlowHost,       // stop comes while the host still looks at an event
};

struct KnownOutcome {
  const char* name;  // of its test
  KnownScene scene;
  const char* caller;
  const char* operation;
  unsigned first;
  unsigned last;
  bool once;      // when only that call fails
  bool for_ever;  // when all later ones fail as well
  KnownEnd end;
  const char* where;  // the last call that start or stop came to
  const char* step;   // what causes it
};

std::span<const KnownOutcome> KnownOutcomes();
/// The entry that covers a fault of the sweep, else null. The same for both kinds of session.
const KnownOutcome* FindKnownOutcome(const TraceFault& fault);

std::ostream& operator<<(std::ostream& out, const KnownOutcome& known);

}  // namespace varnel::testing

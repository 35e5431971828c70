// What a failing call in start, run or stop has to come to, by the contracts of the functions that make it. A call that
// is not named here fails in silence: results, events and lines are those of an unharmed run.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tests/faults/trace_scenario.h"

namespace varnel::testing {

/// One run of the sweep.
struct TraceFault {
  SessionKind session = SessionKind::kTemporary;
  CallSite site;
  SweepPlan::Mode mode = SweepPlan::Mode::kOnce;
};
inline constexpr std::uint32_t kFaultCode = 5;

struct TraceExpectation {
  enum class Lines {
    kSame,   // those of an unharmed run, in any order
    kTold,   // among the new ones stand those of `told`
    kFewer,  // those, but some are missing: a long one that finds no memory
    kOther,  // no line tells of it, but others say something else or are missing
  };

  enum class Crash {
    kTold,        // by the first start alone
    kLost,        // told by none
    kToldLater,   // by the second start
    kToldTwice,   // its mark could not be written
    kAtMostOnce,  // this expectation tells no more
  };

  std::uint32_t start = 0;
  std::set<std::string> lost;  // events that never reach the host
  Lines lines = Lines::kSame;
  std::vector<std::string> told;  // pieces of lines
  unsigned done_events = 2;       // left open by the stop
  bool positions_stored = true;
  Crash crash = Crash::kAtMostOnce;
};

/// `order`: the sites of an unharmed run.
TraceExpectation ExpectTraces(const TraceFault& fault, const std::vector<CallSite>& order);

}  // namespace varnel::testing

// The scenario in which start, run and stop are swept: left-over files of two modules A and B, live events of both, a
// gap in the counters, wide and binary texts, and a stored position; a crash between two boots in the System log; then
// a second start and stop without faults.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/faults/swept_machine.h"

namespace varnel::testing {

enum class SessionKind {
  kTemporary,   // none runs: start makes the temporary one
  kAutoLogger,  // the AutoLogger's, writing its second file
};

/// What one run came to. Events are named by their module and their place in its order: "A1".
struct TraceOutcome {
  std::uint32_t start = 0;
  std::uint32_t stop = 0;
  std::vector<std::string> delivered;  // in the order of delivery
  unsigned crashes = 0;                // texts that tell of a crash
  std::vector<std::string> lines;      // of the log
  std::string log_file;
  SweptMachine::Open open;  // when it had stopped
  struct Left {
    std::uint64_t position = 0;  // the time stamp stored for the module
    bool file = false;           // its left-over file is still there
  };
  std::map<char, Left> left;  // by module, when it had stopped

  std::uint32_t second_start = 0;
  std::uint32_t second_stop = 0;
  std::vector<std::string> delivered_later;  // by the second start
  unsigned crashes_later = 0;                // likewise
  SweptMachine::Open open_later;
  std::uint32_t intended_leaks = 0;  // of both
};

/// Puts files, position, sessions and the System log in place.
void SetUpTraces(SweptMachine* machine, SessionKind session);
/// Start, run, stop, with the plan as it is.
void RunTraces(SweptMachine* machine, TraceOutcome* outcome);
/// Start and run; the host takes a second for an event, and stop comes meanwhile.
void StopUnderASlowHost(SweptMachine* machine);
/// The second start, with one more event of each module, "A7" and "B7", and its stop.
void RunAgain(SweptMachine* machine, TraceOutcome* outcome);

/// What the second start has to deliver of a module, by what the first run left, and how many events a repeat takes
/// along.
struct SecondRun {
  std::vector<std::string> delivered;
  unsigned taken_along = 0;
};
SecondRun ExpectSecondRun(char module, const TraceOutcome::Left& left);

/// The time stamp of an event by its name.
std::uint64_t TimeOf(const std::string& event);

}  // namespace varnel::testing

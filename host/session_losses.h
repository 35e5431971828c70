// What the module's trace session itself counts as lost, and how much of it fell into a run.
#pragma once

#include <cstdint>
#include <map>

#include "formats/result.h"

namespace varnel::platform {
class Trace;
}

namespace varnel::host {

struct SessionLosses {
  std::uint64_t events = 0;
  std::uint64_t buffers = 0;  // of the file and of real-time readers

  bool operator==(const SessionLosses&) const = default;
};

/// By the session's number; a session that ended and began anew has another one.
using LossesBySession = std::map<std::uint64_t, SessionLosses>;

/// Asks the session that bears the module's name. Empty when none runs; an Error when it can't be asked.
formats::Result<LossesBySession> ReadSessionLosses(platform::Trace& trace);

/// The sum of what was lost between two readings. A session that is in the second alone counts whole.
SessionLosses LostBetween(const LossesBySession& before, const LossesBySession& after);

}  // namespace varnel::host

// What the machine's trace sessions themselves count as lost, and how much of it fell into a run.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "formats/result.h"

namespace varnel::host {

struct SessionLosses {
  std::uint64_t events = 0;
  std::uint64_t buffers = 0;  // of the file and of real-time readers

  bool operator==(const SessionLosses&) const = default;
};

/// By the session's identity in the machine; a session that ended and began anew has another one.
using LossesBySession = std::map<std::string, SessionLosses>;

/// Asks every running session of a machine. Opens neither registry nor drive.
formats::Result<LossesBySession> ReadSessionLosses(const std::string& machine);

/// The sum of what was lost between two readings. A session that is in the second alone counts whole.
SessionLosses LostBetween(const LossesBySession& before, const LossesBySession& after);

}  // namespace varnel::host

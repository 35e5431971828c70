// What a machine's trace sessions themselves count as lost, and how much of it fell into a run.
#pragma once

#include <cstdint>
#include <map>

namespace varnel::host {

struct SessionLosses {
  std::uint64_t events = 0;
  std::uint64_t buffers = 0;

  bool operator==(const SessionLosses&) const = default;
};

/// By the session's number; a session that ended and began anew has another one.
using LossesBySession = std::map<std::uint64_t, SessionLosses>;

/// The sum of what was lost between two readings. A session that is in the second alone counts whole.
SessionLosses LostBetween(const LossesBySession& before, const LossesBySession& after);

}  // namespace varnel::host

#include "host/session_losses.h"

namespace varnel::host {

SessionLosses LostBetween(const LossesBySession& before, const LossesBySession& after) {
  SessionLosses sum;
  for (const auto& [session, losses] : after) {
    const auto earlier = before.find(session);
    const SessionLosses base = earlier == before.end() ? SessionLosses{} : earlier->second;
    sum.events += losses.events - base.events;
    sum.buffers += losses.buffers - base.buffers;
  }
  return sum;
}

}  // namespace varnel::host

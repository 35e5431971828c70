#include "host/session_losses.h"

#include "platform/embedded/trace/machine_sessions.h"

namespace varnel::host {

LossesBySession ReadSessionLosses(const embedded::Machine& machine) {
  LossesBySession losses;
  for (const embedded::SessionSummary& session : embedded::ListSessions(machine)) {
    losses[session.id] = {session.events_lost, session.buffers_lost};
  }
  return losses;
}

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

#include "host/machine_losses.h"

#include "platform/embedded/trace/machine_sessions.h"

namespace varnel::host {

LossesBySession ReadMachineLosses(const embedded::Machine& machine) {
  LossesBySession losses;
  for (const embedded::SessionSummary& session : embedded::ListSessions(machine)) {
    losses[session.id] = {session.events_lost, session.buffers_lost};
  }
  return losses;
}

}  // namespace varnel::host

// What the trace sessions of a machine folder themselves count as lost.
#pragma once

#include "host/session_losses.h"
#include "platform/embedded/core/machine.h"

namespace varnel::host {

/// Asks every running session of a machine. Opens neither its registry nor its drive, so that it may be called in a
/// process that has loaded the module.
LossesBySession ReadMachineLosses(const embedded::Machine& machine);

}  // namespace varnel::host

// What the log tells of a failing registry call in the AutoLogger's registration, which install and start both make
// with the same calls in the same order.
#pragma once

#include <string>
#include <vector>

#include "tests/faults/sweep_plan.h"

namespace varnel::testing {

/// The names of the seven providers' constants, in the order of registration and removal.
extern const char* const kProviderConstants[7];

/// The lines, by the call's operation and nth, for the code 5. Empty for a call that does not belong to the
/// registration or fails in silence.
std::vector<std::string> RegistrationLines(const CallSite& site);

}  // namespace varnel::testing

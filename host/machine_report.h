// Shows a machine's sessions, for a person and for a program. Pure but for the output; one thread.
#pragma once

#include <string>
#include <vector>

#include "platform/embedded/trace/machine_sessions.h"

namespace varnel::host {

/// A few lines for each session, or a sentence that none runs.
std::string SessionsAsText(const std::vector<embedded::SessionSummary>& sessions);

/// One JSON object a line for each session, with the keys that the manual lists.
std::string SessionsAsJson(const std::vector<embedded::SessionSummary>& sessions);

}  // namespace varnel::host

// The session "EventLog-System", through which the system's event log hears its providers: it has no file and no events
// that a tool could read, but it is seen by queries on a machine that has booted. Stateless; any thread.
#pragma once

#include <cstdint>

#include "interfaces/guid.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/trace/properties_block.h"
#include "platform/trace.h"

namespace varnel::embedded {

enum class EventLogSession { kNone, kRuns };

/// Above the ids that sessions of tools get.
inline constexpr std::uint16_t kEventLogSessionId = 0xFFFE;

/// It runs from a machine's first `boot` on, until the host restarts: a machine that was only made has not booted.
EventLogSession EventLogSessionOf(const Machine& machine);

/// Whether a call means it, by its handle or with handle 0 by its name.
bool MeansEventLogSession(platform::TRACEHANDLE handle, const char16_t* name);

/// The kernel's two providers that the System log hears.
const GUID* EventLogProvidersBegin();
const GUID* EventLogProvidersEnd();

/// Fills in a checked block as a query does. 0, or 234 when the name does not fit.
std::uint32_t DescribeEventLogSession(PropertiesBlock block);

}  // namespace varnel::embedded

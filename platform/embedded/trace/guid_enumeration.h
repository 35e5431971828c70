// EnumerateTraceGuidsEx: the providers of a machine, and which sessions have one of them enabled.
#pragma once

#include <cstdint>

#include "platform/embedded/ring/session_store.h"
#include "platform/embedded/trace/event_log_session.h"

namespace varnel::embedded {

/// As the port's operation of that name. Class 0 lists the GUIDs; class 1 tells of the GUID in `in`: a count of
/// instances, then one instance with its enables. A GUID that was never registered nor enabled answers 4200. The event
/// log's session stands behind the tools' when it runs.
std::uint32_t EnumerateGuids(const ring::SessionStore& store, std::uint32_t information_class, const void* in,
                             std::uint32_t in_size, void* out, std::uint32_t out_size, std::uint32_t* needed,
                             EventLogSession event_log = EventLogSession::kNone);

}  // namespace varnel::embedded

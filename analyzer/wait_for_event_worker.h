// The thread on which the engine waits for a dump. It may be ended by force at any moment, and it sees its parameter
// alone.
#pragma once

#include <cstdint>

#include "analyzer/engine_results.h"
#include "platform/debugger/engine.h"
#include "platform/types.h"

namespace varnel {

/// A heap block, shared with the thread. Who made the thread frees it once the thread has ended.
struct WaitForEventParam {
  platform::IDebugControl* control;  // borrowed from the session
  std::uint32_t timeoutMs;           // of WaitForEvent itself
  platform::HANDLE doneEvent;        // set when WaitForEvent has returned
  std::int32_t result;               // what it returned
};

/// How long to wait for the thread's answer, in milliseconds: `hostWaitMs`; when that is 0, a second longer than the
/// engine's own limit, or without a limit when there is no such number.
std::uint32_t WaitLimit(std::uint32_t engineTimeoutMs, std::uint32_t hostWaitMs);

/// The thread's body; `parameter` is a WaitForEventParam. 1 when the wait failed, else 0.
std::uint32_t WaitForEventWorker(void* parameter);

}  // namespace varnel

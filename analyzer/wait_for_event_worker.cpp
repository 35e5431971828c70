#include "analyzer/wait_for_event_worker.h"

#include "platform/platform.h"

namespace varnel {
namespace {

constexpr std::uint32_t kPatienceMs = 1000;

}  // namespace

std::uint32_t WaitLimit(std::uint32_t engineTimeoutMs, std::uint32_t hostWaitMs) {
  if (hostWaitMs != 0) return hostWaitMs;
  const bool overflows = engineTimeoutMs > platform::kInfinite - kPatienceMs;
  return overflows ? platform::kInfinite : engineTimeoutMs + kPatienceMs;
}

// Holds nothing that would have to be destroyed: the thread may leave from inside of either call.
std::uint32_t WaitForEventWorker(void* parameter) {
  auto* const param = static_cast<WaitForEventParam*>(parameter);
  const std::int32_t result = param->control->WaitForEvent(0, param->timeoutMs);
  param->result = result;
  platform::ThreadsPort().SetEvent(param->doneEvent);
  return Failed(result) ? 1 : 0;
}

}  // namespace varnel

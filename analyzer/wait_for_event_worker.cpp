#include "analyzer/wait_for_event_worker.h"

#include "platform/platform.h"

namespace varnel {

// Holds nothing that would have to be destroyed: the thread may leave from inside of either call.
std::uint32_t WaitForEventWorker(void* parameter) {
  auto* const param = static_cast<WaitForEventParam*>(parameter);
  const std::int32_t result = param->control->WaitForEvent(0, param->timeoutMs);
  param->result = result;
  platform::ThreadsPort().SetEvent(param->doneEvent);
  return Failed(result) ? 1 : 0;
}

}  // namespace varnel

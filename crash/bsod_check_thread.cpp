#include "crash/bsod_check_thread.h"

#include "pipeline/consumer_table.h"
#include "platform/platform.h"

namespace varnel {

std::uint32_t BSODCheckThread(void* parameter) {
  const auto* table = static_cast<const ConsumerTable*>(parameter);
  platform::ThreadsPort().SetEvent(table->NoSymbolDoneEvent);
  platform::ThreadsPort().SetEvent(table->WithSymbolDoneEvent);
  return 0;
}

}  // namespace varnel

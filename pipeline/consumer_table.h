// ConsumerTable: the module's one process-wide record. The lifecycle fills and clears it; threads and trace callbacks
// receive it as their context. The operations here bring consumers into being and hand events to their queues.
//
// Fields without a lock are written by start before the threads that read them exist, or by the one thread named beside
// them; whoever reads them later reads them as they stand.
#pragma once

#include <cstdint>

#include "base/lock.h"
#include "interfaces/guid.h"
#include "interfaces/wardlet_tool.h"
#include "pipeline/list.h"
#include "pipeline/raw_event.h"
#include "pipeline/relaxed.h"
#include "platform/threads.h"
#include "platform/types.h"

namespace varnel {

struct ConsumerTable {
  Relaxed<std::uint32_t> dwFlags;              // start's argument
  Relaxed<std::uint32_t> bThisBootHasExecute;  // this boot has run the module before
  Relaxed<std::uint32_t> bHasCallInit;         // 1 from start's record of the callback to the end of stop
  Relaxed<std::uint32_t> bStopRequested;       // ends every reading of a trace at its next buffer
  Relaxed<platform::HANDLE> hStopEvent;        // manual-reset; ends the consumers' threads
  Relaxed<platform::HANDLE> hBSODCheckThread;
  Relaxed<platform::HANDLE> hLeakEventCollectThread;
  Relaxed<platform::HANDLE> hRealTimeOpenedEvent;  // manual-reset; hRealTimeTrace has its value
  Relaxed<platform::HANDLE> hRealTimeEventCollectThread;
  Relaxed<platform::TRACEHANDLE> hRealTimeTrace;  // written by the live thread, cleared by stop
  Relaxed<VarnelEventCallback> pfnEventCallback;
  Relaxed<void*> pCallbackContext;
  SrwLock TableLock;  // outermost; shared to insert, exclusive to add or remove a consumer
  Relaxed<std::uint32_t> dwConsumerCount;
  ListEntry ConsumerList VARNEL_GUARDED_BY(TableLock);  // of TargetConsumer
  Relaxed<platform::HANDLE> NoSymbolDoneEvent;          // manual-reset
  Relaxed<platform::HANDLE> WithSymbolDoneEvent;        // manual-reset
};

/// The one record.
extern ConsumerTable g_ConsumerTable;

/// Makes sure that the consumer of this provider and keyword exists, with `threadProc` running on it. 0, 87 for a null
/// pointer, 14 when memory runs out, or the last error of the event or thread that could not be created (so 0 where
/// that left none); the table is then as it was. Any thread; takes TableLock exclusively.
std::uint32_t CheckAndCreateTargetConsumerThread(const GUID* providerGuid, std::uint64_t keyword, ConsumerTable* table,
                                                 platform::ThreadStart threadProc);

/// Hands an event to its consumer's queue and wakes the consumer. 0, 87 for a null pointer, 1168 when there is no such
/// consumer; on a failure the event stays the caller's. Any thread; takes TableLock shared, then the QueueLock.
std::uint32_t InsertRawEvent(ConsumerTable* table, RawEvent* event, const GUID* providerGuid, std::uint64_t keyword);

}  // namespace varnel

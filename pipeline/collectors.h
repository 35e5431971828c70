// The collectors: two threads that bring trace events in, one from the live session and one, once at start, from the
// trace files that earlier runs left behind. Both feed the one EventRecordCallback; order and repeats between them are
// sorted out behind it. No failure here reaches the host.
#pragma once

#include <cstdint>

#include "platform/trace.h"

namespace varnel {

/// Takes one event on the thread that reads the trace: passes the seven providers, makes sure of the consumer, decodes
/// and queues. Neither delivers nor touches the registry, so a slow host does not hold up the reading.
void EventRecordCallback(platform::EVENT_RECORD* event);

/// 1 to go on reading, 0 once a stop was asked for.
std::uint32_t TraceBufferCallback(platform::EVENT_TRACE_LOGFILEW* buffer);

/// Thread body; `parameter` is the ConsumerTable. Reads the live session until stop closes the trace, or until the
/// reading fails: there is no second try before the next start. 31 for null, else what the reading gave.
std::uint32_t RealTimeEventCollectThread(void* parameter);

/// Thread body; `parameter` is the ConsumerTable. Reads the left-over files, temporary sessions' first, then deletes
/// them. 87 for null, else the code of the first step that failed.
std::uint32_t LeakEventCollectThread(void* parameter);

/// For EnumTargetDirFile: reads one file to its end when it is the module's. `isTempSession` is 1 for files of
/// temporary sessions and 0 for the AutoLogger's. Always 0, so that a bad file does not end the walk.
std::uint32_t CheckIsTargetSessionLogFile(const char16_t* filePath, void* isTempSession);

}  // namespace varnel

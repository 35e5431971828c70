// The event log port: queries over the system's event channels, as the platform's own calls make them. Results and
// flags are the platform's. Sources: winevt.h of the Windows SDK and its documentation.
#pragma once

#include "platform/types.h"

namespace varnel::platform {

/// A result set or one event. Closed with EvtClose only: CloseHandle on one is a wrong close.
using EVT_HANDLE = void*;

// Flags of EvtQuery: one of the first two with at most one of the next two.
inline constexpr std::uint32_t kEvtQueryChannelPath = 0x1;
inline constexpr std::uint32_t kEvtQueryFilePath = 0x2;
inline constexpr std::uint32_t kEvtQueryForwardDirection = 0x100;  // also what no direction means
inline constexpr std::uint32_t kEvtQueryReverseDirection = 0x200;
inline constexpr std::uint32_t kEvtQueryTolerateQueryErrors = 0x1000;

// Flags of EvtRender.
inline constexpr std::uint32_t kEvtRenderEventValues = 0;
inline constexpr std::uint32_t kEvtRenderEventXml = 1;
inline constexpr std::uint32_t kEvtRenderBookmark = 2;

/// Calls that fail answer false or null and set the thread's last error. Any thread may call; a result set or an event
/// is for one thread at a time.
class EventLog {
 public:
  virtual ~EventLog() = default;

  /// A result set over a channel (or a file), without a session when `session` is null. A null query or "*" asks for
  /// all. In the reverse direction records come in descending order of their number. Null on failure: 15007 no such
  /// channel, 15001 a query that is not understood, 87 flags that do not go together.
  virtual EVT_HANDLE EvtQuery(EVT_HANDLE session, const char16_t* path, const char16_t* query, std::uint32_t flags) = 0;
  /// Up to `count` events into `events`, each to be closed by the caller; `*returned` tells how many. 259 with none
  /// behind the last one, 1460 when the time (milliseconds, kInfinite for no limit) is over, 87 for a count of 0.
  /// `flags` is 0.
  virtual bool EvtNext(EVT_HANDLE result_set, std::uint32_t count, EVT_HANDLE* events, std::uint32_t timeout_ms,
                       std::uint32_t flags, std::uint32_t* returned) = 0;
  /// One event as NUL-terminated UTF-16 XML, with kEvtRenderEventXml and a null context. Sizes are in bytes and count
  /// the NUL. 122 with the size needed in `*used` when the buffer is null or too small; `*property_count` is 0 for XML.
  virtual bool EvtRender(EVT_HANDLE context, EVT_HANDLE event, std::uint32_t flags, std::uint32_t buffer_size,
                         void* buffer, std::uint32_t* used, std::uint32_t* property_count) = 0;
  /// Any handle of this port; 6 for what is none.
  virtual bool EvtClose(EVT_HANDLE object) = 0;
};

}  // namespace varnel::platform

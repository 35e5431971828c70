// RawEvent: one decoded trace event on its way to the host. A plain heap record; whoever holds it owns it, and
// InsertRawEvent hands it to a queue.
#pragma once

#include <cstdint>

#include "pipeline/list.h"

namespace varnel {

// RawEvent::dwFlags: what happens at delivery. The bit 0x4 has no name and no effect.
inline constexpr std::uint32_t NEED_DBG_PRINT = 0x1;      // the text goes to the debugger output
inline constexpr std::uint32_t NEED_WRITE_TO_FILE = 0x2;  // named in the log line only
inline constexpr std::uint32_t NEED_POINT_RECORD = 0x8;   // the text goes to the host's callback

struct RawEvent {
  ListEntry Link;  // in a consumer's queue
  std::uint32_t bIsModuleInitEvent;
  std::uint64_t dwTimeStamp;  // FILETIME
  std::uint32_t dwCounter;    // the provider's sequence number
  std::uint32_t dwFlags;
  char* pszJsonText;  // NUL-terminated UTF-8 from cJSON, owned
};
static_assert(sizeof(RawEvent) == 48);

inline RawEvent* RawEventFromLink(ListEntry* link) {
  return reinterpret_cast<RawEvent*>(link);
}

/// An empty record with a link of its own; null when memory runs out. DestoryRawEvent takes it once it has a text.
RawEvent* AllocateRawEvent();

/// Frees a record and its text, whichever is there.
void FreeRawEvent(RawEvent* event);

/// Frees the text and the record; does not unlink it. 31 for a null event, and for one without a text, which is then
/// not freed.
std::uint32_t DestoryRawEvent(RawEvent* event);

}  // namespace varnel

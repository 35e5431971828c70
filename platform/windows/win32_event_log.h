// The event log port by the system's own calls, which are looked up in wevtapi.dll.
#pragma once

#include "platform/eventlog.h"

namespace varnel::windows {

class Win32EventLog final : public platform::EventLog {
 public:
  using EVT_HANDLE = platform::EVT_HANDLE;

  EVT_HANDLE EvtQuery(EVT_HANDLE session, const char16_t* path, const char16_t* query, std::uint32_t flags) override;
  bool EvtNext(EVT_HANDLE result_set, std::uint32_t count, EVT_HANDLE* events, std::uint32_t timeout_ms,
               std::uint32_t flags, std::uint32_t* returned) override;
  bool EvtRender(EVT_HANDLE context, EVT_HANDLE event, std::uint32_t flags, std::uint32_t buffer_size, void* buffer,
                 std::uint32_t* used, std::uint32_t* property_count) override;
  bool EvtClose(EVT_HANDLE object) override;
};

}  // namespace varnel::windows

// The trace port by the system's own event tracing.
#pragma once

#include "platform/trace.h"

namespace varnel::windows {

class EtwTrace final : public platform::Trace {
 public:
  using TRACEHANDLE = platform::TRACEHANDLE;

  std::uint32_t StartTraceW(TRACEHANDLE* session, const char16_t* name,
                            platform::EVENT_TRACE_PROPERTIES* properties) override;
  std::uint32_t ControlTraceW(TRACEHANDLE session, const char16_t* name, platform::EVENT_TRACE_PROPERTIES* properties,
                              std::uint32_t control) override;
  std::uint32_t EnableTraceEx2(TRACEHANDLE session, const GUID* provider, std::uint32_t control_code,
                               std::uint8_t level, std::uint64_t match_any_keyword, std::uint64_t match_all_keyword,
                               std::uint32_t timeout_ms, const void* enable_parameters) override;
  std::uint32_t EnumerateTraceGuidsEx(std::uint32_t information_class, const void* in, std::uint32_t in_size, void* out,
                                      std::uint32_t out_size, std::uint32_t* needed) override;
  TRACEHANDLE OpenTraceW(platform::EVENT_TRACE_LOGFILEW* logfile) override;
  std::uint32_t ProcessTrace(const TRACEHANDLE* traces, std::uint32_t count, const platform::FILETIME* start,
                             const platform::FILETIME* end) override;
  std::uint32_t CloseTrace(TRACEHANDLE trace) override;
};

}  // namespace varnel::windows

#include "platform/windows/etw_trace.h"

#include "platform/windows/etw_headers.h"
#include "platform/windows/guarded_call.h"

namespace varnel::windows {

std::uint32_t EtwTrace::StartTraceW(TRACEHANDLE* session, const char16_t* name,
                                    platform::EVENT_TRACE_PROPERTIES* properties) {
  return ::StartTraceW(Across<::TRACEHANDLE>(session), Wide(name), Across<::EVENT_TRACE_PROPERTIES>(properties));
}

std::uint32_t EtwTrace::ControlTraceW(TRACEHANDLE session, const char16_t* name,
                                      platform::EVENT_TRACE_PROPERTIES* properties, std::uint32_t control) {
  return ::ControlTraceW(session, Wide(name), Across<::EVENT_TRACE_PROPERTIES>(properties), control);
}

std::uint32_t EtwTrace::EnableTraceEx2(TRACEHANDLE session, const GUID* provider, std::uint32_t control_code,
                                       std::uint8_t level, std::uint64_t match_any_keyword,
                                       std::uint64_t match_all_keyword, std::uint32_t timeout_ms,
                                       const void* enable_parameters) {
  return ::EnableTraceEx2(session, provider, control_code, level, match_any_keyword, match_all_keyword, timeout_ms,
                          static_cast<ENABLE_TRACE_PARAMETERS*>(const_cast<void*>(enable_parameters)));
}

std::uint32_t EtwTrace::EnumerateTraceGuidsEx(std::uint32_t information_class, const void* in, std::uint32_t in_size,
                                              void* out, std::uint32_t out_size, std::uint32_t* needed) {
  struct Call {
    TRACE_QUERY_INFO_CLASS information_class;
    void* in;
    ULONG in_size;
    void* out;
    ULONG out_size;
    ULONG* needed;
    ULONG result;
  } call = {static_cast<TRACE_QUERY_INFO_CLASS>(information_class),
            const_cast<void*>(in),
            in_size,
            out,
            out_size,
            Across<ULONG>(needed),
            ERROR_SUCCESS};
  // Wine has the name and raises an exception instead of answering.
  const unsigned raised = VarnelGuardedCall(
      [](void* parameter) {
        auto& c = *static_cast<Call*>(parameter);
        c.result = ::EnumerateTraceGuidsEx(c.information_class, c.in, c.in_size, c.out, c.out_size, c.needed);
      },
      &call);
  return raised == 0 ? call.result : DWORD{ERROR_CALL_NOT_IMPLEMENTED};
}

platform::TRACEHANDLE EtwTrace::OpenTraceW(platform::EVENT_TRACE_LOGFILEW* logfile) {
  return ::OpenTraceW(Across<::EVENT_TRACE_LOGFILEW>(logfile));
}

std::uint32_t EtwTrace::ProcessTrace(const TRACEHANDLE* traces, std::uint32_t count, const platform::FILETIME* start,
                                     const platform::FILETIME* end) {
  return ::ProcessTrace(const_cast<::TRACEHANDLE*>(Across<::TRACEHANDLE>(traces)), count,
                        const_cast<::FILETIME*>(Across<::FILETIME>(start)),
                        const_cast<::FILETIME*>(Across<::FILETIME>(end)));
}

std::uint32_t EtwTrace::CloseTrace(TRACEHANDLE trace) {
  return ::CloseTrace(trace);
}

}  // namespace varnel::windows

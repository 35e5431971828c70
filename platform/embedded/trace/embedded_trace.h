// The trace port on a machine folder.
#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "platform/embedded/trace/open_trace.h"
#include "platform/embedded/trace/session_control.h"
#include "platform/embedded/trace/trace_options.h"
#include "platform/trace.h"

namespace varnel::embedded {

class EmbeddedTrace final : public platform::Trace {
 public:
  explicit EmbeddedTrace(TraceOptions options) : options_(std::move(options)), control_(options_) {}

  std::uint32_t StartTraceW(platform::TRACEHANDLE* session, const char16_t* name,
                            platform::EVENT_TRACE_PROPERTIES* properties) override;
  std::uint32_t ControlTraceW(platform::TRACEHANDLE session, const char16_t* name,
                              platform::EVENT_TRACE_PROPERTIES* properties, std::uint32_t control) override;
  std::uint32_t EnableTraceEx2(platform::TRACEHANDLE session, const GUID* provider, std::uint32_t control_code,
                               std::uint8_t level, std::uint64_t match_any_keyword, std::uint64_t match_all_keyword,
                               std::uint32_t timeout_ms, const void* enable_parameters) override;
  std::uint32_t EnumerateTraceGuidsEx(std::uint32_t information_class, const void* in, std::uint32_t in_size, void* out,
                                      std::uint32_t out_size, std::uint32_t* needed) override;
  platform::TRACEHANDLE OpenTraceW(platform::EVENT_TRACE_LOGFILEW* logfile) override;
  std::uint32_t ProcessTrace(const platform::TRACEHANDLE* traces, std::uint32_t count, const platform::FILETIME* start,
                             const platform::FILETIME* end) override;
  std::uint32_t CloseTrace(platform::TRACEHANDLE trace) override;

 private:
  std::shared_ptr<OpenTrace> OpenLive(const platform::EVENT_TRACE_LOGFILEW& logfile, std::uint32_t* error) const;
  std::shared_ptr<OpenTrace> OpenFile(const platform::EVENT_TRACE_LOGFILEW& logfile, std::uint32_t* error) const;
  std::shared_ptr<OpenTrace> Find(platform::TRACEHANDLE handle);

  const TraceOptions options_;
  const SessionControl control_;
  std::mutex mutex_;
  std::map<platform::TRACEHANDLE, std::shared_ptr<OpenTrace>> open_;  // guarded by mutex_
  platform::TRACEHANDLE next_ = 0x100;                                // guarded by mutex_; never used again
};

}  // namespace varnel::embedded

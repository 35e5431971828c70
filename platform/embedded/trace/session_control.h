// The control half of the trace port: starting, querying, flushing, updating and stopping sessions, and enabling
// providers in them. Results are Win32 error numbers. Any thread may call.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/embedded/ring/session_store.h"
#include "platform/embedded/trace/properties_block.h"
#include "platform/embedded/trace/trace_options.h"
#include "platform/trace.h"

namespace varnel::embedded {

class SessionControl {
 public:
  explicit SessionControl(const TraceOptions& options) : options_(options) {}

  std::uint32_t Start(platform::TRACEHANDLE* handle, const char16_t* name,
                      platform::EVENT_TRACE_PROPERTIES* properties) const;
  std::uint32_t Control(platform::TRACEHANDLE handle, const char16_t* name,
                        platform::EVENT_TRACE_PROPERTIES* properties, std::uint32_t code) const;
  std::uint32_t Enable(platform::TRACEHANDLE handle, const GUID* provider, std::uint32_t code, std::uint8_t level,
                       std::uint64_t match_any, std::uint64_t match_all) const;

  /// The machine's sessions as the present boot has them.
  ring::SessionStore Store() const;

 private:
  std::shared_ptr<ring::Session> Find(const ring::SessionStore& store, platform::TRACEHANDLE handle,
                                      const char16_t* name) const;
  std::uint32_t Update(ring::Session& session, const PropertiesBlock& block) const;

  const TraceOptions& options_;
};

/// Fills in a block from a session, the texts included. 0, or 234 when a text does not fit.
std::uint32_t DescribeSession(const ring::Session& session, PropertiesBlock block);

/// What a start needs, out of a block: 0, 87 for modes and sizes that contradict each other, 24, 161 and others for the
/// texts.
std::uint32_t ReadParameters(const TraceOptions& options, const char16_t* name, const PropertiesBlock& block,
                             ring::SessionParameters* out);

std::uint32_t Win32OfStart(ring::StartFailure failure);

}  // namespace varnel::embedded

#include "host/session_losses.h"

#include <string>

#include "platform/trace.h"

namespace varnel::host {
namespace {

constexpr char16_t kSessionName[] = u"KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr std::size_t kTextRoom = 1024;  // characters, for each of the two names

// The fixed block with room for both names behind it.
struct QueryBlock {
  platform::EVENT_TRACE_PROPERTIES properties{};
  char16_t logger_name[kTextRoom] = {};
  char16_t log_file_name[kTextRoom] = {};
};

}  // namespace

formats::Result<LossesBySession> ReadSessionLosses(platform::Trace& trace) {
  QueryBlock block;
  block.properties.Wnode.BufferSize = sizeof block;
  block.properties.LoggerNameOffset = offsetof(QueryBlock, logger_name);
  block.properties.LogFileNameOffset = offsetof(QueryBlock, log_file_name);
  const std::uint32_t answer =
      trace.ControlTraceW(0, kSessionName, &block.properties, platform::kEventTraceControlQuery);
  if (answer == platform::kErrorWmiInstanceNotFound) return LossesBySession{};
  if (answer != platform::kErrorSuccess) {
    return formats::Error{"the trace session can't be asked (error " + std::to_string(answer) + ")"};
  }
  const platform::EVENT_TRACE_PROPERTIES& properties = block.properties;
  return LossesBySession{
      {properties.Wnode.HistoricalContext,
       {properties.EventsLost, std::uint64_t{properties.LogBuffersLost} + properties.RealTimeBuffersLost}}};
}

SessionLosses LostBetween(const LossesBySession& before, const LossesBySession& after) {
  SessionLosses sum;
  for (const auto& [session, losses] : after) {
    const auto earlier = before.find(session);
    const SessionLosses base = earlier == before.end() ? SessionLosses{} : earlier->second;
    sum.events += losses.events - base.events;
    sum.buffers += losses.buffers - base.buffers;
  }
  return sum;
}

}  // namespace varnel::host

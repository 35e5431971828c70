// The trace port in memory: sessions by name, trace files as lists of events, live events pushed by the test.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/trace.h"
#include "tests/support/scripted_event.h"
#include "tests/support/virtual_time.h"

namespace varnel::testing {

/// Borrows the time. Every list is read and written under its lock, so tests and threads may call at any moment. A live
/// ProcessTrace counts as blocked while it waits for events.
class FakeTrace : public platform::Trace {
 public:
  struct Enabled {
    GUID provider{};
    std::uint8_t level = 0;
    std::uint64_t match_any = 0;
    std::uint64_t match_all = 0;
  };
  struct Session {
    std::u16string name;
    std::u16string log_file;  // empty: none
    platform::TRACEHANDLE handle = 0;
    platform::EVENT_TRACE_PROPERTIES properties{};  // as it was started; zeros for one that the test made
    std::vector<Enabled> providers;
  };
  struct ControlCall {
    std::string what;  // "start", "query", "stop", "flush", "enable", "disable"
    std::u16string name;
    GUID provider{};
  };

  explicit FakeTrace(VirtualTime* time);
  ~FakeTrace() override;

  /// A session that runs already.
  platform::TRACEHANDLE AddSession(std::u16string_view name, std::u16string_view log_file);
  /// Ends it from outside: a live ProcessTrace answers 4201.
  void RemoveSession(std::u16string_view name);
  std::optional<Session> FindSession(std::u16string_view name) const;
  std::vector<Session> Sessions() const;
  std::vector<ControlCall> ControlCalls() const;

  /// A trace file that OpenTraceW finds; a buffer callback follows each `events_in_buffer` events (0: once, at the
  /// end).
  void AddFile(std::u16string_view path, std::vector<ScriptedEvent> events, std::size_t events_in_buffer = 0);
  /// How often a file was read.
  unsigned ReadsOf(std::u16string_view path) const;
  /// One buffer for whoever reads a live session: its events, then the buffer callback.
  void PushLive(std::vector<ScriptedEvent> events);
  void PushLive(const ScriptedEvent& event) { PushLive(std::vector<ScriptedEvent>{event}); }
  std::size_t open_traces() const;

  /// What EnumerateTraceGuidsEx answers; without it 50, not supported.
  std::function<std::uint32_t(std::uint32_t, const void*, std::uint32_t, void*, std::uint32_t, std::uint32_t*)>
      enumerate_guids;
  /// Answers from now on that every provider is enabled in this one session.
  void EnableEveryProviderIn(platform::TRACEHANDLE session);
  /// What CloseTrace answers while a ProcessTrace is under way.
  std::uint32_t close_result_while_reading = platform::kErrorSuccess;

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
  struct File {
    std::vector<ScriptedEvent> events;
    std::size_t events_in_buffer = 0;
    unsigned reads = 0;
  };
  struct Opened;

  Session* Running(platform::TRACEHANDLE handle, std::u16string_view name);
  std::uint32_t Query(const Session& session, platform::EVENT_TRACE_PROPERTIES* properties) const;
  std::uint32_t ReadFile(Opened* opened);
  std::uint32_t ReadLive(Opened* opened);

  VirtualTime* time_;
  std::vector<Session> sessions_;
  std::vector<ControlCall> calls_;
  std::map<std::u16string, File> files_;  // by folded path
  std::map<platform::TRACEHANDLE, std::shared_ptr<Opened>> opened_;
  platform::TRACEHANDLE next_ = 0x100;
};

}  // namespace varnel::testing

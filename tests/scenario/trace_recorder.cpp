// A decorator around the trace port of the module that it is linked into. It notes which traces the module opens and
// which buffers it gets from them.
#include <map>
#include <memory>
#include <mutex>

#include "platform/embedded/embedded_platform.h"
#include "platform/embedded/ring/session_store.h"
#include "platform/platform.h"
#include "tests/scenario/trace_log.h"

namespace varnel {
namespace {

namespace ring = embedded::ring;
using platform::EVENT_RECORD;
using platform::EVENT_TRACE_LOGFILEW;
using platform::TRACEHANDLE;
using scenario::TraceLog;
using scenario::TraceRecord;
using Kind = TraceRecord::Kind;

void Note(const TraceRecord& record) {
  static TraceLog* const log = TraceLog::FromEnvironment();
  if (log != nullptr) log->Add(record);
}

// The number of the open buffer of the machine's one session.
std::uint64_t OpenBuffer() {
  static std::mutex mutex;
  static std::shared_ptr<ring::Session>* const session = new std::shared_ptr<ring::Session>;
  const std::lock_guard lock(mutex);
  if (!*session) {
    const auto& machine = embedded::SystemEmbeddedPlatform().machine();
    if (!machine) return 0;
    const ring::SessionStore store(machine->SessionsPath(), embedded::HostBootId(), 0);
    const auto ids = store.RunningIds();
    if (ids.empty()) return 0;
    *session = store.Open(ids.front());
    if (!*session) return 0;
  }
  return (*session)->map()->open().sequence;
}

// A trace as the module opened it, and what has come of its present buffer.
struct Source {
  platform::EventRecordCallbackFunction on_event = nullptr;
  platform::BufferCallbackFunction on_buffer = nullptr;
  bool live = false;
  std::uint64_t first = 0;
  std::uint64_t last = 0;
};

// Of the thread that is inside ProcessTrace.
thread_local Source* current_source = nullptr;

void OnEvent(EVENT_RECORD* event) {
  const auto time = static_cast<std::uint64_t>(event->EventHeader.TimeStamp);
  if (current_source->first == 0) current_source->first = time;
  current_source->last = time;
  current_source->on_event(event);
}

std::uint32_t OnBuffer(EVENT_TRACE_LOGFILEW* logfile) {
  TraceRecord record;
  record.kind = Kind::kBuffer;
  record.live = current_source->live ? 1 : 0;
  record.first_time = current_source->first;
  record.last_time = current_source->last;
  record.open = OpenBuffer();
  Note(record);
  current_source->first = 0;
  return current_source->on_buffer(logfile);
}

class RecordingTrace final : public platform::Trace {
 public:
  explicit RecordingTrace(platform::Trace* port) : port_(port) {}

  std::uint32_t StartTraceW(TRACEHANDLE* session, const char16_t* name,
                            platform::EVENT_TRACE_PROPERTIES* properties) override {
    return port_->StartTraceW(session, name, properties);
  }
  std::uint32_t ControlTraceW(TRACEHANDLE session, const char16_t* name, platform::EVENT_TRACE_PROPERTIES* properties,
                              std::uint32_t control) override {
    return port_->ControlTraceW(session, name, properties, control);
  }
  std::uint32_t EnableTraceEx2(TRACEHANDLE session, const GUID* provider, std::uint32_t control_code,
                               std::uint8_t level, std::uint64_t match_any_keyword, std::uint64_t match_all_keyword,
                               std::uint32_t timeout_ms, const void* enable_parameters) override {
    return port_->EnableTraceEx2(session, provider, control_code, level, match_any_keyword, match_all_keyword,
                                 timeout_ms, enable_parameters);
  }
  std::uint32_t EnumerateTraceGuidsEx(std::uint32_t information_class, const void* in, std::uint32_t in_size, void* out,
                                      std::uint32_t out_size, std::uint32_t* needed) override {
    return port_->EnumerateTraceGuidsEx(information_class, in, in_size, out, out_size, needed);
  }

  TRACEHANDLE OpenTraceW(EVENT_TRACE_LOGFILEW* logfile) override {
    Source source;
    source.on_event = logfile->EventRecordCallback;
    source.on_buffer = logfile->BufferCallback;
    source.live = (logfile->ProcessTraceMode & platform::kProcessTraceModeRealTime) != 0;
    TraceRecord record;
    record.kind = Kind::kOpened;
    record.live = source.live ? 1 : 0;
    record.open = OpenBuffer();
    logfile->EventRecordCallback = OnEvent;
    logfile->BufferCallback = OnBuffer;
    const TRACEHANDLE handle = port_->OpenTraceW(logfile);
    logfile->EventRecordCallback = source.on_event;
    logfile->BufferCallback = source.on_buffer;
    if (handle == platform::kInvalidProcessTraceHandle) return handle;
    record.open_behind = OpenBuffer();
    Note(record);
    const std::lock_guard lock(mutex_);
    sources_[handle] = source;
    return handle;
  }

  std::uint32_t ProcessTrace(const TRACEHANDLE* traces, std::uint32_t count, const platform::FILETIME* start,
                             const platform::FILETIME* end) override {
    Source source;
    {
      const std::lock_guard lock(mutex_);
      if (const auto found = sources_.find(traces[0]); found != sources_.end()) source = found->second;
    }
    current_source = &source;
    const std::uint32_t result = port_->ProcessTrace(traces, count, start, end);
    current_source = nullptr;
    TraceRecord record;
    record.kind = Kind::kEnded;
    record.live = source.live ? 1 : 0;
    Note(record);
    return result;
  }

  std::uint32_t CloseTrace(TRACEHANDLE trace) override { return port_->CloseTrace(trace); }

 private:
  platform::Trace* const port_;
  std::mutex mutex_;
  std::map<TRACEHANDLE, Source> sources_;  // guarded by mutex_
};

// Before the host can reach anything of the module. Never taken out: the module may run until the process ends.
__attribute__((constructor)) void Wrap() {
  auto& trace = platform::SystemPlatform().trace;
  trace = new RecordingTrace(trace);
}

}  // namespace

}  // namespace varnel

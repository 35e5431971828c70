#include "tests/support/fake_trace.h"

#include <algorithm>
#include <cstring>
#include <deque>

#include "tests/support/last_error.h"
#include "tests/support/names.h"

namespace varnel::testing {

using platform::EVENT_TRACE_LOGFILEW;
using platform::EVENT_TRACE_PROPERTIES;
using platform::TRACEHANDLE;

struct FakeTrace::Opened {
  EVENT_TRACE_LOGFILEW logfile{};
  std::u16string source;  // a session's name or a file's folded path
  bool live = false;
  bool reading = false;
  bool closed = false;
  bool session_gone = false;
  std::deque<std::vector<ScriptedEvent>> buffers;  // live ones, not yet delivered
};

namespace {

std::u16string TextAt(const EVENT_TRACE_PROPERTIES* properties, std::uint32_t offset) {
  if (offset == 0) return {};
  const auto* const base = reinterpret_cast<const std::uint8_t*>(properties);
  std::u16string text;
  for (std::uint32_t at = offset; at + 2 <= properties->Wnode.BufferSize; at += 2) {
    char16_t c;
    std::memcpy(&c, base + at, sizeof c);
    if (c == 0) break;
    text.push_back(c);
  }
  return text;
}

bool PutTextAt(EVENT_TRACE_PROPERTIES* properties, std::uint32_t offset, const std::u16string& text) {
  const std::size_t bytes = (text.size() + 1) * sizeof(char16_t);
  if (offset + bytes > properties->Wnode.BufferSize) return false;
  std::memcpy(reinterpret_cast<std::uint8_t*>(properties) + offset, text.c_str(), bytes);
  return true;
}

bool TellBuffer(EVENT_TRACE_LOGFILEW* logfile) {
  ++logfile->BuffersRead;
  return logfile->BufferCallback == nullptr || logfile->BufferCallback(logfile) != 0;
}

}  // namespace

FakeTrace::FakeTrace(VirtualTime* time) : time_(time) {}
FakeTrace::~FakeTrace() = default;

FakeTrace::Session* FakeTrace::Running(TRACEHANDLE handle, std::u16string_view name) {
  for (Session& session : sessions_) {
    if (handle != 0 ? session.handle == handle : Folded(session.name) == Folded(name)) return &session;
  }
  return nullptr;
}

TRACEHANDLE FakeTrace::AddSession(std::u16string_view name, std::u16string_view log_file) {
  TRACEHANDLE handle = 0;
  time_->Change([&] {
    handle = ++next_;
    Session session;
    session.name = name;
    session.log_file = log_file;
    session.handle = handle;
    sessions_.push_back(session);
  });
  return handle;
}

void FakeTrace::RemoveSession(std::u16string_view name) {
  time_->Change([&] {
    std::erase_if(sessions_, [&](const Session& session) { return Folded(session.name) == Folded(name); });
    for (auto& [handle, opened] : opened_) {
      if (opened->live && Folded(opened->source) == Folded(name)) opened->session_gone = true;
    }
  });
}

std::optional<FakeTrace::Session> FakeTrace::FindSession(std::u16string_view name) const {
  std::optional<Session> found;
  time_->Change([&] {
    for (const Session& session : sessions_) {
      if (Folded(session.name) == Folded(name)) found = session;
    }
  });
  return found;
}

std::vector<FakeTrace::Session> FakeTrace::Sessions() const {
  std::vector<Session> all;
  time_->Change([&] { all = sessions_; });
  return all;
}

std::vector<FakeTrace::ControlCall> FakeTrace::ControlCalls() const {
  std::vector<ControlCall> all;
  time_->Change([&] { all = calls_; });
  return all;
}

void FakeTrace::AddFile(std::u16string_view path, std::vector<ScriptedEvent> events, std::size_t events_in_buffer) {
  time_->Change([&] { files_[Folded(path)] = {std::move(events), events_in_buffer, 0}; });
}

unsigned FakeTrace::ReadsOf(std::u16string_view path) const {
  unsigned reads = 0;
  time_->Change([&] {
    const auto found = files_.find(Folded(path));
    if (found != files_.end()) reads = found->second.reads;
  });
  return reads;
}

void FakeTrace::PushLive(std::vector<ScriptedEvent> events) {
  time_->Change([&] {
    for (auto& [handle, opened] : opened_) {
      if (opened->live) opened->buffers.push_back(events);
    }
  });
}

std::size_t FakeTrace::open_traces() const {
  std::size_t count = 0;
  time_->Change([&] { count = opened_.size(); });
  return count;
}

std::uint32_t FakeTrace::StartTraceW(TRACEHANDLE* handle, const char16_t* name, EVENT_TRACE_PROPERTIES* properties) {
  std::uint32_t result = platform::kErrorSuccess;
  time_->Change([&] {
    calls_.push_back({"start", name, {}});
    if (Running(0, name) != nullptr) {
      result = platform::kErrorAlreadyExists;
      return;
    }
    Session session;
    session.name = name;
    session.log_file = TextAt(properties, properties->LogFileNameOffset);
    session.handle = ++next_;
    session.properties = *properties;
    sessions_.push_back(session);
    *handle = session.handle;
    properties->Wnode.HistoricalContext = session.handle;
  });
  return result;
}

std::uint32_t FakeTrace::Query(const Session& session, EVENT_TRACE_PROPERTIES* properties) const {
  const std::uint32_t name_offset = sizeof(EVENT_TRACE_PROPERTIES);
  const std::uint32_t room = properties->Wnode.BufferSize;
  const std::uint32_t file_offset =
      session.log_file.empty() ? 0 : name_offset + static_cast<std::uint32_t>((session.name.size() + 1) * 2);
  const EVENT_TRACE_PROPERTIES asked = *properties;
  *properties = session.properties;
  properties->Wnode.BufferSize = room;
  properties->Wnode.HistoricalContext = session.handle;
  properties->LoggerNameOffset = asked.LoggerNameOffset != 0 ? asked.LoggerNameOffset : name_offset;
  properties->LogFileNameOffset = file_offset;
  if (!PutTextAt(properties, properties->LoggerNameOffset, session.name)) return platform::kErrorMoreData;
  if (file_offset != 0 && !PutTextAt(properties, file_offset, session.log_file)) return platform::kErrorMoreData;
  return platform::kErrorSuccess;
}

std::uint32_t FakeTrace::ControlTraceW(TRACEHANDLE handle, const char16_t* name, EVENT_TRACE_PROPERTIES* properties,
                                       std::uint32_t control) {
  const std::u16string wanted = name == nullptr ? std::u16string() : std::u16string(name);
  std::uint32_t result = platform::kErrorSuccess;
  bool stopped = false;
  std::u16string stopped_name;
  time_->Change([&] {
    Session* const session = Running(handle, wanted);
    const char* const what = control == platform::kEventTraceControlQuery  ? "query"
                             : control == platform::kEventTraceControlStop ? "stop"
                                                                           : "flush";
    calls_.push_back({what, session != nullptr ? session->name : wanted, {}});
    if (session == nullptr) {
      result = platform::kErrorWmiInstanceNotFound;
    } else if (control == platform::kEventTraceControlStop) {
      stopped = true;
      stopped_name = session->name;
    } else if (properties != nullptr) {
      result = Query(*session, properties);
    }
  });
  if (stopped) RemoveSession(stopped_name);
  return result;
}

std::uint32_t FakeTrace::EnableTraceEx2(TRACEHANDLE handle, const GUID* provider, std::uint32_t control_code,
                                        std::uint8_t level, std::uint64_t match_any, std::uint64_t match_all,
                                        std::uint32_t, const void*) {
  if (provider == nullptr) return platform::kErrorInvalidParameter;
  std::uint32_t result = platform::kErrorSuccess;
  time_->Change([&] {
    Session* const session = Running(handle, {});
    const bool enables = control_code == platform::kEventControlCodeEnableProvider;
    calls_.push_back({enables ? "enable" : "disable", session == nullptr ? u"" : session->name, *provider});
    if (session == nullptr) {
      result = platform::kErrorInvalidParameter;
      return;
    }
    std::erase_if(session->providers, [&](const Enabled& enabled) { return enabled.provider == *provider; });
    if (enables) session->providers.push_back({*provider, level, match_any, match_all});
  });
  return result;
}

void FakeTrace::EnableEveryProviderIn(TRACEHANDLE session) {
  enumerate_guids = [session](std::uint32_t, const void*, std::uint32_t, void* out, std::uint32_t out_size,
                              std::uint32_t* needed) -> std::uint32_t {
    struct {
      platform::TRACE_GUID_INFO info{1, 0};
      platform::TRACE_PROVIDER_INSTANCE_INFO instance{0, 1, 0, 0};
      platform::TRACE_ENABLE_INFO enable{1, 5, 0, 0, 0, 0, 0, 0};
    } answer;
    answer.enable.LoggerId = static_cast<std::uint16_t>(session);
    *needed = sizeof answer;
    if (out_size < sizeof answer) return platform::kErrorInsufficientBuffer;
    std::memcpy(out, &answer, sizeof answer);
    return platform::kErrorSuccess;
  };
}

std::uint32_t FakeTrace::EnumerateTraceGuidsEx(std::uint32_t information_class, const void* in, std::uint32_t in_size,
                                               void* out, std::uint32_t out_size, std::uint32_t* needed) {
  if (!enumerate_guids) return platform::kErrorNotSupported;
  return enumerate_guids(information_class, in, in_size, out, out_size, needed);
}

TRACEHANDLE FakeTrace::OpenTraceW(EVENT_TRACE_LOGFILEW* logfile) {
  TRACEHANDLE handle = platform::kInvalidProcessTraceHandle;
  std::uint32_t error = platform::kErrorSuccess;
  time_->Change([&] {
    auto opened = std::make_shared<Opened>();
    opened->live = (logfile->ProcessTraceMode & platform::kProcessTraceModeRealTime) != 0;
    const char16_t* const source = opened->live ? logfile->LoggerName : logfile->LogFileName;
    if (source == nullptr) {
      error = platform::kErrorInvalidParameter;
      return;
    }
    opened->source = Folded(source);
    if (opened->live && Running(0, source) == nullptr) error = platform::kErrorWmiInstanceNotFound;
    if (!opened->live && !files_.contains(opened->source)) error = platform::kErrorFileNotFound;
    if (error != platform::kErrorSuccess) return;
    logfile->LogfileHeader.PerfFreq = 10'000'000;
    opened->logfile = *logfile;
    handle = ++next_;
    opened_[handle] = opened;
  });
  if (error != platform::kErrorSuccess) FailWith(error);
  return handle;
}

std::uint32_t FakeTrace::ReadFile(Opened* opened) {
  File file;
  time_->Change([&] {
    ++files_[opened->source].reads;
    file = files_[opened->source];
  });
  const std::size_t in_buffer = file.events_in_buffer == 0 ? file.events.size() : file.events_in_buffer;
  for (std::size_t i = 0; i < file.events.size(); ++i) {
    DeliverEvent(file.events[i], opened->logfile.Context, opened->logfile.EventRecordCallback);
    if ((i + 1) % in_buffer != 0 && i + 1 != file.events.size()) continue;
    if (!TellBuffer(&opened->logfile)) return platform::kErrorCancelled;
    bool closed = false;
    time_->Change([&] { closed = opened->closed; });
    if (closed) return platform::kErrorSuccess;
  }
  return platform::kErrorSuccess;
}

std::uint32_t FakeTrace::ReadLive(Opened* opened) {
  for (;;) {
    std::vector<ScriptedEvent> buffer;
    bool closed = false;
    bool gone = false;
    time_->Block(
        [&] {
          closed = opened->closed;
          gone = opened->session_gone && opened->buffers.empty();
          if (closed || gone) return true;
          if (opened->buffers.empty()) return false;
          buffer = std::move(opened->buffers.front());
          opened->buffers.pop_front();
          return true;
        },
        std::nullopt);
    if (closed) return platform::kErrorSuccess;
    if (gone) return platform::kErrorWmiInstanceNotFound;
    for (const ScriptedEvent& event : buffer) {
      DeliverEvent(event, opened->logfile.Context, opened->logfile.EventRecordCallback);
    }
    if (!TellBuffer(&opened->logfile)) return platform::kErrorCancelled;
  }
}

std::uint32_t FakeTrace::ProcessTrace(const TRACEHANDLE* traces, std::uint32_t count, const platform::FILETIME*,
                                      const platform::FILETIME*) {
  std::vector<std::shared_ptr<Opened>> all;
  time_->Change([&] {
    for (std::uint32_t i = 0; i < count; ++i) {
      const auto found = opened_.find(traces[i]);
      if (found != opened_.end()) all.push_back(found->second);
    }
    if (all.size() == count) {
      for (const auto& opened : all) opened->reading = true;
    }
  });
  if (all.size() != count) return platform::kErrorInvalidHandle;
  std::uint32_t result = platform::kErrorSuccess;
  for (const auto& opened : all) {
    if (result == platform::kErrorSuccess) result = opened->live ? ReadLive(opened.get()) : ReadFile(opened.get());
  }
  time_->Change([&] {
    for (const auto& opened : all) opened->reading = false;
  });
  return result;
}

std::uint32_t FakeTrace::CloseTrace(TRACEHANDLE trace) {
  std::uint32_t result = platform::kErrorInvalidHandle;
  time_->Change([&] {
    const auto found = opened_.find(trace);
    if (found == opened_.end()) return;
    found->second->closed = true;
    result = found->second->reading ? close_result_while_reading : platform::kErrorSuccess;
    opened_.erase(found);
  });
  return result;
}

}  // namespace varnel::testing

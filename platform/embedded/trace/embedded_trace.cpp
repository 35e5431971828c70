#include "platform/embedded/trace/embedded_trace.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <new>

#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/trace/file_trace.h"
#include "platform/embedded/trace/guid_enumeration.h"
#include "platform/embedded/trace/session_trace.h"

namespace varnel::embedded {

using platform::EVENT_TRACE_LOGFILEW;
using platform::TRACEHANDLE;

namespace {

/// Runs a port operation so that no exception leaves it.
template <typename Work>
std::uint32_t Guarded(Work work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return platform::kErrorNotEnoughMemory;
  } catch (...) {
    return platform::kErrorGenFailure;
  }
}

std::uint32_t ErrorOfOpen(int error) {
  if (error == ENOENT) return platform::kErrorFileNotFound;
  if (error == ENOTDIR) return platform::kErrorPathNotFound;
  if (error == EACCES || error == EISDIR || error == EPERM || error == ELOOP) return platform::kErrorAccessDenied;
  return platform::kErrorGenFailure;
}

}  // namespace

std::uint32_t EmbeddedTrace::StartTraceW(TRACEHANDLE* session, const char16_t* name,
                                         platform::EVENT_TRACE_PROPERTIES* properties) {
  return Guarded([&] { return control_.Start(session, name, properties); });
}

std::uint32_t EmbeddedTrace::ControlTraceW(TRACEHANDLE session, const char16_t* name,
                                           platform::EVENT_TRACE_PROPERTIES* properties, std::uint32_t control) {
  return Guarded([&] { return control_.Control(session, name, properties, control); });
}

std::uint32_t EmbeddedTrace::EnableTraceEx2(TRACEHANDLE session, const GUID* provider, std::uint32_t control_code,
                                            std::uint8_t level, std::uint64_t match_any_keyword,
                                            std::uint64_t match_all_keyword, std::uint32_t /*timeout_ms*/,
                                            const void* /*enable_parameters*/) {
  return Guarded(
      [&] { return control_.Enable(session, provider, control_code, level, match_any_keyword, match_all_keyword); });
}

std::uint32_t EmbeddedTrace::EnumerateTraceGuidsEx(std::uint32_t information_class, const void* in,
                                                   std::uint32_t in_size, void* out, std::uint32_t out_size,
                                                   std::uint32_t* needed) {
  return Guarded([&] {
    return EnumerateGuids(control_.Store(), information_class, in, in_size, out, out_size, needed,
                          EventLogSessionOf(*options_.machine));
  });
}

std::shared_ptr<OpenTrace> EmbeddedTrace::OpenLive(const EVENT_TRACE_LOGFILEW& logfile, std::uint32_t* error) const {
  if (logfile.LoggerName == nullptr || *logfile.LoggerName == 0) {
    *error = platform::kErrorInvalidParameter;
    return nullptr;
  }
  auto session = control_.Store().FindByName(logfile.LoggerName);
  const bool live = session && (session->map()->constants().log_file_mode & platform::kEventTraceRealTimeMode) != 0;
  if (!live) {
    *error = session ? platform::kErrorInvalidParameter : platform::kErrorWmiInstanceNotFound;
    return nullptr;
  }
  return std::make_shared<LiveTrace>(logfile, std::move(session));
}

std::shared_ptr<OpenTrace> EmbeddedTrace::OpenFile(const EVENT_TRACE_LOGFILEW& logfile, std::uint32_t* error) const {
  std::string path;
  *error = platform::kErrorInvalidParameter;
  if (logfile.LogFileName == nullptr || *logfile.LogFileName == 0) return nullptr;
  *error = options_.resolve(logfile.LogFileName, PathUse::kRead, &path);
  if (*error != 0) return nullptr;
  ring::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat info {};
  if (!fd.valid() || ::fstat(fd.get(), &info) != 0) {
    *error = ErrorOfOpen(errno);
    return nullptr;
  }
  if (!S_ISREG(info.st_mode)) {
    *error = platform::kErrorAccessDenied;
    return nullptr;
  }
  if (auto session = control_.Store().FindByFile(info.st_dev, info.st_ino)) {
    // The opener sees everything that is closed, so it waits for whoever is writing that out.
    session->Tend(ring::SessionFile::Wait::kYes);
    return std::make_shared<RunningFileTrace>(logfile, std::move(session));
  }
  return FileTrace::Open(logfile, std::move(fd), options_.unpack, error);
}

TRACEHANDLE EmbeddedTrace::OpenTraceW(EVENT_TRACE_LOGFILEW* logfile) {
  std::shared_ptr<OpenTrace> trace;
  TRACEHANDLE handle = platform::kInvalidProcessTraceHandle;
  const std::uint32_t failed = Guarded([&]() -> std::uint32_t {
    if (logfile == nullptr || logfile->EventRecordCallback == nullptr ||
        (logfile->ProcessTraceMode & platform::kProcessTraceModeEventRecord) == 0) {
      return platform::kErrorInvalidParameter;
    }
    std::uint32_t error = 0;
    const bool live = (logfile->ProcessTraceMode & platform::kProcessTraceModeRealTime) != 0;
    trace = live ? OpenLive(*logfile, &error) : OpenFile(*logfile, &error);
    if (!trace) return error;
    trace->FillCaller(logfile);
    const std::lock_guard lock(mutex_);
    open_.emplace(next_, trace);
    handle = next_++;
    return 0;
  });
  if (failed != 0) SetLastError(failed);
  return failed != 0 ? platform::kInvalidProcessTraceHandle : handle;
}

std::shared_ptr<OpenTrace> EmbeddedTrace::Find(TRACEHANDLE handle) {
  const std::lock_guard lock(mutex_);
  const auto found = open_.find(handle);
  return found == open_.end() ? nullptr : found->second;
}

std::uint32_t EmbeddedTrace::ProcessTrace(const TRACEHANDLE* traces, std::uint32_t count,
                                          const platform::FILETIME* start, const platform::FILETIME* end) {
  if (traces == nullptr || count == 0) return platform::kErrorInvalidParameter;
  // One source and no time window is all that this port serves.
  if (count > 1 || start != nullptr || end != nullptr) return platform::kErrorNotSupported;
  const auto trace = Find(traces[0]);
  if (!trace || !trace->Begin()) return platform::kErrorInvalidHandle;
  const std::uint32_t result = Guarded([&] { return trace->Process(); });
  trace->End();
  return result;
}

std::uint32_t EmbeddedTrace::CloseTrace(TRACEHANDLE trace) {
  std::shared_ptr<OpenTrace> closed;
  {
    const std::lock_guard lock(mutex_);
    const auto found = open_.find(trace);
    if (found == open_.end()) return platform::kErrorInvalidHandle;
    closed = std::move(found->second);
    open_.erase(found);
  }
  closed->Close();
  return closed->busy() ? platform::kErrorCtxClosePending : 0;
}

}  // namespace varnel::embedded

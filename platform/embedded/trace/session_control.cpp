#include "platform/embedded/trace/session_control.h"

#include <algorithm>

#include "platform/embedded/ring/ring.h"
#include "platform/embedded/trace/event_log_session.h"

namespace varnel::embedded {
namespace {

using platform::EVENT_TRACE_PROPERTIES;
using platform::TRACEHANDLE;
using ring::Session;

constexpr std::uint32_t kErrorNoSystemResources = 1450;
constexpr std::uint32_t kDefaultBufferKb = 64;
constexpr std::uint32_t kDefaultBuffers = 22;
constexpr std::uint32_t kSmallestBufferKb = ring::kMinimumBufferSize / 1024;
constexpr std::uint32_t kLargestBufferKb = ring::kMaximumBufferSize / 1024;
constexpr std::uint32_t kBufferingMode = 0x400;
constexpr std::uint32_t kRealTimeFlushSeconds = 1;  // what a real-time session without a flush timer gets
constexpr std::uint32_t kFixed = sizeof(EVENT_TRACE_PROPERTIES);

bool ModesContradict(std::uint32_t mode) {
  const std::uint32_t both = platform::kEventTraceFileModeSequential | platform::kEventTraceFileModeCircular;
  if ((mode & both) == both) return true;
  const std::uint32_t unsupported = platform::kEventTraceFileModeAppend | platform::kEventTraceFileModeNewFile;
  return (mode & unsupported) != 0;
}

void SetSizes(const PropertiesBlock& block, ring::SessionParameters* out) {
  const std::uint32_t kb = block->BufferSize == 0 ? kDefaultBufferKb : block->BufferSize;
  out->buffer_size_kb = std::clamp(kb, kSmallestBufferKb, kLargestBufferKb);
  out->minimum_buffers = std::clamp(block->MinimumBuffers, ring::kMinimumBufferCount, ring::kMaximumBufferCount);
  const std::uint32_t most = block->MaximumBuffers == 0 ? kDefaultBuffers : block->MaximumBuffers;
  out->maximum_buffers = std::clamp(most, out->minimum_buffers, ring::kMaximumBufferCount);
  out->maximum_file_size = block->MaximumFileSize;
  out->log_file_mode = block->LogFileMode;
  const bool live = (block->LogFileMode & platform::kEventTraceRealTimeMode) != 0;
  out->flush_timer_seconds = block->FlushTimer == 0 && live ? kRealTimeFlushSeconds : block->FlushTimer;
}

std::uint32_t Bounded32(std::uint64_t value) {
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(value, 0xFFFFFFFF));
}

std::u16string FileNameOf(const Session& session) {
  const ring::SessionFileNames& names = session.map()->file_names();
  return std::u16string(names.log_file_name, std::min<std::size_t>(names.log_file_name_length, ring::kMaximumName));
}

}  // namespace

std::uint32_t Win32OfStart(ring::StartFailure failure) {
  switch (failure) {
    case ring::StartFailure::kNone:
      return platform::kErrorSuccess;
    case ring::StartFailure::kNameTaken:
      return platform::kErrorAlreadyExists;
    case ring::StartFailure::kFileInUse:
      return platform::kErrorSharingViolation;
    case ring::StartFailure::kFileNotFound:
      return platform::kErrorPathNotFound;
    case ring::StartFailure::kFileDenied:
      return platform::kErrorAccessDenied;
    case ring::StartFailure::kDiskFull:
      return platform::kErrorDiskFull;
    case ring::StartFailure::kBadParameters:
      return platform::kErrorInvalidParameter;
    case ring::StartFailure::kTooMany:
      return kErrorNoSystemResources;
    case ring::StartFailure::kSystem:
      break;
  }
  return platform::kErrorGenFailure;
}

std::uint32_t ReadParameters(const TraceOptions& options, const char16_t* name, const PropertiesBlock& block,
                             ring::SessionParameters* out) {
  out->name = name;
  if (out->name.empty() || out->name.size() > ring::kMaximumName) return platform::kErrorInvalidParameter;
  if (ModesContradict(block->LogFileMode)) return platform::kErrorInvalidParameter;
  const bool circular = (block->LogFileMode & platform::kEventTraceFileModeCircular) != 0;
  if (circular && block->MaximumFileSize == 0) return platform::kErrorInvalidParameter;
  if (block->LoggerNameOffset != 0 && !block.Fits(block->LoggerNameOffset, out->name)) {
    return platform::kErrorBadLength;
  }
  const auto file = block.Text(block->LogFileNameOffset);
  if (!file) return platform::kErrorInvalidParameter;
  const std::uint32_t without_file = platform::kEventTraceRealTimeMode | kBufferingMode;
  if (file->empty() && (block->LogFileMode & without_file) == 0) return platform::kErrorInvalidParameter;
  if (file->size() > ring::kMaximumName) return platform::kErrorBadPathname;
  out->guid = block->Wnode.Guid;
  SetSizes(block, out);
  out->log_file_name = *file;
  return file->empty() ? 0 : options.resolve(*file, PathUse::kWrite, &out->host_path);
}

std::uint32_t DescribeSession(const Session& session, PropertiesBlock block) {
  const ring::ControlMap& map = *session.map();
  const ring::SessionConstants& constants = map.constants();
  const ring::FilePlace place = ring::ReadPlace(map);
  block->Wnode.HistoricalContext = session.id();
  block->Wnode.TimeStamp = constants.start_time;
  block->Wnode.Guid = constants.guid;
  block->Wnode.ClientContext = 1;
  block->Wnode.Flags |= platform::kWnodeFlagTracedGuid;
  block->BufferSize = constants.buffer_size / 1024;
  block->MinimumBuffers = constants.minimum_buffers;
  block->MaximumBuffers = constants.maximum_buffers;
  block->MaximumFileSize = constants.maximum_file_size;
  block->LogFileMode = constants.log_file_mode;
  const std::uint64_t flush = map.words().flush_ticks.load(std::memory_order_relaxed) / constants.clock_frequency;
  block->FlushTimer = Bounded32(flush);
  block->NumberOfBuffers = constants.buffer_count;
  block->FreeBuffers = ring::CountFreeSlots(map);
  block->EventsLost = Bounded32(place.events_lost + map.words().events_lost.load(std::memory_order_relaxed));
  block->BuffersWritten = Bounded32(place.total_written + (constants.has_file != 0 ? 1 : 0));
  block->LogBuffersLost = Bounded32(place.buffers_lost);
  block->RealTimeBuffersLost = 0;

  const std::u16string name(session.name());
  const std::u16string file = constants.has_file != 0 ? FileNameOf(session) : std::u16string();
  const std::uint32_t name_offset = block->LoggerNameOffset != 0 ? block->LoggerNameOffset : kFixed;
  const auto name_size = static_cast<std::uint32_t>((name.size() + 1) * sizeof(char16_t));
  const bool asked = block->LogFileNameOffset != 0;
  const std::uint32_t file_offset = asked ? block->LogFileNameOffset : name_offset + name_size;
  if (!block.Fits(name_offset, name)) return platform::kErrorMoreData;
  if (!file.empty() && !block.Fits(file_offset, file)) return platform::kErrorMoreData;
  block.Put(name_offset, name);
  block->LoggerNameOffset = name_offset;
  if (!file.empty()) {
    block.Put(file_offset, file);
    block->LogFileNameOffset = file_offset;
  } else {
    if (asked && block.Fits(file_offset, file)) block.Put(file_offset, file);
    block->LogFileNameOffset = 0;
  }
  return 0;
}

ring::SessionStore SessionControl::Store() const {
  const auto boot = options_.machine->ReadBoot();
  return {options_.machine->SessionsPath(), HostBootId(), boot.ok() ? boot.value().number : 0};
}

std::shared_ptr<Session> SessionControl::Find(const ring::SessionStore& store, TRACEHANDLE handle,
                                              const char16_t* name) const {
  if (handle != 0) return store.FindByHandle(handle);
  return name != nullptr ? store.FindByName(name) : nullptr;
}

std::uint32_t SessionControl::Start(TRACEHANDLE* handle, const char16_t* name,
                                    EVENT_TRACE_PROPERTIES* properties) const {
  PropertiesBlock block(properties);
  if (handle == nullptr || name == nullptr) return platform::kErrorInvalidParameter;
  *handle = 0;
  if (const std::uint32_t wrong = block.Check(); wrong != 0) return wrong;
  ring::SessionParameters parameters;
  if (const std::uint32_t wrong = ReadParameters(options_, name, block, &parameters); wrong != 0) return wrong;
  if (MeansEventLogSession(0, name) && EventLogSessionOf(*options_.machine) == EventLogSession::kRuns) {
    return platform::kErrorAlreadyExists;
  }
  ring::StartFailure failure;
  const auto session = Store().Start(parameters, &failure);
  if (!session) return Win32OfStart(failure);
  *handle = session->id();
  // The texts stand in the block already, or fit; a block that gave no room for the name keeps none.
  const std::uint32_t name_offset = block->LoggerNameOffset;
  static_cast<void>(DescribeSession(*session, block));
  block->LoggerNameOffset = name_offset;
  return 0;
}

std::uint32_t SessionControl::Control(TRACEHANDLE handle, const char16_t* name, EVENT_TRACE_PROPERTIES* properties,
                                      std::uint32_t code) const {
  PropertiesBlock block(properties);
  const bool may_be_null = code == platform::kEventTraceControlStop || code == platform::kEventTraceControlFlush;
  if (code > platform::kEventTraceControlFlush) return platform::kErrorInvalidParameter;
  if (properties != nullptr || !may_be_null) {
    if (const std::uint32_t wrong = block.Check(); wrong != 0) return wrong;
  }
  if (handle == 0 && (name == nullptr || *name == 0)) return platform::kErrorInvalidParameter;
  const auto store = Store();
  const auto session = Find(store, handle, name);
  if (!session) {
    if (!MeansEventLogSession(handle, name) || EventLogSessionOf(*options_.machine) == EventLogSession::kNone) {
      return platform::kErrorWmiInstanceNotFound;
    }
    // It is the system's own: it can be looked at, no more.
    if (code != platform::kEventTraceControlQuery) return platform::kErrorAccessDenied;
    return DescribeEventLogSession(block);
  }
  std::uint32_t result = 0;
  switch (code) {
    case platform::kEventTraceControlStop:
      if (!store.Stop(*session)) return platform::kErrorWmiInstanceNotFound;
      break;
    case platform::kEventTraceControlFlush:
      session->Flush();
      break;
    case platform::kEventTraceControlUpdate:
      result = Update(*session, block);
      break;
    default:
      session->Tend(ring::SessionFile::Wait::kNo);
      break;
  }
  if (result != 0 || properties == nullptr) return result;
  return DescribeSession(*session, block);
}

std::uint32_t SessionControl::Update(Session& session, const PropertiesBlock& block) const {
  // Sizes, modes and the file are fixed when the session is made; the flush timer can change.
  const auto file = block.Text(block->LogFileNameOffset);
  if (!file) return platform::kErrorInvalidParameter;
  if (!file->empty() && *file != FileNameOf(session)) return platform::kErrorNotSupported;
  // A caller that is told nothing would count on room that is not there.
  if (block->MaximumBuffers > session.map()->constants().maximum_buffers) return platform::kErrorNotSupported;
  if (block->FlushTimer != 0) {
    const std::uint64_t ticks = std::uint64_t{block->FlushTimer} * session.map()->constants().clock_frequency;
    session.map()->words().flush_ticks.store(ticks, std::memory_order_relaxed);
  }
  return 0;
}

std::uint32_t SessionControl::Enable(TRACEHANDLE handle, const GUID* provider, std::uint32_t code, std::uint8_t level,
                                     std::uint64_t match_any, std::uint64_t match_all) const {
  if (handle == 0) return platform::kErrorInvalidHandle;
  if (provider == nullptr || code > platform::kEventControlCodeCaptureState) return platform::kErrorInvalidParameter;
  const auto store = Store();
  const auto session = store.FindByHandle(handle);
  if (!session) return platform::kErrorWmiInstanceNotFound;
  std::uint32_t result = 0;
  const bool changed = store.ChangeEnables([&](ring::EnableTable& table) {
    if (!session->running()) {
      result = platform::kErrorWmiInstanceNotFound;
    } else if (code == platform::kEventControlCodeEnableProvider) {
      const auto entry = table.FindOrAdd(*provider);
      const bool set = entry && table.Set(*entry, {session->id(), level, match_any, match_all});
      result = set ? 0 : kErrorNoSystemResources;
    } else if (code == platform::kEventControlCodeDisableProvider) {
      const auto entry = table.Find(*provider);
      if (entry) table.Clear(*entry, session->id());
    }
  });
  return changed ? result : platform::kErrorGenFailure;
}

}  // namespace varnel::embedded

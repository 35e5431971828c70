#include "platform/embedded/trace/machine_sessions.h"

#include <algorithm>
#include <cstring>

#include "platform/embedded/files/resolver.h"
#include "platform/embedded/ring/ring.h"
#include "platform/embedded/ring/session_store.h"
#include "platform/embedded/trace/session_control.h"
#include "platform/unpack.h"

namespace varnel::embedded {
namespace {

using platform::EVENT_TRACE_PROPERTIES;

ring::SessionStore StoreOf(const Machine& machine) {
  const auto boot = machine.ReadBoot();
  return {machine.SessionsPath(), HostBootId(), boot.ok() ? boot.value().number : 0};
}

std::vector<EnabledProvider> ProvidersOf(const ring::EnableTable* table, std::uint64_t session) {
  std::vector<EnabledProvider> providers;
  if (table == nullptr) return providers;
  for (const GUID& guid : table->Providers()) {
    const auto entry = table->Find(guid);
    if (!entry) continue;
    for (const auto& enable : table->EnablesOf(*entry)) {
      if (enable.session == session) providers.push_back({guid, enable.level, enable.match_any, enable.match_all});
    }
  }
  return providers;
}

SessionSummary Summarize(const ring::Session& session, const ring::EnableTable* table) {
  const ring::ControlMap& map = *session.map();
  const ring::SessionConstants& constants = map.constants();
  const ring::FilePlace place = ring::ReadPlace(map);
  SessionSummary summary;
  summary.id = session.id();
  summary.name = session.name();
  summary.guid = constants.guid;
  summary.log_file_mode = constants.log_file_mode;
  if (constants.has_file != 0) {
    const ring::SessionFileNames& names = map.file_names();
    summary.log_file_name.assign(names.log_file_name,
                                 std::min<std::size_t>(names.log_file_name_length, ring::kMaximumName));
  }
  summary.buffer_size = constants.buffer_size;
  summary.buffers = constants.buffer_count;
  summary.free_buffers = ring::CountFreeSlots(map);
  summary.buffers_written = place.total_written;
  summary.events_lost = place.events_lost + map.words().events_lost.load(std::memory_order_relaxed);
  summary.buffers_lost = place.buffers_lost;
  summary.start_time = constants.start_time;
  summary.providers = ProvidersOf(table, session.id());
  return summary;
}

/// The block that a caller of StartTraceW would make of it.
std::vector<std::byte> BlockOf(const AutoLogger& session) {
  EVENT_TRACE_PROPERTIES fixed = {};
  const std::size_t name_size = (session.name.size() + 1) * sizeof(char16_t);
  const std::size_t file_size = (session.log_file.size() + 1) * sizeof(char16_t);
  std::vector<std::byte> block(sizeof fixed + name_size + file_size);
  fixed.Wnode.BufferSize = static_cast<std::uint32_t>(block.size());
  fixed.Wnode.Guid = session.guid;
  fixed.Wnode.ClientContext = 1;
  fixed.Wnode.Flags = platform::kWnodeFlagTracedGuid;
  fixed.BufferSize = session.buffer_size_kb;
  fixed.MinimumBuffers = session.minimum_buffers;
  fixed.MaximumBuffers = session.maximum_buffers;
  fixed.MaximumFileSize = session.maximum_file_size_mb;
  fixed.LogFileMode = session.log_file_mode;
  fixed.FlushTimer = session.flush_timer_s;
  fixed.LoggerNameOffset = sizeof fixed;
  fixed.LogFileNameOffset = session.log_file.empty() ? 0 : static_cast<std::uint32_t>(sizeof fixed + name_size);
  std::memcpy(block.data(), &fixed, sizeof fixed);
  std::memcpy(block.data() + sizeof fixed + name_size, session.log_file.c_str(), file_size);
  return block;
}

}  // namespace

std::vector<SessionSummary> ListSessions(const Machine& machine) {
  const auto store = StoreOf(machine);
  const auto table = store.LookAtEnables();
  std::vector<SessionSummary> summaries;
  for (const std::uint64_t id : store.RunningIds()) {
    if (const auto session = store.Open(id)) summaries.push_back(Summarize(*session, table.get()));
  }
  return summaries;
}

bool EndAllSessions(const Machine& machine) {
  return StoreOf(machine).StopAll();
}

bool AbandonAllSessions(const Machine& machine) {
  // To the store of another boot all sessions are remains, and those are swept without a last write.
  const ring::SessionStore next(machine.SessionsPath(), "", 0);
  return next.StopAll() && StoreOf(machine).RunningIds().empty();
}

bool InUseBySession(const Machine& machine, std::uint64_t device, std::uint64_t inode) {
  return StoreOf(machine).IsFileInUse(device, inode);
}

std::uint32_t StartSessionFromAutoLogger(const TraceOptions& options, const AutoLogger& session) {
  const SessionControl control(options);
  auto bytes = BlockOf(session);
  auto* block = reinterpret_cast<EVENT_TRACE_PROPERTIES*>(bytes.data());
  platform::TRACEHANDLE handle = 0;
  if (const std::uint32_t failed = control.Start(&handle, session.name.c_str(), block); failed != 0) return failed;
  for (const auto& provider : session.providers) {
    const std::uint32_t failed = control.Enable(handle, &provider.guid, platform::kEventControlCodeEnableProvider,
                                                provider.level, provider.match_any_keyword, provider.match_all_keyword);
    if (failed == 0) continue;
    control.Control(handle, nullptr, nullptr, platform::kEventTraceControlStop);
    return failed;
  }
  return 0;
}

TraceOptions TraceOptionsOf(const std::shared_ptr<Machine>& machine) {
  TraceOptions options;
  options.machine = machine;
  options.resolve = [machine](std::u16string_view path, PathUse use, std::string* host) -> std::uint32_t {
    HostPath resolved;
    const std::uint32_t error = ResolvePath(*machine, path, &resolved);
    if (error == 0 && use == PathUse::kWrite && resolved.IsLinkOut()) return platform::kErrorAccessDenied;
    *host = std::move(resolved.path);
    return error;
  };
  options.unpack = platform::Unpack;
  return options;
}

}  // namespace varnel::embedded

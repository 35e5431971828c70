// What a machine's tools and its other ports ask of its trace sessions. Any thread may call.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "interfaces/guid.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/tools/autologger.h"
#include "platform/embedded/trace/trace_options.h"

namespace varnel::embedded {

/// A provider that a session has enabled.
struct EnabledProvider {
  GUID guid{};
  std::uint8_t level = 0;
  std::uint64_t match_any = 0;
  std::uint64_t match_all = 0;
};

/// A running session.
struct SessionSummary {
  std::uint64_t id = 0;  // its handle
  std::u16string name;
  GUID guid{};
  std::uint32_t log_file_mode = 0;
  std::u16string log_file_name;   // empty: it has no file
  std::uint32_t buffer_size = 0;  // bytes
  std::uint32_t buffers = 0;
  std::uint32_t free_buffers = 0;
  std::uint64_t buffers_written = 0;  // the header buffer not counted
  std::uint64_t events_lost = 0;
  std::uint64_t buffers_lost = 0;
  std::int64_t start_time = 0;  // FILETIME
  std::vector<EnabledProvider> providers;
};

/// The sessions that run, in the order in which they were started.
std::vector<SessionSummary> ListSessions(const Machine& machine);

/// Stops every session of the machine and writes its buffers out. @return false when one still runs.
bool EndAllSessions(const Machine& machine);

/// Ends every session as a crash of the machine does: what was not written yet is gone, and the files get no end.
/// @return false when one still runs.
bool AbandonAllSessions(const Machine& machine);

/// Whether a running session writes the file, whoever lives. For the files port, which keeps such a file from being
/// deleted or opened against the session.
bool InUseBySession(const Machine& machine, std::uint64_t device, std::uint64_t inode);

/// Starts an AutoLogger's session and enables its providers. 0, or a Win32 error; then nothing of it runs.
std::uint32_t StartSessionFromAutoLogger(const TraceOptions& options, const AutoLogger& session);

/// The options of a machine's trace port: paths by the machine's drives, packed buffers unpacked.
TraceOptions TraceOptionsOf(const std::shared_ptr<Machine>& machine);

}  // namespace varnel::embedded

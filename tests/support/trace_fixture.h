// A machine in a temporary folder with trace sessions, and the events of a trace file as plain values.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "interfaces/guid.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/ring/participant.h"
#include "platform/embedded/ring/process_identity.h"
#include "platform/embedded/ring/session_store.h"

namespace varnel::testing {

struct ReadEvent {
  ::GUID provider{};
  std::uint16_t id = 0;
  std::uint64_t keyword = 0;
  std::uint32_t process = 0;
  std::uint32_t thread = 0;
  std::int64_t stamp = 0;
  std::int64_t file_time = 0;
  std::vector<std::byte> payload;

  /// The little-endian number at `offset` of the payload; all ones when it is not there.
  std::uint32_t U32(std::size_t offset) const;
  std::uint64_t U64(std::size_t offset) const;
};

/// A trace file's own description and its events, without the header's.
struct ReadFile {
  bool ok = false;
  std::uint32_t buffers_written = 0;
  std::uint32_t events_lost = 0;
  std::uint32_t buffers_lost = 0;
  std::int64_t end_time = 0;
  std::int64_t start_time = 0;
  std::uint64_t size = 0;
  std::uint64_t skipped_bytes = 0;
  std::vector<std::int64_t> sequences;  // of the data buffers, in the file's order
  std::vector<ReadEvent> events;        // in time order
};
ReadFile ReadTraceFile(const std::string& path);

/// A fresh machine folder, removed at the end.
class TraceMachine {
 public:
  /// `parent`: where the folder is made; the temporary folder by default.
  explicit TraceMachine(const std::string& parent = "");
  ~TraceMachine();
  TraceMachine(const TraceMachine&) = delete;
  TraceMachine& operator=(const TraceMachine&) = delete;

  const std::string& root() const { return root_; }
  const embedded::Machine& machine() const { return *machine_; }
  embedded::ring::SessionStore Store() const;
  std::string FilePath(const std::string& name) const { return root_ + "/C/" + name; }

  /// Parameters for a session that writes `<root>/C/<name>.etl`, with buffers of 4 KiB.
  embedded::ring::SessionParameters Parameters(const std::string& name) const;
  /// Starts it; the test ends when that fails.
  std::shared_ptr<embedded::ring::Session> Start(const embedded::ring::SessionParameters& parameters) const;
  /// Enables a provider in a session at level 5 with all keywords.
  void Enable(const embedded::ring::Session& session, const ::GUID& provider) const;

 private:
  std::string root_;
  std::shared_ptr<embedded::Machine> machine_;
};

/// A provider GUID for tests.
inline constexpr ::GUID kTestProvider = {0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};

/// Writes an event of kTestProvider whose payload is the two numbers and `filler` bytes behind them. @return whether it
/// was written.
bool WriteNumbers(embedded::ring::Session& session, std::uint32_t writer, std::uint32_t number,
                  std::uint32_t filler = 0);

/// The writer and the number of such an event.
inline std::uint32_t WriterOf(const ReadEvent& event) {
  return event.U32(0);
}
inline std::uint32_t NumberOf(const ReadEvent& event) {
  return event.U32(4);
}

/// Runs `work` in a child process and gives its id. The child has forgotten what it inherited of sessions, and ends
/// with status 0 when `work` returns.
template <typename Work>
pid_t InChild(Work work) {
  const pid_t child = ::fork();
  if (child != 0) return child;
  embedded::ring::ForgetIdentityAfterFork();
  embedded::ring::ForgetLinesAfterFork();
  work();
  ::_exit(0);
}

/// Waits for a child's end; its status.
int WaitForEnd(pid_t child);
/// Waits until a child is stopped by a signal.
void WaitUntilStopped(pid_t child);

}  // namespace varnel::testing

// TraceLog: what a run of the module notes about the traces that it reads, in a file that is mapped and shared, so that
// nothing noted is lost when the run is killed. The recorded build of the module writes it, the kill test reads it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace varnel::scenario {

/// The environment variable that names the file. Without it nothing is noted.
inline constexpr char kTraceLogVariable[] = "VARNEL_TRACE_LOG";

/// The "open buffer" is the number of the session's buffer that took events at that moment, 0 without a session.
struct TraceRecord {
  enum class Kind : std::uint32_t {
    kNone,    // a record that was never finished
    kOpened,  // a trace was opened
    kBuffer,  // a buffer's events were handed out
    kEnded,   // ProcessTrace came back
  };
  Kind kind = Kind::kNone;
  std::uint32_t live = 0;         // 0: a file
  std::uint64_t first_time = 0;   // of a buffer's events
  std::uint64_t last_time = 0;    // of a buffer's events
  std::uint64_t open = 0;         // the open buffer; for an opening that before the call
  std::uint64_t open_behind = 0;  // for an opening the open buffer behind the call
};
static_assert(sizeof(TraceRecord) == 40);

/// The writing end. Any thread may add; records stand in the order in which adding began.
class TraceLog {
 public:
  /// The file that the environment names; null without one. It is never unmapped.
  static TraceLog* FromEnvironment();

  void Add(const TraceRecord& record) noexcept;

 private:
  explicit TraceLog(std::byte* base) : base_(base) {}
  std::byte* const base_;
};

/// Makes an empty log. @return false when the file can't be made.
bool MakeTraceLog(const std::string& path);

/// The finished records. `*complete` is false when the file had no room for some, or is none.
std::vector<TraceRecord> ReadTraceLog(const std::string& path, bool* complete);

}  // namespace varnel::scenario

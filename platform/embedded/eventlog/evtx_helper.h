// EvtxHelper: the helper process that takes binary event logs apart, as the reader sees it. A process is started at the
// first request and again after one that died, hung or answered wrongly; what it was working on is lost then, and the
// caller is told at which record. One thread at a time.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/core/unique_fd.h"
#include "platform/embedded/eventlog/evtx_frames.h"

namespace varnel::embedded {

struct EvtxHelperOptions {
  /// The program; EvtxHelperPath() when empty.
  std::string path;
  /// How long it may be silent before it counts as hung. Its own limit of processor time ends it sooner as a rule.
  int timeout_ms = 20'000;
};

/// Where the helper program is: VARNEL_EVTX_HELPER in the environment names it; else it stands beside the library or
/// program that this code is in, in libexec/varnel-wardlet of the same prefix, or where the build put it. Empty when it
/// is nowhere.
std::string EvtxHelperPath();

class EvtxHelper {
 public:
  explicit EvtxHelper(EvtxHelperOptions options) : options_(std::move(options)) {}
  ~EvtxHelper() { Stop(); }
  EvtxHelper(const EvtxHelper&) = delete;
  EvtxHelper& operator=(const EvtxHelper&) = delete;

  /// Starts the process if none runs. @return false when it can't be started.
  [[nodiscard]] bool EnsureStarted() { return Start(); }

  /// What became of a record.
  enum class Outcome { kGood, kUnreadable, kHelperDied };

  /// Gives the helper a chunk of evtx::kChunkBytes. @return false when it died of it or can't be started.
  [[nodiscard]] bool LoadChunk(std::string_view chunk);

  /// The records of the loaded chunk, as far as the helper can tell. @return false when it died of it.
  [[nodiscard]] bool ListRecords(std::vector<evtx::EvtxKey>* keys);

  /// Hears what became of a record: the number that it is kept under and its XML, when it could be read.
  using Take = std::function<void(Outcome outcome, std::uint64_t record_id, std::string_view xml)>;

  /// Hands each of the wanted records of the loaded chunk to `take`, in the order asked for. Stops behind the first
  /// record at which the helper died: `take` has heard of it, and the chunk must be loaded again before the rest is
  /// asked for.
  void GetRecords(std::span<const std::uint32_t> indexes, const Take& take);

  /// Processes that died, hung or answered wrongly.
  std::uint64_t deaths() const { return deaths_; }
  /// No process could be started: nothing can be read.
  bool cannot_start() const { return cannot_start_; }
  /// The running process, or -1. For tests.
  pid_t pid() const { return pid_; }

 private:
  bool Start();
  void Stop();
  bool Fail();
  bool Send(evtx::Kind kind, std::string_view body);
  bool Receive(evtx::Message* message);
  bool ReceiveRecord(std::uint32_t index, evtx::Message* message, evtx::RecordHead* head);

  const EvtxHelperOptions options_;
  pid_t pid_ = -1;
  UniqueFd requests_;
  UniqueFd answers_;
  std::uint64_t deaths_ = 0;
  bool cannot_start_ = false;
};

}  // namespace varnel::embedded

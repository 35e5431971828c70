// A participant's line in a session: each thread that touches the session's buffers has one of its own, taken at its
// first call for a mapping and given back when the thread ends. Lines of dead processes are taken again.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/embedded/ring/control_map.h"

namespace varnel::embedded::ring {

struct Participant {
  ParticipantLine* line = nullptr;
  std::uint32_t index = 0;

  bool valid() const noexcept { return line != nullptr; }
};

namespace detail {
/// What the calling thread holds; the first entries are the latest. Plain data, so that the fast path has no guard.
struct HeldLine {
  std::uint64_t instance;
  Participant participant;
};
inline constexpr int kHeldLines = 8;
extern constinit thread_local HeldLine held_lines[kHeldLines];
Participant TakeLine(const std::shared_ptr<ControlMap>& map) noexcept;
}  // namespace detail

/// The calling thread's line in `map`; not valid when all lines are taken by living processes.
inline Participant ThreadParticipant(const std::shared_ptr<ControlMap>& map) noexcept {
  for (const auto& held : detail::held_lines) {
    if (held.instance == map->instance()) return held.participant;
  }
  return detail::TakeLine(map);
}

/// Called in a child made by fork: the lines stay the parent's.
void ForgetLinesAfterFork() noexcept;

/// Whether a living participant other than `self` (null: any) has a mark on buffer `sequence`. Guards count only with
/// `guards_too`.
bool IsMarked(const ControlMap& map, std::uint64_t sequence, const ParticipantLine* self, bool guards_too) noexcept;

/// The number of lines, dead or alive, that a writer of buffer `sequence` has marked.
std::uint32_t CountWriterMarks(const ControlMap& map, std::uint64_t sequence) noexcept;

/// Holds a guard mark for its scope, so that the memory of the buffer is not prepared for another. What the buffer
/// holds must be looked at again after it was made. REQUIRES: the line bears no mark.
class ScopedGuard {
 public:
  ScopedGuard(const Participant& participant, std::uint64_t sequence) noexcept : line_(participant.line) {
    line_->mark.store(Mark{sequence, Mark::Kind::kGuard}.Pack(), std::memory_order_seq_cst);
  }
  ~ScopedGuard() { line_->mark.store(0, std::memory_order_release); }
  ScopedGuard(const ScopedGuard&) = delete;
  ScopedGuard& operator=(const ScopedGuard&) = delete;

 private:
  ParticipantLine* const line_;
};

}  // namespace varnel::embedded::ring

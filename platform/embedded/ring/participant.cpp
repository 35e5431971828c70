#include "platform/embedded/ring/participant.h"

#include <algorithm>
#include <array>

#include "platform/embedded/ring/process_identity.h"

namespace varnel::embedded::ring {
namespace detail {

constinit thread_local HeldLine held_lines[kHeldLines] = {};

}  // namespace detail

namespace {

using detail::held_lines;
using detail::HeldLine;
using detail::kHeldLines;

void FreeLine(ParticipantLine* line) noexcept {
  line->mark.store(0, std::memory_order_relaxed);
  line->owner.store(0, std::memory_order_release);
}

/// Set when the thread's lines have been given back: what other thread-local objects still write then is lost.
constinit thread_local bool thread_ends = false;

/// Keeps the mappings of the thread's lines alive and gives the lines back when the thread ends.
struct LineOwner {
  std::array<std::shared_ptr<ControlMap>, kHeldLines> maps;

  LineOwner() = default;
  LineOwner(const LineOwner&) = delete;
  LineOwner& operator=(const LineOwner&) = delete;
  ~LineOwner() {
    for (int i = 0; i < kHeldLines; ++i) Drop(i);
    thread_ends = true;
  }
  void Drop(int i) noexcept {
    if (held_lines[i].instance != 0) FreeLine(held_lines[i].participant.line);
    held_lines[i] = HeldLine{};
    maps[i].reset();
  }
  /// Forgets without giving back.
  void Forget() noexcept {
    for (auto& held : held_lines) held = HeldLine{};
    for (auto& map : maps) map.reset();
  }
};
thread_local LineOwner line_owner;

/// A slot that the dead participant was preparing is nobody's any more.
void FreePreparedBy(const ControlMap& map, std::uint32_t index) noexcept {
  for (std::uint32_t slot = 0; slot < map.descriptors().size(); ++slot) {
    auto& word = map.descriptors()[slot].phase;
    std::uint64_t seen = word.load(std::memory_order_acquire);
    const Phase phase = Phase::Unpack(seen);
    if (phase.state != Phase::State::kPreparing || phase.participant() != index) continue;
    const OpenBuffer open = map.open();
    const bool published = open.slot == slot && open.sequence == phase.prepared_sequence();
    const Phase next = published ? Phase{Phase::State::kActive, open.sequence} : Phase{};
    word.compare_exchange_strong(seen, next.Pack(), std::memory_order_seq_cst);
  }
}

void RaiseUsed(const ControlMap& map, std::uint32_t count) noexcept {
  auto& used = map.words().participants_used;
  std::uint32_t seen = used.load(std::memory_order_relaxed);
  while (seen < count && !used.compare_exchange_weak(seen, count, std::memory_order_seq_cst)) {
  }
}

bool ClaimFrom(const ControlMap& map, std::uint32_t index, std::uint64_t expected) noexcept {
  RaiseUsed(map, index + 1);
  auto& line = map.participants()[index];
  return line.owner.compare_exchange_strong(expected, OwnOwnerWord(), std::memory_order_acq_rel);
}

/// Takes a free line, else one of a dead process that has left nothing behind.
Participant Claim(const ControlMap& map) noexcept {
  const auto lines = map.participants();
  for (std::uint32_t i = 0; i < lines.size(); ++i) {
    if (lines[i].owner.load(std::memory_order_relaxed) == 0 && ClaimFrom(map, i, 0)) return {&lines[i], i};
  }
  for (std::uint32_t i = 0; i < lines.size(); ++i) {
    const std::uint64_t owner = lines[i].owner.load(std::memory_order_acquire);
    if (owner == 0 || OwnerLives(owner)) continue;
    FreePreparedBy(map, i);
    if (!ClaimFrom(map, i, owner)) continue;
    lines[i].mark.store(0, std::memory_order_release);
    return {&lines[i], i};
  }
  return {};
}

}  // namespace

namespace detail {

Participant TakeLine(const std::shared_ptr<ControlMap>& map) noexcept {
  if (thread_ends) return {};
  const Participant claimed = Claim(*map);
  if (!claimed.valid()) return claimed;
  // The oldest entry makes room; a thread that goes round more sessions than this takes lines anew.
  line_owner.Drop(kHeldLines - 1);
  std::move_backward(held_lines, held_lines + kHeldLines - 1, held_lines + kHeldLines);
  std::move_backward(line_owner.maps.begin(), line_owner.maps.end() - 1, line_owner.maps.end());
  held_lines[0] = {map->instance(), claimed};
  line_owner.maps[0] = map;
  return claimed;
}

}  // namespace detail

void ForgetLinesAfterFork() noexcept {
  line_owner.Forget();
}

bool IsMarked(const ControlMap& map, std::uint64_t sequence, const ParticipantLine* self, bool guards_too) noexcept {
  const auto lines = map.participants();
  const std::size_t used =
      std::min<std::size_t>(map.words().participants_used.load(std::memory_order_seq_cst), lines.size());
  for (std::size_t i = 0; i < used; ++i) {
    if (&lines[i] == self) continue;
    const Mark mark = Mark::Unpack(lines[i].mark.load(std::memory_order_seq_cst));
    if (mark.sequence != sequence || (mark.kind == Mark::Kind::kGuard && !guards_too)) continue;
    if (OwnerLives(lines[i].owner.load(std::memory_order_acquire))) return true;
  }
  return false;
}

std::uint32_t CountWriterMarks(const ControlMap& map, std::uint64_t sequence) noexcept {
  const std::uint64_t wanted = Mark{sequence, Mark::Kind::kWriter}.Pack();
  const auto lines = map.participants();
  const std::size_t used =
      std::min<std::size_t>(map.words().participants_used.load(std::memory_order_seq_cst), lines.size());
  std::uint32_t count = 0;
  for (std::size_t i = 0; i < used; ++i) {
    if (lines[i].mark.load(std::memory_order_acquire) == wanted) ++count;
  }
  return count;
}

}  // namespace varnel::embedded::ring

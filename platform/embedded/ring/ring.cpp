#include "platform/embedded/ring/ring.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <limits>
#include <thread>

#include "formats/etl_format.h"
#include "platform/embedded/ring/process_identity.h"
#include "platform/embedded/ring/session_clock.h"
#include "platform/embedded/ring/steps.h"

namespace varnel::embedded::ring {
namespace {

constexpr std::uint32_t kFirst = formats::kEtlBufferHeaderSize;
constexpr int kRevokeTries = 100;  // each failure is a writer that was faster

Phase PhaseOf(const BufferDescriptor& descriptor) noexcept {
  return Phase::Unpack(descriptor.phase.load(std::memory_order_seq_cst));
}

bool MovePhase(BufferDescriptor& descriptor, Phase from, Phase to) noexcept {
  std::uint64_t expected = from.Pack();
  return descriptor.phase.compare_exchange_strong(expected, to.Pack(), std::memory_order_seq_cst);
}

/// The open buffer's slot reads "preparing" for a moment after it was published; whoever comes by ends that.
void HelpActive(const ControlMap& map, OpenBuffer open) noexcept {
  auto& descriptor = map.descriptors()[open.slot];
  const Phase phase = PhaseOf(descriptor);
  if (phase.state != Phase::State::kPreparing || phase.prepared_sequence() != open.sequence) return;
  if (!(map.open() == open)) return;
  MovePhase(descriptor, phase, {Phase::State::kActive, open.sequence});
}

bool IsFree(const Phase& phase, std::uint64_t passed_below) noexcept {
  return phase.state == Phase::State::kFree || (phase.state == Phase::State::kSealed && phase.number < passed_below);
}

/// The free slot with the lowest buffer number that is at least `from`; nothing when there is none.
std::optional<std::uint32_t> LowestFree(const ControlMap& map, std::uint64_t from) noexcept {
  const std::uint64_t passed = PassedBelow(map);
  std::optional<std::uint32_t> best;
  std::uint64_t best_number = std::numeric_limits<std::uint64_t>::max();
  for (std::uint32_t slot = 0; slot < map.descriptors().size(); ++slot) {
    const Phase phase = PhaseOf(map.descriptors()[slot]);
    if (!IsFree(phase, passed) || phase.number < from || phase.number >= best_number) continue;
    best = slot;
    best_number = phase.number;
  }
  return best;
}

/// Takes slots back from participants that died while they prepared them.
void FreeAbandoned(const ControlMap& map) noexcept {
  for (std::uint32_t slot = 0; slot < map.descriptors().size(); ++slot) {
    const Phase phase = PhaseOf(map.descriptors()[slot]);
    if (phase.state != Phase::State::kPreparing) continue;
    if (OwnerLives(map.participants()[phase.participant()].owner.load(std::memory_order_acquire))) continue;
    const OpenBuffer open = map.open();
    if (open.slot == slot && open.sequence == phase.prepared_sequence()) {
      HelpActive(map, open);
    } else {
      MovePhase(map.descriptors()[slot], phase, {});
    }
  }
}

/// Claims a slot whose memory nobody uses any more.
std::optional<std::uint32_t> ClaimSlot(const ControlMap& map, const Phase& preparing) noexcept {
  FreeAbandoned(map);
  std::uint64_t from = 0;
  while (const auto slot = LowestFree(map, from)) {
    auto& descriptor = map.descriptors()[*slot];
    const Phase phase = PhaseOf(descriptor);
    if (!IsFree(phase, PassedBelow(map))) continue;
    if (!MovePhase(descriptor, phase, preparing)) continue;
    if (phase.number == 0 || !IsMarked(map, phase.number, nullptr, true)) return slot;
    MovePhase(descriptor, preparing, {Phase::State::kFree, phase.number});
    from = phase.number + 1;
  }
  return std::nullopt;
}

void PrepareSlot(const ControlMap& map, std::uint32_t slot, std::uint64_t sequence) noexcept {
  std::memset(map.buffer(slot), 0, map.buffer_size());
  auto& descriptor = map.descriptors()[slot];
  descriptor.first_stamp.store(0, std::memory_order_relaxed);
  descriptor.closed_at.store(0, std::memory_order_relaxed);
  const ReservationWord word{ReservationWord::GenerationOf(sequence), false, 0, kFirst};
  descriptor.word.store(word.Pack(), std::memory_order_release);
}

/// Publishes the buffer behind `open`. @return false when no slot is free.
bool OpenNext(const ControlMap& map, const Participant& self, OpenBuffer open) noexcept {
  if (!(map.open() == open)) return true;
  const Phase preparing = Phase::Preparing(open.sequence + 1, self.index);
  const auto slot = ClaimSlot(map, preparing);
  if (!slot) return !(map.open() == open);
  At(Step::kPreparing);
  const OpenBuffer next{open.sequence + 1, *slot};
  PrepareSlot(map, *slot, next.sequence);
  std::uint64_t expected = open.Pack();
  if (!map.words().open.compare_exchange_strong(expected, next.Pack(), std::memory_order_seq_cst)) {
    MovePhase(map.descriptors()[*slot], preparing, {});
    return true;
  }
  At(Step::kOpened);
  MovePhase(map.descriptors()[*slot], preparing, {Phase::State::kActive, next.sequence});
  return true;
}

/// Sets the closed bit. @return the word as it then stands, nothing when the buffer is gone or empty.
enum class BitResult { kClosed, kEmpty, kGone };
BitResult SetClosed(BufferDescriptor& descriptor, std::uint64_t sequence, bool even_empty) noexcept {
  std::uint64_t word = descriptor.word.load(std::memory_order_acquire);
  for (;;) {
    const ReservationWord seen = ReservationWord::Unpack(word);
    if (seen.generation != ReservationWord::GenerationOf(sequence)) return BitResult::kGone;
    if (seen.closed) return BitResult::kClosed;
    if (seen.end <= kFirst && !even_empty) return BitResult::kEmpty;
    if (descriptor.word.compare_exchange_weak(word, word | ReservationWord::kClosedBit, std::memory_order_seq_cst)) {
      return BitResult::kClosed;
    }
  }
}

void NoteClosingTime(BufferDescriptor& descriptor) noexcept {
  std::uint64_t expected = 0;
  if (descriptor.closed_at.load(std::memory_order_relaxed) != 0) return;
  descriptor.closed_at.compare_exchange_strong(expected, static_cast<std::uint64_t>(SessionClockNow()),
                                               std::memory_order_acq_rel);
}

/// REQUIRES: guarded, closed, phase active.
SealResult SealGuarded(const ControlMap& map, const Participant& self, std::uint32_t slot,
                       std::uint64_t sequence) noexcept {
  auto& descriptor = map.descriptors()[slot];
  NoteClosingTime(descriptor);
  const ReservationWord word = WordOf(map, slot);
  if (!IsSettled(map, slot, word)) {
    // The order counts: a writer that is seen without a mark has committed, and the second look sees that.
    const auto closed_at = static_cast<std::int64_t>(descriptor.closed_at.load(std::memory_order_acquire));
    const std::int64_t waited = SessionClockNow() - closed_at;
    const bool patient = waited >= 0 && waited < kWriterPatience;
    if (patient && IsMarked(map, sequence, self.line, false)) return SealResult::kPending;
    int tries = 0;
    while (!RevokeUnsettled(map, slot, sequence, word)) {
      if (++tries == kRevokeTries) return SealResult::kPending;
    }
  }
  MovePhase(descriptor, {Phase::State::kActive, sequence}, {Phase::State::kSealed, sequence});
  At(Step::kSealed);
  return SealResult::kSealed;
}

/// Waits, as long as closers do, until no living participant has a mark on the buffer.
void AwaitUsers(const ControlMap& map, std::uint64_t sequence) noexcept {
  const std::int64_t end = SessionClockNow() + kWriterPatience;
  while (IsMarked(map, sequence, nullptr, true) && SessionClockNow() < end) {
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
}

}  // namespace

void WakeReaders(const ControlMap& map) noexcept {
  auto& closings = map.words().closings;
  closings.fetch_add(1, std::memory_order_seq_cst);
  if (map.words().sleepers.load(std::memory_order_seq_cst) == 0) return;
  ::syscall(SYS_futex, &closings, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

bool IsClosed(const ControlMap& map, std::uint64_t sequence) noexcept {
  const OpenBuffer open = map.open();
  if (sequence != open.sequence) return sequence < open.sequence;
  return open.slot < map.descriptors().size() && WordOf(map, open.slot).closed;
}

void SleepUntilClosing(const ControlMap& map, std::uint32_t seen, std::chrono::microseconds limit) noexcept {
  auto& words = map.words();
  words.sleepers.fetch_add(1, std::memory_order_seq_cst);
  const timespec wait = {static_cast<time_t>(limit.count() / 1'000'000), limit.count() % 1'000'000 * 1000};
  ::syscall(SYS_futex, &words.closings, FUTEX_WAIT, seen, &wait, nullptr, 0);
  words.sleepers.fetch_sub(1, std::memory_order_seq_cst);
}

ReservationWord WordOf(const ControlMap& map, std::uint32_t slot) noexcept {
  const auto word = ReservationWord::Unpack(map.descriptors()[slot].word.load(std::memory_order_acquire));
  return Bounded(word, map.buffer_size());
}

std::uint64_t PassedBelow(const ControlMap& map) noexcept {
  auto& words = map.words();
  for (;;) {
    const std::uint64_t version = words.place_version.load(std::memory_order_acquire);
    const std::uint64_t next = words.places[version & 1].next_sequence.load(std::memory_order_acquire);
    // After two moves the copy may hold a place that is not in force yet, and never will be if its writer dies.
    if (words.place_version.load(std::memory_order_relaxed) == version) return next;
  }
}

std::uint32_t CountFreeSlots(const ControlMap& map) noexcept {
  const std::uint64_t passed = PassedBelow(map);
  std::uint32_t count = 0;
  for (const auto& descriptor : map.descriptors()) count += IsFree(PhaseOf(descriptor), passed) ? 1 : 0;
  return count;
}

std::optional<std::uint32_t> FindBuffer(const ControlMap& map, std::uint64_t sequence) noexcept {
  const OpenBuffer open = map.open();
  if (open.sequence == sequence && open.slot < map.descriptors().size()) {
    HelpActive(map, open);
    return open.slot;
  }
  for (std::uint32_t slot = 0; slot < map.descriptors().size(); ++slot) {
    const Phase phase = PhaseOf(map.descriptors()[slot]);
    if (phase.state != Phase::State::kPreparing && phase.number == sequence) return slot;
  }
  return std::nullopt;
}

SealResult TrySeal(const ControlMap& map, const Participant& self, std::uint32_t slot,
                   std::uint64_t sequence) noexcept {
  const ScopedGuard guard(self, sequence);
  const Phase phase = PhaseOf(map.descriptors()[slot]);
  if (phase.number != sequence || phase.state == Phase::State::kPreparing) return SealResult::kGone;
  if (phase.state != Phase::State::kActive) return SealResult::kSealed;
  if (!WordOf(map, slot).closed) return SealResult::kPending;
  return SealGuarded(map, self, slot, sequence);
}

SealResult SealWithin(const ControlMap& map, const Participant& self, std::uint32_t slot,
                      std::uint64_t sequence) noexcept {
  // TrySeal revokes once the patience is over, so this ends; the count is for bytes that no writer of ours left.
  for (int tries = 0; tries < 2000; ++tries) {
    const SealResult result = TrySeal(map, self, slot, sequence);
    if (result != SealResult::kPending) return result;
    std::this_thread::sleep_for(std::chrono::microseconds(tries < 20 ? 50 : 1000));
  }
  return SealResult::kPending;
}

CloseResult CloseBuffer(const ControlMap& map, const Participant& self, OpenBuffer open) noexcept {
  if (open.slot >= map.descriptors().size()) return CloseResult::kFull;
  bool opened = false;
  {
    const ScopedGuard guard(self, open.sequence);
    if (!(map.open() == open)) return CloseResult::kOpened;
    auto& descriptor = map.descriptors()[open.slot];
    const BitResult bit = SetClosed(descriptor, open.sequence, false);
    if (bit == BitResult::kEmpty) return CloseResult::kEmpty;
    if (bit == BitResult::kGone) return map.open() == open ? CloseResult::kFull : CloseResult::kOpened;
    NoteClosingTime(descriptor);
    At(Step::kClosed);
    HelpActive(map, open);
    const bool running = map.state() == SessionState::kRunning;
    opened = running && OpenNext(map, self, open);
  }
  TrySeal(map, self, open.slot, open.sequence);
  WakeReaders(map);
  return opened ? CloseResult::kOpened : CloseResult::kFull;
}

void CloseLastBuffer(const ControlMap& map, const Participant& self) noexcept {
  // The state says "stopping", so nobody begins to open another one. Who began before bears a mark on the open one
  // until the next is published, and that one is met by the next turn.
  for (;;) {
    const OpenBuffer open = map.open();
    if (open.slot >= map.descriptors().size()) return;
    {
      const ScopedGuard guard(self, open.sequence);
      HelpActive(map, open);
      const BitResult bit = SetClosed(map.descriptors()[open.slot], open.sequence, true);
      if (bit == BitResult::kClosed) NoteClosingTime(map.descriptors()[open.slot]);
      if (bit == BitResult::kGone && map.open() == open) return;
    }
    AwaitUsers(map, open.sequence);
    if (map.open() == open) break;
  }
  WakeReaders(map);
}

bool IsOverdue(const ControlMap& map, OpenBuffer open, std::int64_t now) noexcept {
  const auto flush = static_cast<std::int64_t>(map.words().flush_ticks.load(std::memory_order_relaxed));
  if (flush <= 0 || open.slot >= map.descriptors().size()) return false;
  const auto& descriptor = map.descriptors()[open.slot];
  const auto word = ReservationWord::Unpack(descriptor.word.load(std::memory_order_acquire));
  const auto first = static_cast<std::int64_t>(descriptor.first_stamp.load(std::memory_order_relaxed));
  return word.end > kFirst && first != 0 && now - first >= flush;
}

void CloseOverdue(const ControlMap& map, const Participant& self) noexcept {
  const OpenBuffer open = map.open();
  if (IsOverdue(map, open, SessionClockNow())) CloseBuffer(map, self, open);
}

}  // namespace varnel::embedded::ring

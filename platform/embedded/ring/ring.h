// Ring: what opens, closes and settles the buffers of a session. Stateless over a ControlMap; any thread of any process
// may call, each with its own participant. Nothing here waits but SealWithin.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "platform/embedded/ring/control_map.h"
#include "platform/embedded/ring/participant.h"
#include "platform/embedded/ring/settle.h"

namespace varnel::embedded::ring {

/// A closer waits this long for a writer that lives, counted from the closing, in the session's clock.
inline constexpr std::int64_t kWriterPatience = 500 * 10'000;

enum class CloseResult {
  kOpened,  // another buffer is open now
  kFull,    // no slot is free: the buffer is closed and stays the open one until a slot is
  kEmpty,   // nothing in it; it was left open
};

enum class SealResult { kSealed, kPending, kGone };

/// Closes `open` if it still is the open buffer, opens the next one, and tries to settle the old one. An empty buffer
/// is left alone. REQUIRES: `self` bears no mark.
CloseResult CloseBuffer(const ControlMap& map, const Participant& self, OpenBuffer open) noexcept;

/// Closes the open buffer for good, opening none: nothing is reserved in this session any more.
void CloseLastBuffer(const ControlMap& map, const Participant& self) noexcept;

/// Whether the open buffer holds an event older than the flush timer at `now`.
bool IsOverdue(const ControlMap& map, OpenBuffer open, std::int64_t now) noexcept;

/// Closes what is overdue.
void CloseOverdue(const ControlMap& map, const Participant& self) noexcept;

/// The slot that holds buffer `sequence`, in whatever phase.
std::optional<std::uint32_t> FindBuffer(const ControlMap& map, std::uint64_t sequence) noexcept;

/// Settles buffer `sequence` in `slot` if it is closed: waits for nobody; revokes what the dead left, and everything
/// uncommitted once the patience is over. kGone: the slot holds another buffer. kPending: still open, or a living
/// writer has time left.
SealResult TrySeal(const ControlMap& map, const Participant& self, std::uint32_t slot, std::uint64_t sequence) noexcept;

/// Tries until the buffer is sealed or the patience is over. REQUIRES: the buffer is closed.
SealResult SealWithin(const ControlMap& map, const Participant& self, std::uint32_t slot,
                      std::uint64_t sequence) noexcept;

/// Whether buffer `sequence` is closed (or its number lies behind the open one's).
bool IsClosed(const ControlMap& map, std::uint64_t sequence) noexcept;

/// Sleeps until something closes after `seen` (a value of the closings word) or for `limit`, whichever is first.
void SleepUntilClosing(const ControlMap& map, std::uint32_t seen, std::chrono::microseconds limit) noexcept;

/// Wakes the readers that sleep until something closes.
void WakeReaders(const ControlMap& map) noexcept;

/// The reservation word of a slot, its places in bounds.
ReservationWord WordOf(const ControlMap& map, std::uint32_t slot) noexcept;

/// The next buffer number that the file place waits for; everything below has been passed.
std::uint64_t PassedBelow(const ControlMap& map) noexcept;

/// Slots that could be opened now.
std::uint32_t CountFreeSlots(const ControlMap& map) noexcept;

}  // namespace varnel::embedded::ring

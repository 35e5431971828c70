// Settling a closed buffer: every event in it becomes committed or revoked. Also the walk over what is settled. Both
// take the buffer's bytes for foreign: lengths are checked, and what makes no sense is given up as one piece.
#pragma once

#include <cstdint>

#include "platform/embedded/ring/control_map.h"

namespace varnel::embedded::ring {

/// What a walk over a buffer found.
struct BufferContent {
  std::uint32_t events = 0;     // committed
  std::uint32_t lost = 0;       // revoked
  std::uint32_t bytes = 0;      // of committed events, rounded lengths
  std::int64_t last_stamp = 0;  // session clock; 0 without events
};

enum class RevokeWhat { kNothing, kUncommitted };

/// Goes over the events of a closed buffer of sequence `sequence` whose last event starts at `last` and ends at `end`.
/// @return the number of events that are neither committed nor revoked (0: settled); with kUncommitted they are revoked
/// on the way, and 0 comes back unless a writer was faster, which a second call finds.
/// REQUIRES: the caller has a guard on the buffer.
std::uint32_t SettleEvents(const ControlMap& map, std::uint32_t slot, std::uint64_t sequence,
                           const ReservationWord& word, RevokeWhat revoke) noexcept;

/// Clears the predecessors' lengths of committed events, which are no part of the file. REQUIRES: settled, guarded.
void ClearPredecessors(const ControlMap& map, std::uint32_t slot, const ReservationWord& word) noexcept;

/// REQUIRES: sealed, guarded (or the file lock held).
BufferContent Survey(const ControlMap& map, std::uint32_t slot, const ReservationWord& word) noexcept;

/// Copies the committed events one behind the other to `out`, which holds a buffer's size. @return the bytes copied.
std::uint32_t CopyCommitted(const ControlMap& map, std::uint32_t slot, const ReservationWord& word,
                            std::byte* out) noexcept;

/// The word's places brought into the bounds of a buffer, so that the bytes of a foreign file lead nowhere else.
ReservationWord Bounded(ReservationWord word, std::uint32_t buffer_size) noexcept;

}  // namespace varnel::embedded::ring

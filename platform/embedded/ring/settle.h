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

/// Whether every event of a closed buffer, which ends at `word.end`, is committed or revoked. REQUIRES: the caller has
/// a guard on the buffer.
bool IsSettled(const ControlMap& map, std::uint32_t slot, const ReservationWord& word) noexcept;

/// Revokes what is not committed of buffer `sequence`. @return false when a writer was faster somewhere: then it is to
/// be tried again. REQUIRES: as above; no living writer has a mark on it, or the patience is over.
bool RevokeUnsettled(const ControlMap& map, std::uint32_t slot, std::uint64_t sequence,
                     const ReservationWord& word) noexcept;

/// REQUIRES: sealed, guarded (or the file lock held).
BufferContent Survey(const ControlMap& map, std::uint32_t slot, const ReservationWord& word) noexcept;

/// Copies the committed events one behind the other to `out`, which holds a buffer's size, without the predecessors'
/// lengths, which are no part of the file. The buffer itself is not stored into: another closer or reader may be at it.
/// @return the bytes copied. REQUIRES: as Survey.
std::uint32_t CopyCommitted(const ControlMap& map, std::uint32_t slot, const ReservationWord& word,
                            std::byte* out) noexcept;

/// The word's places brought into the bounds of a buffer, so that the bytes of a foreign file lead nowhere else.
ReservationWord Bounded(ReservationWord word, std::uint32_t buffer_size) noexcept;

}  // namespace varnel::embedded::ring

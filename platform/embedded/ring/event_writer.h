// Writing one event into a session's ring: reserve, fill, commit. No lock and no system call but when a buffer closes.
// Any thread may call. Between a Reserve that succeeded and its Commit the thread must write nothing else into the same
// session.
#pragma once

#include <cstdint>
#include <span>

#include "formats/etl_format.h"
#include "platform/embedded/ring/control_map.h"
#include "platform/embedded/ring/participant.h"

namespace varnel::embedded::ring {

class SessionFile;

/// The room for one event.
struct Reservation {
  std::byte* event = nullptr;
  std::uint64_t reserved = 0;  // the event's first word as it stands
  std::int64_t stamp = 0;      // session clock
  Participant self;
};

/// What was left out where it failed is counted in the session's lost events.
enum class ReserveResult {
  kReserved,
  kTooLarge,  // does not fit a buffer, or is longer than 65,535 bytes
  kNoRoom,    // no buffer is free
  kNoLine,    // no participant line, or the thread is inside another event of this session
  kEnded,     // the session takes no events any more; not counted
};

/// The longest event of this session, its header included.
inline std::uint32_t LargestEvent(const ControlMap& map) noexcept {
  const std::uint32_t room = map.buffer_size() - formats::kEtlBufferHeaderSize;
  return room < 0xFFFF ? room : 0xFFFF;
}

/// Reserves `size` bytes, the 80 of the header included. `file` writes closed buffers out when one closes on the way.
ReserveResult Reserve(const std::shared_ptr<ControlMap>& map, SessionFile& file, std::uint32_t size,
                      Reservation* out) noexcept;

/// One piece of an event's payload.
struct Piece {
  const void* data = nullptr;
  std::uint32_t size = 0;
};

/// Fills in header and payload and commits. `header` gives all but size, type and stamp; with `items`, whole extended
/// items as they stand in the file, header.flags must say so. The pieces' sizes add up to what was reserved.
/// @return false when a closer took the event for lost; it is counted there.
bool Commit(const Reservation& reservation, const formats::EtlEventHeaderFormat& header,
            std::span<const Piece> pieces) noexcept;

}  // namespace varnel::embedded::ring

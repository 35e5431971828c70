// FilePlace: how far a session's closed buffers have come, and what was lost on the way. Read by anyone; changed under
// the session's exclusive file lock only.
#pragma once

#include <cstdint>

#include "platform/embedded/ring/control_map.h"

namespace varnel::embedded::ring {

struct FilePlace {
  std::uint64_t next_sequence = 0;
  std::uint64_t buffers_written = 0;  // into the present file, its header buffer not counted
  std::uint64_t events_lost = 0;
  std::uint64_t buffers_lost = 0;
  std::int64_t last_stamp = 0;  // session clock
  std::uint64_t total_written = 0;
};

/// The place in force, whole.
FilePlace ReadPlace(const ControlMap& map) noexcept;

/// Puts `place` in force by one store. REQUIRES: the exclusive file lock.
void StorePlace(const ControlMap& map, const FilePlace& place) noexcept;

/// Where buffers stand in a session's file.
struct FileShape {
  std::uint64_t capacity = 0;  // buffers, the header buffer included; 0: no limit
  bool circular = false;
  std::uint32_t buffer_size = 0;

  static FileShape Of(const SessionConstants& constants) noexcept;

  /// No room for the buffer behind `written` ones.
  bool IsFull(std::uint64_t written) const noexcept { return !circular && capacity != 0 && written + 1 >= capacity; }
  /// The offset of the buffer behind `written` ones.
  std::uint64_t OffsetAfter(std::uint64_t written) const noexcept {
    return (1 + (circular ? written % (capacity - 1) : written)) * buffer_size;
  }
  /// The buffers that the file holds after `written` ones, the header buffer included.
  std::uint64_t BuffersInFile(std::uint64_t written) const noexcept {
    return circular && written + 1 > capacity ? capacity : written + 1;
  }
};

}  // namespace varnel::embedded::ring

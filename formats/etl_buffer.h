// One buffer of a trace: its header as values, and a cursor over its events. This is all that a live reader needs,
// which gets closed buffers from memory; the file reader is built on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "formats/etl_clock.h"
#include "formats/etl_event.h"
#include "formats/etl_format.h"

namespace varnel::formats {

/// The facts of a buffer header.
struct EtlBufferInfo {
  std::uint32_t size = 0;       // bytes in the file, header included
  std::uint32_t valid_end = 0;  // end of valid data from the buffer's start; unpacked for a packed buffer
  std::uint16_t processor = 0;
  std::uint16_t logger_id = 0;
  std::uint16_t flags = 0;
  std::uint16_t type = 0;
  std::uint32_t state = 0;
  std::int64_t sequence = 0;
  std::int64_t time_stamp = 0;

  bool packed() const noexcept { return (flags & kEtlBufferFlagPacked) != 0; }
};

/// Reads a buffer header. @return false when the bytes can't be one: too few of them, or a size, an end of data, a type
/// or flags that no writer makes. Says nothing about whether `size` bytes are there.
[[nodiscard]] bool ParseEtlBufferHeader(std::span<const std::byte> bytes, EtlBufferInfo* out) noexcept;

/// What became of the bytes behind a buffer's header; the sum of the three is their number.
struct EtlBufferAccount {
  std::uint64_t events = 0;
  std::uint64_t event_bytes = 0;
  std::uint64_t filler_bytes = 0;   // padding behind events, and what follows the valid data
  std::uint64_t skipped_bytes = 0;  // not understood: behind damage, or data where filler should be
  bool damaged = false;             // the walk ended at something that is no event
};

/// Walks the events of one unpacked buffer. The bytes belong to the caller and must outlive the cursor and its views.
/// Not synchronised.
class EtlBufferCursor {
 public:
  EtlBufferCursor() = default;

  /// `buffer` is the whole buffer, header included, as long as it is at hand (a file cut short may give less than
  /// `info.size`). Valid data is taken to end at `info.valid_end`.
  EtlBufferCursor(std::span<const std::byte> buffer, const EtlBufferInfo& info, const EtlClock& clock) noexcept;

  /// Fills `*out` with the next event. @return false at the end; the account is complete then. `out` should be the same
  /// object on each call, since a message without a time bears the stamp of the event before it.
  [[nodiscard]] bool Next(EtlEventView* out) noexcept;

  const EtlBufferAccount& account() const noexcept { return account_; }

 private:
  void Finish(bool damaged) noexcept;
  void PassOver(std::uint32_t size) noexcept;

  std::span<const std::byte> buffer_;
  std::size_t offset_ = 0;
  std::size_t end_ = 0;
  std::uint16_t processor_ = 0;
  std::uint16_t logger_id_ = 0;
  bool done_ = true;
  EtlClock clock_;
  EtlBufferAccount account_;
};

}  // namespace varnel::formats

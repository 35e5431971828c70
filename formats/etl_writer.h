// Composes trace files that every public reader accepts: the bytes of header buffers, data buffers and events, and a
// writer that puts them together. A session that keeps its own buffers uses the functions; whoever just wants a file
// uses EtlFileWriter. Nothing here makes system calls; nothing but the writer allocates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "formats/etl_log_header.h"
#include "formats/result.h"
#include "interfaces/guid.h"

namespace varnel::formats {

/// What readers ask of a buffer size: a multiple of 1024 between these two.
inline constexpr std::uint32_t kEtlSmallestBuffer = 4096;
inline constexpr std::uint32_t kEtlLargestBuffer = 1024 * 1024;

/// Fills a whole header buffer: its header, the log file header's event with both names, 0xFF behind it. `header` gives
/// all facts; its buffer_size must be `buffer.size()`. The same call with other facts, written over the first, is how a
/// file is closed. @return false when the names do not fit; `buffer` may then hold anything.
[[nodiscard]] bool FillEtlHeaderBuffer(const EtlLogHeader& header, std::uint16_t logger_id,
                                       std::span<std::byte> buffer) noexcept;

struct EtlDataBuffer {
  std::uint16_t processor = 0;  // below the log header's number of processors
  std::uint16_t logger_id = 0;
  std::uint16_t flags = 0;      // kEtlBufferFlag...; that of the processor index is added
  std::int64_t sequence = 0;    // from 1, shared by all processors
  std::int64_t time_stamp = 0;  // of the flush, in the session's clock; not before the buffer's last event
  std::uint32_t end = 0;        // end of the last event with its padding, from the buffer's start
};

/// Fills the header of a data buffer whose events stand in place, and 0xFF from their end to the buffer's.
/// REQUIRES: kEtlBufferHeaderSize <= data.end <= buffer.size().
void FillEtlDataBuffer(const EtlDataBuffer& data, std::span<std::byte> buffer) noexcept;

/// The header fields of an event of the common kind.
struct EtlEventFields {
  std::int64_t stamp = 0;  // in the session's clock
  GUID provider = {};
  std::uint16_t id = 0;
  std::uint8_t version = 0;
  std::uint8_t channel = 0;
  std::uint8_t level = 0;
  std::uint8_t opcode = 0;
  std::uint16_t task = 0;
  std::uint64_t keyword = 0;
  std::uint32_t thread_id = 0;
  std::uint32_t process_id = 0;
  GUID activity_id = {};
  bool pointer32 = false;
};

/// Bytes that an event takes in a buffer, its padding included; 0 when it is larger than an event can be (65535 bytes
/// before padding).
std::size_t EtlEventSpace(std::size_t payload_size) noexcept;

/// Writes an event without extended items and its padding to the start of `out`. @return the bytes taken, as
/// EtlEventSpace tells them, or 0 when they do not fit; `out` is then untouched.
std::size_t PutEtlEvent(const EtlEventFields& fields, std::span<const std::byte> payload,
                        std::span<std::byte> out) noexcept;

/// Takes bytes of the file at a place; @return false when it can't, which ends the writing.
using EtlSink = std::function<bool(std::uint64_t offset, std::span<const std::byte> bytes)>;

/// Writes a whole trace file through a sink. While it is open the file is one that was copied in use: no end time, one
/// buffer written. Memory: one buffer for each processor that has written. One thread.
class EtlFileWriter {
 public:
  /// A log header for a file that begins at `start_time` (FILETIME): a counter of 10 MHz, so that stamps and FILETIMEs
  /// differ by a constant, one processor and buffers of 64 KiB.
  static EtlLogHeader DefaultHeader(std::int64_t start_time);

  /// Writes the header buffer. An error when the buffer size is none that readers accept, the names don't fit, there
  /// are no processors, or the sink says no.
  static Result<std::unique_ptr<EtlFileWriter>> Create(EtlLogHeader header, EtlSink sink);

  /// Adds an event of a processor; a full buffer goes out first. Readers give events of one processor in the order in
  /// which they were written where their stamps fall. @return false for an unknown processor, an event larger than a
  /// buffer, or a sink that says no; nothing of the event is then in the file.
  [[nodiscard]] bool Write(std::uint16_t processor, const EtlEventFields& fields, std::span<const std::byte> payload);

  /// Writes out all buffers and then the header buffer with the given facts. No further call is allowed.
  [[nodiscard]] bool Close(std::int64_t end_time, std::uint32_t events_lost = 0, std::uint32_t buffers_lost = 0);

  /// The stamp of a FILETIME. REQUIRES: the header's clock is a counter of 10 MHz or the system time.
  std::int64_t StampAt(std::int64_t file_time) const noexcept;

 private:
  struct Open {
    std::vector<std::byte> bytes;
    std::uint32_t end = kEtlBufferHeaderSize;
    std::int64_t last_stamp = 0;
  };

  EtlFileWriter(EtlLogHeader header, EtlSink sink);
  bool Flush(std::uint16_t processor, bool last);

  EtlLogHeader header_;
  EtlSink sink_;
  std::vector<std::byte> header_buffer_;
  std::vector<Open> open_;  // by processor; no bytes before its first event
  std::uint32_t buffers_written_ = 1;
};

}  // namespace varnel::formats

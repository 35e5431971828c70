// The log file header: the first event of a trace file, which tells about the session, its clock and its losses.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "formats/etl_clock.h"
#include "formats/etl_format.h"

namespace varnel::formats {

/// The facts of a log file header. Times are FILETIME (100 ns since 1601, UTC), 0 where the file has none.
struct EtlLogHeader {
  std::uint32_t buffer_size = 0;  // of the session; packed files have smaller buffers
  std::uint8_t os_major = 10;
  std::uint8_t os_minor = 0;
  std::uint8_t layout_major = 1;
  std::uint8_t layout_minor = 5;
  std::uint32_t provider_version = 0;  // the system's build
  std::uint32_t processors = 0;
  std::int64_t end_time = 0;
  std::uint32_t timer_resolution = 0;   // 100 ns
  std::uint32_t maximum_file_size = 0;  // MB, or KB by a bit of the mode
  std::uint32_t log_file_mode = 0;
  std::uint32_t buffers_written = 0;  // the header buffer included; may be stale in a file that was copied in use
  std::uint32_t start_buffers = 1;
  std::uint32_t pointer_size = 8;
  std::uint32_t events_lost = 0;
  std::uint32_t cpu_speed_mhz = 0;
  std::array<std::uint8_t, kEtlTimeZoneSize> time_zone = {};  // TIME_ZONE_INFORMATION as stored
  std::int64_t boot_time = 0;
  std::int64_t perf_freq = 0;
  std::int64_t start_time = 0;
  std::uint32_t clock_type = 0;  // kEtlClock...
  std::uint32_t buffers_lost = 0;
  std::u16string logger_name;
  std::u16string log_file_name;
  // What the event's own header tells.
  bool layout32 = false;
  std::uint32_t process_id = 0;
  std::uint32_t thread_id = 0;
  std::int64_t origin_stamp = 0;  // the session's clock at start_time

  EtlClock Clock() const noexcept { return EtlClock(clock_type, perf_freq, cpu_speed_mhz, origin_stamp, start_time); }
};

/// Reads the log file header out of a buffer: `bytes` begin with the buffer's header and need not reach to its end.
/// @return false when the first event is none, or is not whole; `*out` is then undefined. Names end at their first NUL
/// or with the event.
[[nodiscard]] bool ParseEtlLogHeader(std::span<const std::byte> bytes, EtlLogHeader* out);

}  // namespace varnel::formats

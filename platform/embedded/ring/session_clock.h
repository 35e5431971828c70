// The sessions' clock: 100 ns of the host's boot time, the time asleep included. It never runs back and is the same in
// every process.
#pragma once

#include <time.h>

#include <cstdint>

namespace varnel::embedded::ring {

inline constexpr std::uint64_t kClockFrequency = 10'000'000;

inline std::int64_t SessionClockNow() noexcept {
  timespec now;
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return std::int64_t{now.tv_sec} * 10'000'000 + static_cast<std::uint32_t>(now.tv_nsec) / 100;
}

}  // namespace varnel::embedded::ring

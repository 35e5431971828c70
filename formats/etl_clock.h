// EtlClock turns the stamps of one trace session into FILETIME: 100 ns since 1601, UTC. Integer arithmetic throughout,
// so that a file and a live consumer of the same session give the same time for the same event. A plain value.
#pragma once

#include <cstdint>

#include "formats/etl_format.h"

namespace varnel::formats {

class EtlClock {
 public:
  /// A clock that passes stamps through.
  EtlClock() = default;
  /// `type` is one of kEtlClock...; `frequency` in Hz and `cpu_mhz` are used by the types that need them;
  /// `origin_stamp` is the stamp of the session's header event and `start_time` the FILETIME of the same moment. A type
  /// that is unknown, or whose scale is 0, counts a tick as 100 ns.
  EtlClock(std::uint32_t type, std::int64_t frequency, std::uint32_t cpu_mhz, std::int64_t origin_stamp,
           std::int64_t start_time) noexcept;

  std::uint32_t type() const noexcept { return type_; }

  /// FILETIME of a stamp, rounded toward the session's start. Stamps before the start are fine; hostile ones wrap.
  std::int64_t ToFileTime(std::int64_t stamp) const noexcept {
    if (pass_through_) return stamp;
    const auto delta = static_cast<std::int64_t>(static_cast<std::uint64_t>(stamp) - origin_);
    if (multiplier_ == divisor_) return Add(delta);
    return Add(Scale(delta));
  }

 private:
  std::int64_t Add(std::int64_t ticks) const noexcept {
    return static_cast<std::int64_t>(start_ + static_cast<std::uint64_t>(ticks));
  }
  std::int64_t Scale(std::int64_t delta) const noexcept;

  std::uint32_t type_ = kEtlClockSystemTime;
  bool pass_through_ = true;
  std::int64_t multiplier_ = 1;
  std::int64_t divisor_ = 1;
  std::uint64_t origin_ = 0;
  std::uint64_t start_ = 0;
};

}  // namespace varnel::formats

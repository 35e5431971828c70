#include "formats/etl_clock.h"

namespace varnel::formats {
namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMicrosecond = 10;

}  // namespace

EtlClock::EtlClock(std::uint32_t type, std::int64_t frequency, std::uint32_t cpu_mhz, std::int64_t origin_stamp,
                   std::int64_t start_time) noexcept
    : type_(type),
      pass_through_(type == kEtlClockSystemTime),
      origin_(static_cast<std::uint64_t>(origin_stamp)),
      start_(static_cast<std::uint64_t>(start_time)) {
  if (type == kEtlClockPerformanceCounter && frequency > 0) {
    multiplier_ = kTicksPerSecond;
    divisor_ = frequency;
  } else if (type == kEtlClockCpuCycles && cpu_mhz > 0) {
    multiplier_ = kTicksPerMicrosecond;
    divisor_ = cpu_mhz;
  }
}

std::int64_t EtlClock::Scale(std::int64_t delta) const noexcept {
  // Whole divisors first, the rest behind them: both quotients round toward zero, so their sum is the quotient of the
  // whole product, and nothing passes 64 bits for any frequency below 922 GHz. What wraps was nonsense before.
  const std::int64_t whole = delta / divisor_;
  const std::int64_t rest = delta % divisor_;
  const auto scaled = static_cast<std::uint64_t>(whole) * static_cast<std::uint64_t>(multiplier_);
  const auto rest_product =
      static_cast<std::int64_t>(static_cast<std::uint64_t>(rest) * static_cast<std::uint64_t>(multiplier_));
  return static_cast<std::int64_t>(scaled + static_cast<std::uint64_t>(rest_product / divisor_));
}

}  // namespace varnel::formats

#include "tests/support/civil_time.h"

#include <chrono>

namespace varnel::testing {
namespace {

constexpr std::int64_t kTicksADay = 864'000'000'000;
constexpr std::chrono::sys_days kEpoch = std::chrono::year(1601) / 1 / 1;

}  // namespace

bool CivilFromFileTime(std::uint64_t time, platform::SYSTEMTIME* out) {
  if (time > 0x7FFFFFFFFFFFFFFF) return false;
  const auto days = static_cast<std::int64_t>(time / kTicksADay);
  const auto in_day = static_cast<std::int64_t>(time % kTicksADay) / 10'000;  // milliseconds
  const std::chrono::sys_days day = kEpoch + std::chrono::days(days);
  const std::chrono::year_month_day date(day);
  out->wYear = static_cast<std::uint16_t>(static_cast<int>(date.year()));
  out->wMonth = static_cast<std::uint16_t>(static_cast<unsigned>(date.month()));
  out->wDay = static_cast<std::uint16_t>(static_cast<unsigned>(date.day()));
  out->wDayOfWeek = static_cast<std::uint16_t>(std::chrono::weekday(day).c_encoding());
  out->wHour = static_cast<std::uint16_t>(in_day / 3'600'000);
  out->wMinute = static_cast<std::uint16_t>(in_day / 60'000 % 60);
  out->wSecond = static_cast<std::uint16_t>(in_day / 1000 % 60);
  out->wMilliseconds = static_cast<std::uint16_t>(in_day % 1000);
  return true;
}

bool IsCivilTime(const platform::SYSTEMTIME& civil) {
  const auto date = std::chrono::year(civil.wYear) / std::chrono::month(civil.wMonth) / std::chrono::day(civil.wDay);
  return date.ok() && civil.wYear >= 1601 && civil.wHour < 24 && civil.wMinute < 60 && civil.wSecond < 60 &&
         civil.wMilliseconds < 1000;
}

std::uint64_t FileTimeFromCivil(const platform::SYSTEMTIME& civil) {
  const std::chrono::sys_days day =
      std::chrono::year(civil.wYear) / std::chrono::month(civil.wMonth) / std::chrono::day(civil.wDay);
  const std::int64_t milliseconds =
      ((civil.wHour * 60 + civil.wMinute) * 60 + civil.wSecond) * std::int64_t{1000} + civil.wMilliseconds;
  return static_cast<std::uint64_t>((day - kEpoch).count() * kTicksADay + milliseconds * 10'000);
}

}  // namespace varnel::testing

#include "platform/embedded/system/time_conversion.h"

namespace varnel::embedded {
namespace {

using platform::SYSTEMTIME;
using platform::TIME_ZONE_INFORMATION;

constexpr std::int64_t kMillisecond = 10000;  // in 100 ns
constexpr std::int64_t kMinute = 60 * 1000 * kMillisecond;
constexpr std::int64_t kDay = 24 * 60 * kMinute;
constexpr std::uint64_t kLastTime = 0x7FFFFFFFFFFFFFFF;

/// Days from 1601-01-01 to a date of the Gregorian calendar.
std::int64_t DaysTo(int year, int month, int day) {
  // Counted from March, so that the leap day ends a year and months follow one rule.
  const std::int64_t shifted = month > 2 ? year : year - 1;
  const int from_march = (month + 9) % 12;
  const std::int64_t day_of_year = (153 * from_march + 2) / 5 + day - 1;
  const std::int64_t to_year = shifted * 365 + shifted / 4 - shifted / 100 + shifted / 400;
  constexpr std::int64_t kMarchTo1601 = 1600 * 365 + 400 - 16 + 4 + 306;  // from 0000-03-01 to 1601-01-01
  return to_year + day_of_year - kMarchTo1601;
}

bool IsLeap(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysIn(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

/// The moment in `year` at which a transition date falls, in the local time that is in force before it.
std::int64_t TransitionIn(int year, const SYSTEMTIME& date) {
  int day = date.wDay;
  if (date.wYear == 0) {
    // "The wDay-th such weekday of the month", 5 for the last.
    const auto first_weekday = static_cast<int>((DaysTo(year, date.wMonth, 1) + 1) % 7);
    day = 1 + (date.wDayOfWeek - first_weekday + 7) % 7 + (date.wDay - 1) * 7;
    while (day > DaysIn(year, date.wMonth)) day -= 7;
  }
  return DaysTo(year, date.wMonth, day) * kDay + (date.wHour * 60 + date.wMinute) * kMinute;
}

/// The zone's distance from UTC at a moment, in minutes.
std::int32_t BiasAt(const TIME_ZONE_INFORMATION& zone, std::int64_t utc, int year) {
  if (zone.StandardDate.wMonth == 0 || zone.DaylightDate.wMonth == 0) return zone.Bias;
  const std::int32_t standard = zone.Bias + zone.StandardBias;
  const std::int32_t daylight = zone.Bias + zone.DaylightBias;
  const std::int64_t to_daylight = TransitionIn(year, zone.DaylightDate) + standard * kMinute;
  const std::int64_t to_standard = TransitionIn(year, zone.StandardDate) + daylight * kMinute;
  const bool in_daylight =
      to_daylight < to_standard ? utc >= to_daylight && utc < to_standard : utc >= to_daylight || utc < to_standard;
  return in_daylight ? daylight : standard;
}

}  // namespace

bool BreakDown(std::uint64_t file_time, SYSTEMTIME* result) {
  if (file_time > kLastTime) return false;
  const auto days = static_cast<std::int64_t>(file_time / kDay);
  auto rest = static_cast<std::int64_t>(file_time % kDay) / kMillisecond;
  int year = 1601 + static_cast<int>(days / 366);
  while (DaysTo(year + 1, 1, 1) <= days) ++year;
  int day = static_cast<int>(days - DaysTo(year, 1, 1));
  int month = 1;
  for (; day >= DaysIn(year, month); ++month) day -= DaysIn(year, month);
  result->wYear = static_cast<std::uint16_t>(year);
  result->wMonth = static_cast<std::uint16_t>(month);
  result->wDay = static_cast<std::uint16_t>(day + 1);
  result->wDayOfWeek = static_cast<std::uint16_t>((days + 1) % 7);  // 1601 began on a Monday
  result->wMilliseconds = static_cast<std::uint16_t>(rest % 1000);
  rest /= 1000;
  result->wSecond = static_cast<std::uint16_t>(rest % 60);
  result->wMinute = static_cast<std::uint16_t>(rest / 60 % 60);
  result->wHour = static_cast<std::uint16_t>(rest / 3600);
  return true;
}

bool Compose(const SYSTEMTIME& time, std::uint64_t* file_time) {
  if (time.wYear < 1601 || time.wYear > 30827 || time.wMonth < 1 || time.wMonth > 12 || time.wDay < 1 ||
      time.wDay > DaysIn(time.wYear, time.wMonth) || time.wHour > 23 || time.wMinute > 59 || time.wSecond > 59 ||
      time.wMilliseconds > 999) {
    return false;
  }
  const std::int64_t minutes = time.wHour * 60 + time.wMinute;
  const std::int64_t milliseconds = time.wSecond * 1000 + time.wMilliseconds;
  *file_time = static_cast<std::uint64_t>(DaysTo(time.wYear, time.wMonth, time.wDay) * kDay + minutes * kMinute +
                                          milliseconds * kMillisecond);
  return true;
}

bool ToLocal(const TIME_ZONE_INFORMATION& zone, const SYSTEMTIME& universal, SYSTEMTIME* local) {
  std::uint64_t utc = 0;
  if (!Compose(universal, &utc)) return false;
  const auto moment = static_cast<std::int64_t>(utc);
  const std::int64_t shifted = moment - BiasAt(zone, moment, universal.wYear) * kMinute;
  return shifted >= 0 && BreakDown(static_cast<std::uint64_t>(shifted), local);
}

}  // namespace varnel::embedded

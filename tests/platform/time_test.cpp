// Clocks and the conversion of times.
#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"

namespace varnel::platform {
namespace {

std::string Text(const SYSTEMTIME& time) {
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d (%d) %02d:%02d:%02d.%03d", time.wYear, time.wMonth, time.wDay,
                time.wDayOfWeek, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
  return text;
}

SYSTEMTIME Time(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  SYSTEMTIME time{};
  time.wYear = static_cast<std::uint16_t>(year);
  time.wMonth = static_cast<std::uint16_t>(month);
  time.wDay = static_cast<std::uint16_t>(day);
  time.wHour = static_cast<std::uint16_t>(hour);
  time.wMinute = static_cast<std::uint16_t>(minute);
  time.wSecond = static_cast<std::uint16_t>(second);
  return time;
}

std::string BrokenDown(std::uint64_t value) {
  const FILETIME time = ToFileTime(value);
  SYSTEMTIME result{};
  if (!SystemPort().FileTimeToSystemTime(&time, &result)) return "refused";
  return Text(result);
}

std::string Local(const TIME_ZONE_INFORMATION& zone, const SYSTEMTIME& universal) {
  SYSTEMTIME local{};
  if (!SystemPort().SystemTimeToTzSpecificLocalTime(&zone, &universal, &local)) return "refused";
  return Text(local);
}

TEST(TimeConversion, KnownMomentsAreBrokenDownByTheCalendar) {
  EXPECT_EQ(BrokenDown(0), "1601-01-01 (1) 00:00:00.000");
  EXPECT_EQ(BrokenDown(116444736000000000), "1970-01-01 (4) 00:00:00.000");
  EXPECT_EQ(BrokenDown(125962560001230000), "2000-02-29 (2) 00:00:00.123");
  EXPECT_EQ(BrokenDown(0x7FFFFFFFFFFFFFFF), "30828-09-14 (4) 02:48:05.477");
}

TEST(TimeConversion, ATimeAboveTheLargestIsRefusedWith87) {
  SystemPort().SetLastError(0);
  EXPECT_EQ(BrokenDown(0x8000000000000000), "refused");
  EXPECT_EQ(SystemPort().GetLastError(), kErrorInvalidParameter);
}

TEST(TimeConversion, ABrokenDownTimeComesBackAsItWas) {
  for (const std::uint64_t value : {0ull, 116444736000000000ull, 125962560001230000ull, 134000000000000000ull}) {
    const FILETIME time = ToFileTime(value);
    SYSTEMTIME parts{};
    FILETIME back{};
    ASSERT_TRUE(SystemPort().FileTimeToSystemTime(&time, &parts));
    ASSERT_TRUE(SystemPort().SystemTimeToFileTime(&parts, &back));
    EXPECT_EQ(ToUint64(back), value);
  }
}

TEST(TimeConversion, ADateThatIsNoneIsRefusedWith87) {
  for (const SYSTEMTIME& time : {Time(2023, 2, 29), Time(2024, 4, 31), Time(2024, 13, 1), Time(2024, 0, 1),
                                 Time(2024, 1, 0), Time(1600, 1, 1), Time(2024, 1, 1, 24), Time(2024, 1, 1, 0, 60)}) {
    FILETIME result{};
    SystemPort().SetLastError(0);
    EXPECT_FALSE(SystemPort().SystemTimeToFileTime(&time, &result)) << Text(time);
    EXPECT_EQ(SystemPort().GetLastError(), kErrorInvalidParameter);
  }
}

TEST(TimeConversion, AZoneWithoutTransitionsStandsAtItsBiasAllYear) {
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = -480;
  zone.DaylightBias = -60;
  EXPECT_EQ(Local(zone, Time(2026, 1, 31, 20)), "2026-02-01 (0) 04:00:00.000");
  EXPECT_EQ(Local(zone, Time(2026, 7, 31, 20)), "2026-08-01 (6) 04:00:00.000");
}

TEST(TimeConversion, AZoneWithTransitionsChangesOverAtTheirHour) {
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = -60;
  zone.DaylightBias = -60;
  zone.DaylightDate = Time(0, 3, 5, 2);   // the last Sunday of March, 2 o'clock
  zone.StandardDate = Time(0, 10, 5, 3);  // the last Sunday of October, 3 o'clock
  EXPECT_EQ(Local(zone, Time(2026, 3, 29, 0, 59, 59)), "2026-03-29 (0) 01:59:59.000");
  EXPECT_EQ(Local(zone, Time(2026, 3, 29, 1)), "2026-03-29 (0) 03:00:00.000");
  EXPECT_EQ(Local(zone, Time(2026, 10, 25, 0, 59, 59)), "2026-10-25 (0) 02:59:59.000");
  EXPECT_EQ(Local(zone, Time(2026, 10, 25, 1)), "2026-10-25 (0) 02:00:00.000");
}

TEST(Clock, TheSystemTimeGoesOnAndIsOfThisCentury) {
  FILETIME first{};
  FILETIME second{};
  SystemPort().GetSystemTimeAsFileTime(&first);
  SystemPort().GetSystemTimeAsFileTime(&second);
  EXPECT_LE(ToUint64(first), ToUint64(second));
  SYSTEMTIME parts{};
  ASSERT_TRUE(SystemPort().FileTimeToSystemTime(&first, &parts));
  EXPECT_GE(parts.wYear, 2024);
  EXPECT_LT(parts.wYear, 2100);
}

TEST(Clock, TheLocalTimeIsTheSystemTimeInTheMachinesZone) {
  FILETIME before{};
  FILETIME after{};
  SYSTEMTIME local{};
  SystemPort().GetSystemTimeAsFileTime(&before);
  SystemPort().GetLocalTime(&local);
  SystemPort().GetSystemTimeAsFileTime(&after);
  const auto in_zone = [](const FILETIME& time) {
    SYSTEMTIME universal{};
    SYSTEMTIME parts{};
    FILETIME result{};
    EXPECT_TRUE(SystemPort().FileTimeToSystemTime(&time, &universal));
    EXPECT_TRUE(SystemPort().SystemTimeToTzSpecificLocalTime(nullptr, &universal, &parts));
    EXPECT_TRUE(SystemPort().SystemTimeToFileTime(&parts, &result));
    return ToUint64(result);
  };
  FILETIME told{};
  ASSERT_TRUE(SystemPort().SystemTimeToFileTime(&local, &told));
  EXPECT_LE(in_zone(before), ToUint64(told));
  EXPECT_GE(in_zone(after), ToUint64(told));
}

}  // namespace
}  // namespace varnel::platform

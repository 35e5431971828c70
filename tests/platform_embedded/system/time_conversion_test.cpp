#include "platform/embedded/system/time_conversion.h"

#include <gtest/gtest.h>

namespace varnel::embedded {
namespace {

using platform::SYSTEMTIME;

constexpr std::uint64_t kDay = 864000000000;

SYSTEMTIME Time(int year, int month, int day, int hour = 0) {
  SYSTEMTIME time{};
  time.wYear = static_cast<std::uint16_t>(year);
  time.wMonth = static_cast<std::uint16_t>(month);
  time.wDay = static_cast<std::uint16_t>(day);
  time.wHour = static_cast<std::uint16_t>(hour);
  return time;
}

TEST(CalendarTimes, EveryDayOf500YearsFollowsTheOneBefore) {
  SYSTEMTIME before{};
  ASSERT_TRUE(BreakDown(0, &before));
  for (std::uint64_t day = 1; day < 500 * 365; ++day) {
    SYSTEMTIME now{};
    std::uint64_t back = 0;
    ASSERT_TRUE(BreakDown(day * kDay, &now));
    ASSERT_TRUE(Compose(now, &back));
    ASSERT_EQ(back, day * kDay);
    ASSERT_EQ(now.wDayOfWeek, (before.wDayOfWeek + 1) % 7);
    const bool next_day = now.wMonth == before.wMonth && now.wDay == before.wDay + 1;
    const bool next_month = now.wDay == 1 && now.wMonth == before.wMonth % 12 + 1 && before.wDay >= 28;
    ASSERT_TRUE(next_day || next_month);
    before = now;
  }
}

TEST(CalendarTimes, AHundredthYearHasALeapDayEveryFourthTimeOnly) {
  std::uint64_t ignored = 0;
  EXPECT_TRUE(Compose(Time(2000, 2, 29), &ignored));
  EXPECT_FALSE(Compose(Time(1900, 2, 29), &ignored));
  EXPECT_FALSE(Compose(Time(2100, 2, 29), &ignored));
}

TEST(CalendarTimes, TheLastYearThatCanBeComposedIs30827) {
  std::uint64_t ignored = 0;
  EXPECT_TRUE(Compose(Time(30827, 12, 31), &ignored));
  EXPECT_FALSE(Compose(Time(30828, 1, 1), &ignored));
}

TEST(ZoneTimes, InTheSouthDaylightTimeSpansTheTurnOfTheYear) {
  platform::TIME_ZONE_INFORMATION zone{};
  zone.Bias = -600;
  zone.DaylightBias = -60;
  zone.DaylightDate = Time(0, 10, 1, 2);  // the first Sunday of October
  zone.StandardDate = Time(0, 4, 1, 3);   // the first Sunday of April
  SYSTEMTIME local{};
  ASSERT_TRUE(ToLocal(zone, Time(2026, 1, 15), &local));
  EXPECT_EQ(local.wHour, 11);
  ASSERT_TRUE(ToLocal(zone, Time(2026, 7, 15), &local));
  EXPECT_EQ(local.wHour, 10);
}

TEST(ZoneTimes, ATransitionOnADateOfOneYearIsTakenAsThatDate) {
  platform::TIME_ZONE_INFORMATION zone{};
  zone.DaylightBias = -60;
  zone.DaylightDate = Time(2026, 3, 10);
  zone.StandardDate = Time(2026, 9, 10);
  SYSTEMTIME local{};
  ASSERT_TRUE(ToLocal(zone, Time(2026, 3, 9, 23), &local));
  EXPECT_EQ(local.wHour, 23);
  ASSERT_TRUE(ToLocal(zone, Time(2026, 3, 10), &local));
  EXPECT_EQ(local.wHour, 1);
}

TEST(ZoneTimes, ALocalTimeBeforeTheFirstMomentIsRefused) {
  platform::TIME_ZONE_INFORMATION zone{};
  zone.Bias = 60;
  SYSTEMTIME local{};
  EXPECT_FALSE(ToLocal(zone, Time(1601, 1, 1), &local));
  EXPECT_TRUE(ToLocal(zone, Time(1601, 1, 1, 1), &local));
}

}  // namespace
}  // namespace varnel::embedded

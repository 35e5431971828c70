#include "base/event_text.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/civil_time.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::FaultPlan;
using testing::FaultyPlatform;
using testing::ScriptedPlatform;

class FileTimeText : public ::testing::Test {
 protected:
  std::string Of(std::uint64_t time, std::uint32_t capacity = 260) {
    char text[260] = "before";
    FormatFileTimeText(time, text, capacity);
    return text;
  }
  ScriptedPlatform machine;
};

TEST_F(FileTimeText, IsUtcPlusEightWithoutAZoneMark) {
  EXPECT_EQ(Of(testing::FileTimeOf(2026, 2, 4, 1, 5, 7, 999)), "2026-02-04T09:05:07");
  EXPECT_EQ(Of(testing::FileTimeOf(2025, 12, 31, 20, 0, 0)), "2026-01-01T04:00:00");
}

TEST_F(FileTimeText, TheTimeZeroIsEmptyAndNoDateIn1601) {
  EXPECT_EQ(Of(0), "");
}

TEST_F(FileTimeText, ATimeThatIsNoDateIsEmpty) {
  EXPECT_EQ(Of(0x8000000000000000), "");
}

TEST_F(FileTimeText, AFailedConversionToTheZoneIsEmpty) {
  FaultPlan plan;
  plan.Fail("SystemTimeToTzSpecificLocalTime", 87);
  const FaultyPlatform faulty(machine.ports, &plan);
  EXPECT_EQ(Of(testing::FileTimeOf(2026, 2, 4)), "");
}

TEST_F(FileTimeText, IsCutToTheRoom) {
  EXPECT_EQ(Of(testing::FileTimeOf(2026, 2, 4), 5), "2026");
}

TEST_F(FileTimeText, RoomForTheTextWithoutItsNulTakesTheLastDigit) {
  const std::uint64_t time = testing::FileTimeOf(2026, 2, 4, 1, 5, 7);
  EXPECT_EQ(Of(time, 20), "2026-02-04T09:05:07");
  EXPECT_EQ(Of(time, 19), "2026-02-04T09:05:0");
}

TEST_F(FileTimeText, NothingIsWrittenBehindTheRoom) {
  for (const std::uint32_t capacity : {1u, 5u, 19u, 20u}) {
    std::string text(40, '#');
    FormatFileTimeText(testing::FileTimeOf(2026, 2, 4), text.data(), capacity);
    EXPECT_EQ(text.substr(capacity), std::string(40 - capacity, '#')) << capacity;
  }
}

TEST_F(FileTimeText, AYearOfFiveDigitsIsWhole) {
  const std::uint64_t time = testing::FileTimeOf(10000, 2, 4, 1, 5, 7);
  EXPECT_EQ(Of(time), "10000-02-04T09:05:07");
  EXPECT_EQ(Of(time, 20), "10000-02-04T09:05:0");
  EXPECT_EQ(Of(testing::FileTimeOf(9999, 12, 31, 15, 59, 59)), "9999-12-31T23:59:59");
}

TEST_F(FileTimeText, WithoutRoomNothingIsTouched) {
  EXPECT_EQ(Of(testing::FileTimeOf(2026, 2, 4), 0), "before");
  FormatFileTimeText(1, nullptr, 260);
}

TEST(EventLevelName, NamesTheFiveLevelsAndNoOther) {
  EXPECT_STREQ(EventLevelName(1), "Critical");
  EXPECT_STREQ(EventLevelName(2), "Error");
  EXPECT_STREQ(EventLevelName(3), "Warning");
  EXPECT_STREQ(EventLevelName(4), "Information");
  EXPECT_STREQ(EventLevelName(5), "Verbose");
  EXPECT_STREQ(EventLevelName(0), "Unknown");
  EXPECT_STREQ(EventLevelName(6), "Unknown");
  EXPECT_STREQ(EventLevelName(255), "Unknown");
}

}  // namespace
}  // namespace varnel

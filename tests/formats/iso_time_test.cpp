#include "formats/iso_time.h"

#include <gtest/gtest.h>

#include "formats/value_text.h"

namespace varnel::formats {
namespace {

TEST(IsoTime, ReadsBackWhatIsWritten) {
  for (const std::uint64_t time : {0ull, 1ull, 133'000'000'012'345'678ull, 116'444'736'000'000'000ull}) {
    EXPECT_EQ(ParseIsoTime(FileTimeText(time)), time) << FileTimeText(time);
  }
}

TEST(IsoTime, TakesAnyNumberOfFractionDigitsAndCountsSeven) {
  const auto second = ParseIsoTime("2026-11-21T12:00:00Z");
  ASSERT_TRUE(second);
  EXPECT_EQ(ParseIsoTime("2026-11-21T12:00:00.5Z"), *second + 5'000'000);
  EXPECT_EQ(ParseIsoTime("2026-11-21T12:00:00.1234567Z"), *second + 1'234'567);
  EXPECT_EQ(ParseIsoTime("2026-11-21T12:00:00.123456700Z"), *second + 1'234'567);
  EXPECT_EQ(ParseIsoTime("2026-11-21T12:00:00.123456799999Z"), *second + 1'234'567);
  EXPECT_EQ(ParseIsoTime("2026-11-21T12:00:00"), *second) << "without the Z";
}

TEST(IsoTime, KnowsLeapDaysAndTheEndsOfTheRange) {
  EXPECT_EQ(*ParseIsoTime("2024-03-01T00:00:00Z") - *ParseIsoTime("2024-02-29T00:00:00Z"), 864'000'000'000u);
  EXPECT_EQ(ParseIsoTime("1970-01-01T00:00:00Z"), 116'444'736'000'000'000u);
  EXPECT_EQ(ParseIsoTime("1601-01-01T00:00:00Z"), 0u);
  EXPECT_FALSE(ParseIsoTime("2023-02-29T00:00:00Z"));
  EXPECT_FALSE(ParseIsoTime("1900-02-29T00:00:00Z"));
  EXPECT_FALSE(ParseIsoTime("1600-12-31T23:59:59Z"));
  EXPECT_FALSE(ParseIsoTime("30828-01-01T00:00:00Z"));
}

TEST(IsoTime, RefusesWhatIsNoTime) {
  for (const char* text : {"", "2026", "2026-11-21", "2026-13-01T00:00:00Z", "2026-11-21T24:00:00Z",
                           "2026-11-21T12:60:00Z", "2026-11-21T12:00:60Z", "2026-11-21T12:00:00.Z",
                           "2026-11-21 12:00:00Z", "2026-11-21T12:00:00ZZ", "2026-1-21T12:00:00Z"}) {
    EXPECT_FALSE(ParseIsoTime(text)) << text;
  }
}

}  // namespace
}  // namespace varnel::formats

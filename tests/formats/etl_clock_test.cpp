#include "formats/etl_clock.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

__extension__ using Int128 = __int128;
constexpr std::int64_t kStart = 132'500'000'000'000'000;

struct Row {
  const char* what;
  std::uint32_t type;
  std::int64_t frequency;
  std::uint32_t cpu_mhz;
  std::int64_t origin;
  std::int64_t stamp;
  std::int64_t file_time;
};

const Row kRows[] = {
    {"counter at 10 MHz: a tick is 100 ns", 1, 10'000'000, 0, 500, 1500, kStart + 1000},
    {"counter at 1.8183 MHz, cut down to whole 100 ns", 1, 1'818'300, 0, 0, 1, kStart + 5},
    {"counter at 1.8183 MHz, many ticks", 1, 1'818'300, 0, 0, 1'818'301, kStart + 10'000'005},
    {"counter at 3 GHz: thirty ticks make one", 1, 3'000'000'000, 0, 0, 89, kStart},
    {"counter at 3 GHz, three hundred", 1, 3'000'000'000, 0, 7, 307, kStart + 1},
    {"a stamp before the start is rounded toward it", 1, 3'000'000'000, 0, 1000, 911, kStart},
    {"a stamp a whole tick before the start", 1, 3'000'000'000, 0, 1000, 700, kStart - 1},
    {"years of ticks stay exact", 1, 2'994'853, 0, 0, 2'994'853LL * 86'400 * 3650, kStart + 3'153'600'000'000'000},
    {"years of ticks and one more", 1, 2'994'853, 0, 0, 2'994'853LL * 86'400 * 3650 + 1,
     kStart + 3'153'600'000'000'003},
    {"system time passes through", 2, 2'725'536, 0, 77, kStart + 12'345, kStart + 12'345},
    {"processor cycles at 2000 MHz", 3, 10'000'000, 2000, 0, 2000, kStart + 10},
    {"processor cycles, cut down", 3, 10'000'000, 2000, 0, 399, kStart + 1},
    {"raw counts ticks of 100 ns from the start", 0, 1'000, 0, 10, 30, kStart + 20},
    {"a counter without a frequency counts ticks of 100 ns", 1, 0, 0, 10, 30, kStart + 20},
    {"a negative frequency is none", 1, -5, 0, 10, 30, kStart + 20},
    {"cycles of a processor without a speed count 100 ns", 3, 0, 0, 10, 30, kStart + 20},
};

TEST(EtlClock, ConvertsEachClockByIntegerArithmetic) {
  for (const Row& row : kRows) {
    const EtlClock clock(row.type, row.frequency, row.cpu_mhz, row.origin, kStart);
    EXPECT_EQ(clock.ToFileTime(row.stamp), row.file_time) << row.what;
  }
}

TEST(EtlClock, AgreesWithArithmeticOf128BitsOverManyStampsAndFrequencies) {
  std::uint64_t state = 88172645463325252ULL;
  const auto next = [&state] {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
  };
  for (int i = 0; i < 100'000; ++i) {
    const auto frequency = static_cast<std::int64_t>(next() % 5'000'000'000) + 1;
    const auto origin = static_cast<std::int64_t>(next() >> 8);
    const auto stamp = static_cast<std::int64_t>(next() >> 8);
    const auto ticks = static_cast<std::int64_t>(static_cast<Int128>(stamp - origin) * 10'000'000 / frequency);
    const EtlClock clock(1, frequency, 0, origin, 0);
    ASSERT_EQ(clock.ToFileTime(stamp), ticks) << frequency << " " << origin << " " << stamp;
  }
}

TEST(EtlClock, TakesHostileNumbersWithoutHarm) {
  for (const std::int64_t frequency : {std::int64_t{1}, INT64_MAX, INT64_MIN}) {
    for (const std::int64_t stamp : {INT64_MAX, INT64_MIN, std::int64_t{0}}) {
      static_cast<void>(EtlClock(1, frequency, 0, INT64_MIN, INT64_MAX).ToFileTime(stamp));
    }
  }
  EXPECT_EQ(EtlClock().ToFileTime(5), 5);
}

}  // namespace
}  // namespace varnel::formats

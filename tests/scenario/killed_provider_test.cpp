// The provider's process is killed or stopped at random moments: at most the event that it was writing is spoiled, and
// everybody else's events arrive.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <random>
#include <thread>

#include "tests/scenario/scenario_machine.h"

namespace varnel::scenario {
namespace {

using host::ChildProcess;
using std::chrono::milliseconds;
using ::testing::ElementsAreArray;
using ::testing::SizeIs;

constexpr char kKilledProvider[] = "SourceUsb";
constexpr char kQuietProvider[] = "DestUsb";
constexpr std::uint64_t kRoundStep = 1'000'000;  // running numbers of each round's process

class KilledProvider : public ::testing::Test {
 protected:
  void SetUp() override {
    machine_.Do({"install"});
    machine_.Do({"machine", "boot"});
  }
  /// A provider that writes without a pause, with numbers from `first` on.
  ChildProcess Writer(std::uint64_t first) const {
    return machine_.Start({"machine", "emit", "-q", "--provider", kKilledProvider, "--count", "0", "--rate", "4000",
                           "--first", std::to_string(first)},
                          ChildProcess::Output::kDropped);
  }
  /// Another provider's events, all of which must arrive.
  void WriteQuietly(std::uint64_t first, std::uint64_t count) const {
    machine_.Do({"machine", "emit", "-q", "--provider", kQuietProvider, "--count", std::to_string(count), "--first",
                 std::to_string(first)});
  }
  void SleepFor(int shortest_ms, int longest_ms) {
    std::this_thread::sleep_for(
        std::chrono::microseconds(shortest_ms * 1000 + random_() % ((longest_ms - shortest_ms) * 1000)));
  }
  std::uint64_t EventsLost() const {
    const auto sessions = machine_.Sessions();
    EXPECT_THAT(sessions, SizeIs(1));
    return sessions.empty() ? 0 : sessions[0].events_lost;
  }

  ScenarioMachine machine_;
  std::mt19937 random_{20261121};
};

/// The numbers of one round, from its first on.
std::vector<std::uint64_t> OfRound(const std::vector<std::uint64_t>& numbers, std::uint64_t round) {
  std::vector<std::uint64_t> part;
  std::copy_if(numbers.begin(), numbers.end(), std::back_inserter(part),
               [round](std::uint64_t number) { return number / kRoundStep == round; });
  return part;
}

TEST_F(KilledProvider, EventsBeforeTheKillAndOfOthersArriveAndOneIsSpoiledAtMost) {
  constexpr std::uint64_t kRounds = 12;
  for (std::uint64_t round = 1; round <= kRounds; ++round) {
    ChildProcess writer = Writer(round * kRoundStep);
    SleepFor(100, 600);
    writer.Signal(SIGKILL);
    EXPECT_EQ(writer.Wait(), 128 + SIGKILL);
    WriteQuietly(1 + (round - 1) * 20, 20);
  }
  EXPECT_LE(EventsLost(), kRounds);
  Numbers numbers = machine_.RunModule();
  std::size_t rounds_with_events = 0;
  for (std::uint64_t round = 1; round <= kRounds; ++round) {
    // One thread wrote them, so a spoiled event is the last one, and none is missing before it.
    const auto part = OfRound(numbers[kKilledProvider], round);
    EXPECT_THAT(part, ElementsAreArray(Range(round * kRoundStep, round * kRoundStep + part.size() - 1))) << round;
    rounds_with_events += part.empty() ? 0 : 1;
  }
  EXPECT_GT(rounds_with_events, 0u);
  EXPECT_THAT(numbers[kQuietProvider], ElementsAreArray(Range(1, kRounds * 20)));
}

TEST_F(KilledProvider, AStoppedOneHoldsNobodyUpAndGoesOnAfterwards) {
  constexpr std::uint64_t kRounds = 8;
  ChildProcess writer = Writer(kRoundStep);
  SleepFor(150, 200);
  for (std::uint64_t round = 1; round <= kRounds; ++round) {
    writer.Signal(SIGSTOP);
    WriteQuietly(1 + (round - 1) * 20, 20);
    SleepFor(50, 1200);
    writer.Signal(SIGCONT);
    SleepFor(10, 50);
  }
  writer.Signal(SIGINT);
  EXPECT_EQ(writer.Wait(), 0);
  const std::uint64_t lost = EventsLost();
  EXPECT_LE(lost, kRounds);
  Numbers numbers = machine_.RunModule();
  const auto& came = numbers[kKilledProvider];
  ASSERT_FALSE(came.empty());
  EXPECT_EQ(came.front(), kRoundStep);
  EXPECT_TRUE(std::is_sorted(came.begin(), came.end()));
  // What is missing was stopped in the middle of its writing for too long, and is counted.
  const std::uint64_t missing = came.back() - came.front() + 1 - came.size();
  EXPECT_LE(missing, lost);
  EXPECT_THAT(numbers[kQuietProvider], ElementsAreArray(Range(1, kRounds * 20)));
}

}  // namespace
}  // namespace varnel::scenario

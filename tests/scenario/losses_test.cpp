// What the rules lose, each shown. These are properties of the order and clean-up rules, told in the README; a change
// that mends one of them by the way is a change of what hosts rely on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>

#include "tests/scenario/scenario_machine.h"

namespace varnel::scenario {
namespace {

using host::ChildProcess;
using testing::ElementsAre;
using testing::IsEmpty;

// Lines for "emit --event -": counters from 1 on, 100 ns apart.
std::string ManyEvents(int count) {
  std::string lines;
  for (int i = 1; i <= count; ++i) lines += "+1," + std::to_string(i) + '\n';
  return lines;
}

std::string ComposedFile(const ScenarioMachine& machine, const std::string& events) {
  const std::string path = machine.Do({"machine", "emit", "--file", "temp", "--event", "-"}, events);
  return path.substr(0, path.size() - 1);
}

std::uint64_t BuffersWritten(const ScenarioMachine& machine) {
  const auto sessions = machine.Sessions();
  return sessions.empty() ? 0 : sessions[0].buffers_written;
}

std::size_t Lines(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(Losses, TheEventBehindARepeatIsTakenAlong) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  // A counter that is not awaited holds the queue for half a second, so that all five are in it by then.
  ComposedFile(machine, "+0,5\n+0,5\n+10,6\n+10,7\n+10,8\n");
  EXPECT_THAT(machine.RunModule().at("ProviderSample"), ElementsAre(5, 7, 8));
}

TEST(Losses, ARepeatWithNothingBehindItTakesNothingAlong) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  ComposedFile(machine, "+0,5\n+0,5\n");
  EXPECT_THAT(machine.RunModule().at("ProviderSample"), ElementsAre(5));
}

TEST(Losses, AStopWhileItCatchesUpLosesWhatWasNotRead) {
  constexpr int kCount = 400'000;
  const ScenarioMachine machine;
  machine.Do({"install"});
  const std::string file = ComposedFile(machine, ManyEvents(kCount));
  const std::string texts = machine.File("texts");
  auto run = machine.Start({"run", "-q", "--flags", "0", "-o", texts}, ChildProcess::Output::kInherited);
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(texts) && Lines(ReadAll(texts)) > 1; }));
  run.Signal(SIGTERM);
  EXPECT_EQ(run.Wait(), 0);
  const std::size_t delivered = Lines(ReadAll(texts));
  EXPECT_GT(delivered, 0u);
  EXPECT_LT(delivered, std::size_t{kCount});
  // The rest is gone: its file was deleted behind the reading that was cut short.
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_THAT(machine.RunModule(), IsEmpty());
}

TEST(Losses, AFileThatIsDeletedWithABacklogIsLostWithTheProcess) {
  constexpr int kCount = 20'000;
  const ScenarioMachine machine;
  machine.Do({"install"});
  const std::string file = ComposedFile(machine, ManyEvents(kCount));
  {
    // Nobody reads the pipe, so that the callback blocks while the file is read to its end and deleted.
    auto run = machine.Start({"run", "-q", "--flags", "0"}, ChildProcess::Output::kPiped);
    ASSERT_TRUE(WaitUntil([&] { return !std::filesystem::exists(file); }));
    run.Signal(SIGKILL);
    EXPECT_EQ(run.Wait(), 128 + SIGKILL);
  }
  EXPECT_THAT(machine.RunModule(), IsEmpty());
}

TEST(Losses, LiveEventsOvertakeAFileThatIsStillBeingRead) {
  constexpr int kCount = 20'000;
  const ScenarioMachine machine;
  machine.Do({"install"});
  const std::string file = ComposedFile(machine, ManyEvents(kCount));
  // One a buffer, so that they come live at once.
  auto writer = machine.Start({"machine", "emit", "-q", "--provider", "ProviderSample", "--count", "0", "--rate", "100",
                               "--size", "33000", "--first", std::to_string(kCount + 1)},
                              ChildProcess::Output::kDropped);
  ASSERT_TRUE(WaitUntil([&] { return BuffersWritten(machine) > 0; }));
  const std::string texts = machine.File("texts");
  auto run = machine.Start({"run", "-q", "--flags", "0", "-o", texts}, ChildProcess::Output::kInherited);
  EXPECT_TRUE(WaitUntil([&] { return !std::filesystem::exists(file); })) << "read to its end, and deleted";
  writer.Signal(SIGINT);
  EXPECT_EQ(writer.Wait(), 0);
  run.Signal(SIGTERM);
  EXPECT_EQ(run.Wait(), 0);
  const auto numbers = NumbersOf(ReadAll(texts))["ProviderSample"];
  EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
  const auto from_file = std::lower_bound(numbers.begin(), numbers.end(), kCount + 1) - numbers.begin();
  EXPECT_LT(from_file, kCount);
  EXPECT_GT(numbers.size(), static_cast<std::size_t>(from_file));
}

TEST(Losses, AWrapOfTheFileNumberOverwritesTheOldestFile) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "boot"});
  machine.Do({"machine", "emit", "--provider", "SourceUsb", "--count", "1"});
  machine.Do({"machine", "boot"});
  machine.Do({"machine", "emit", "--provider", "SourceUsb", "--count", "1", "--first", "2"});
  for (int boot = 3; boot <= 23; ++boot) machine.Do({"machine", "boot"});
  EXPECT_THAT(machine.Do({"machine", "sessions"}), testing::HasSubstr(ScenarioMachine::AutoFile("001")));
  // #1 was in the file that the 23rd session took over; #2 in the next one is still there.
  EXPECT_THAT(machine.RunModule().at("SourceUsb"), ElementsAre(2));
}

TEST(Losses, AfterAWrapTheOlderFilesAreReadLaterAndTheirEventsDropped) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  for (int boot = 1; boot <= 22; ++boot) machine.Do({"machine", "boot"});
  machine.Do({"machine", "emit", "--provider", "SourceUsb", "--count", "1"});  // in the file 022
  machine.Do({"machine", "boot"});
  machine.Do({"machine", "emit", "--provider", "SourceUsb", "--count", "2", "--first", "2"});  // in the file 001
  EXPECT_THAT(machine.RunModule().at("SourceUsb"), ElementsAre(2, 3));
}

TEST(Losses, ACircularFileOverwritesItsOldestEvents) {
  constexpr int kCount = 400;  // of 50,000 bytes each, one a buffer: 31 MB into a file of 8
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "boot"});
  machine.Do({"machine", "emit", "--provider", "SourceUsb", "--count", std::to_string(kCount), "--size", "50000",
              "--rate", "400"});
  const auto numbers = machine.RunModule()["SourceUsb"];
  ASSERT_FALSE(numbers.empty());
  EXPECT_GT(numbers.front(), 1u);
  // What is left is whole and in order.
  EXPECT_EQ(numbers, Range(numbers.front(), kCount));
}

}  // namespace
}  // namespace varnel::scenario

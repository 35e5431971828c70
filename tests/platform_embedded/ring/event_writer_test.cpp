// Writers that die, stop, or write all at once. Each event arrives once, in time order, or is counted as lost.
#include "platform/embedded/ring/event_writer.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <atomic>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "platform/embedded/ring/ring.h"
#include "platform/embedded/ring/session_clock.h"
#include "platform/embedded/ring/steps.h"
#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using namespace varnel::testing;

/// At which step, and at which time it is passed, a hooked process gets which signal.
Step hooked_step;
int hooked_count;
int hooked_signal;

void Hook(Step step) {
  if (step == hooked_step && --hooked_count == 0) ::raise(hooked_signal);
}

const char* NameOf(Step step) {
  static constexpr const char* kNames[] = {"marked",    "reserved", "length stored", "filled",  "committed", "closed",
                                           "preparing", "opened",   "sealed",        "written", "placed"};
  return kNames[static_cast<int>(step)];
}

class EventWriterTest : public ::testing::Test {
 protected:
  void Start(std::uint32_t buffers = 16) {
    auto parameters = machine_.Parameters("s");
    parameters.maximum_buffers = buffers;
    session_ = machine_.Start(parameters);
  }
  /// A child that writes `count` events as `writer` and gets `signal` at the `nth` passing of `step`.
  pid_t Writer(std::uint32_t writer, std::uint32_t count, Step step, int nth, int signal) {
    return InChild([&] {
      hooked_step = step;
      hooked_count = nth;
      hooked_signal = signal;
      step_hook = Hook;
      const auto own = Session::Open(session_->folder()).value();
      for (std::uint32_t i = 0; i < count; ++i) WriteNumbers(*own, writer, i);
    });
  }
  ReadFile StopAndRead() {
    EXPECT_TRUE(machine_.Store().Stop(*session_));
    return ReadTraceFile(machine_.FilePath("s.etl"));
  }
  /// Checks order and that nobody's event comes twice or out of turn. @return how many each writer has.
  static std::map<std::uint32_t, std::uint32_t> Check(const ReadFile& file) {
    std::map<std::uint32_t, std::uint32_t> counts;
    std::map<std::uint32_t, std::int64_t> last;
    std::int64_t stamp = 0;
    for (const auto& event : file.events) {
      EXPECT_GE(event.stamp, stamp);
      stamp = event.stamp;
      auto& before = last.try_emplace(WriterOf(event), -1).first->second;
      EXPECT_GT(static_cast<std::int64_t>(NumberOf(event)), before);
      before = NumberOf(event);
      ++counts[WriterOf(event)];
    }
    EXPECT_EQ(file.skipped_bytes, 0u);
    return counts;
  }

  TraceMachine machine_;
  std::shared_ptr<Session> session_;
};

constexpr Step kWriterSteps[] = {Step::kMarked, Step::kReserved, Step::kLengthStored, Step::kFilled, Step::kCommitted};
constexpr Step kCloserSteps[] = {Step::kClosed, Step::kPreparing, Step::kOpened,
                                 Step::kSealed, Step::kWritten,   Step::kPlaced};

TEST_F(EventWriterTest, AWriterKilledAtAnyStepOfAnEventSpoilsThatEventAtMost) {
  for (const Step step : kWriterSteps) {
    SCOPED_TRACE(NameOf(step));
    Start();
    for (std::uint32_t i = 0; i < 10; ++i) ASSERT_TRUE(WriteNumbers(*session_, 1, i));
    const pid_t child = Writer(2, 100, step, 6, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(WaitForEnd(child)));
    for (std::uint32_t i = 10; i < 20; ++i) ASSERT_TRUE(WriteNumbers(*session_, 1, i));
    const auto file = StopAndRead();
    auto counts = Check(file);
    EXPECT_EQ(counts[1], 20u);
    EXPECT_EQ(counts[2], step == Step::kCommitted ? 6u : 5u);
    const bool reserved = step == Step::kReserved || step == Step::kLengthStored || step == Step::kFilled;
    EXPECT_EQ(file.events_lost, reserved ? 1u : 0u);
  }
}

TEST_F(EventWriterTest, AWriterKilledAtAnyStepOfAClosingLosesNothingThatWasWritten) {
  for (const Step step : kCloserSteps) {
    for (const int nth : {1, 2, 5}) {
      SCOPED_TRACE(std::string(NameOf(step)) + " " + std::to_string(nth));
      Start();
      const pid_t child = Writer(2, 2000, step, nth, SIGKILL);
      EXPECT_TRUE(WIFSIGNALED(WaitForEnd(child)));
      for (std::uint32_t i = 0; i < 1000; ++i) ASSERT_TRUE(WriteNumbers(*session_, 1, i)) << i;
      const auto file = StopAndRead();
      auto counts = Check(file);
      EXPECT_EQ(counts[1], 1000u);
      // The events before the one that closed the buffer are all there, without a gap.
      EXPECT_GT(counts[2], 0u);
      std::uint32_t expected = 0;
      for (const auto& event : file.events) {
        if (WriterOf(event) != 2) continue;
        ASSERT_EQ(NumberOf(event), expected++);
      }
      EXPECT_EQ(file.events_lost, 0u);
      EXPECT_EQ(file.buffers_lost, 0u);
    }
  }
}

TEST_F(EventWriterTest, NeighboursThatDieBeforeTheirLengthStandsAreToldApart) {
  for (const std::uint32_t dead : {2u, 3u}) {
    Start();
    ASSERT_TRUE(WriteNumbers(*session_, 1, 0));
    std::vector<pid_t> children;
    for (std::uint32_t i = 0; i < dead; ++i) {
      children.push_back(Writer(10 + i, 1, Step::kReserved, 1, SIGSTOP));
      WaitUntilStopped(children.back());
    }
    ASSERT_TRUE(WriteNumbers(*session_, 1, 1));
    for (const pid_t child : children) {
      ::kill(child, SIGKILL);
      WaitForEnd(child);
    }
    ASSERT_TRUE(WriteNumbers(*session_, 1, 2));
    const auto file = StopAndRead();
    EXPECT_EQ(Check(file)[1], 3u);
    EXPECT_EQ(file.events_lost, dead);
  }
}

TEST_F(EventWriterTest, ALiveWriterThatDoesNotComeBackLosesItsEventAndKeepsItsMemory) {
  for (const Step step : {Step::kReserved, Step::kLengthStored, Step::kFilled}) {
    SCOPED_TRACE(NameOf(step));
    Start(4);
    ASSERT_TRUE(WriteNumbers(*session_, 1, 0));
    const pid_t child = Writer(2, 3, step, 2, SIGSTOP);
    WaitUntilStopped(child);
    const std::uint32_t slot = session_->map()->open().slot;
    // A flush waits for the writer, then goes on without it.
    session_->Flush();
    EXPECT_EQ(ReadPlace(*session_->map()).events_lost, 1u);
    std::uint32_t written = 0;
    for (std::uint32_t i = 1; i < 1000; ++i) written += WriteNumbers(*session_, 1, i) ? 1 : 0;
    EXPECT_EQ(written, 999u) << "three slots are enough";
    const auto phase = Phase::Unpack(session_->map()->descriptors()[slot].phase.load());
    EXPECT_EQ(phase, (Phase{Phase::State::kFree, 1})) << "its memory waits for it";
    ::kill(child, SIGCONT);
    EXPECT_EQ(WaitForEnd(child), 0);
    for (std::uint32_t i = 1000; i < 2000; ++i) ASSERT_TRUE(WriteNumbers(*session_, 1, i));
    const auto later = Phase::Unpack(session_->map()->descriptors()[slot].phase.load());
    EXPECT_NE(later.number, 1u) << "and is used again once it has left";
    const auto file = StopAndRead();
    auto counts = Check(file);
    EXPECT_EQ(counts[1], 2000u);
    EXPECT_EQ(counts[2], 2u) << "the one before and the one after";
    EXPECT_EQ(file.events_lost, 1u);
  }
}

TEST_F(EventWriterTest, AWriterThatComesBackInTimeLosesNothing) {
  Start();
  const pid_t child = Writer(2, 3, Step::kFilled, 2, SIGSTOP);
  WaitUntilStopped(child);
  const std::int64_t begin = SessionClockNow();
  std::int64_t woken = 0;
  std::thread waker([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    ::kill(child, SIGCONT);
    woken = SessionClockNow();
  });
  session_->Flush();
  waker.join();
  EXPECT_EQ(WaitForEnd(child), 0);
  if (woken - begin > kWriterPatience / 2) GTEST_SKIP() << "the machine was too busy to come back in time";
  const auto file = StopAndRead();
  EXPECT_EQ(Check(file)[2], 3u);
  EXPECT_EQ(file.events_lost, 0u);
}

TEST_F(EventWriterTest, AWriterStoppedWithTheFileLockDelaysTheFileAndNotTheWriters) {
  Start(16);
  const pid_t child = Writer(2, 200, Step::kWritten, 1, SIGSTOP);
  WaitUntilStopped(child);
  std::uint32_t written = 0;
  for (std::uint32_t i = 0; i < 300; ++i) written += WriteNumbers(*session_, 1, i) ? 1 : 0;
  EXPECT_EQ(written, 300u) << "the ring takes them";
  EXPECT_EQ(ReadPlace(*session_->map()).buffers_written, 0u);
  ::kill(child, SIGCONT);
  EXPECT_EQ(WaitForEnd(child), 0);
  const auto file = StopAndRead();
  auto counts = Check(file);
  EXPECT_EQ(counts[1], 300u);
  EXPECT_EQ(counts[2], 200u);
  EXPECT_EQ(file.events_lost, 0u);
}

TEST_F(EventWriterTest, AnEventWrittenFromInsideAnotherIsCountedAsLost) {
  Start();
  Reservation outer;
  ASSERT_EQ(Reserve(session_->map(), session_->file(), 88, &outer), ReserveResult::kReserved);
  Reservation inner;
  EXPECT_EQ(Reserve(session_->map(), session_->file(), 88, &inner), ReserveResult::kNoLine);
  const std::uint32_t numbers[2] = {1, 0};
  const Piece piece = {numbers, sizeof numbers};
  EXPECT_TRUE(Commit(outer, {}, {&piece, 1}));
  const auto file = StopAndRead();
  EXPECT_EQ(file.events.size(), 1u);
  EXPECT_EQ(file.events_lost, 1u);
}

TEST_F(EventWriterTest, TheLargestEventFitsAndOneByteMoreIsCountedAsLost) {
  Start();
  const std::uint32_t room = 4096 - 72 - 80 - 8;
  EXPECT_TRUE(WriteNumbers(*session_, 1, 0, room));
  EXPECT_FALSE(WriteNumbers(*session_, 1, 1, room + 1));
  EXPECT_TRUE(WriteNumbers(*session_, 1, 2, 3));
  const auto file = StopAndRead();
  EXPECT_EQ(file.events.size(), 2u);
  EXPECT_EQ(file.events[0].payload.size(), room + 8);
  EXPECT_EQ(file.events_lost, 1u);
}

TEST_F(EventWriterTest, WithNoLineFreeEventsAreCountedAsLost) {
  Start();
  for (auto& line : session_->map()->participants()) line.owner.store(OwnOwnerWord());
  EXPECT_FALSE(WriteNumbers(*session_, 1, 0));
  EXPECT_EQ(session_->map()->words().events_lost.load(), 1u);
}

TEST_F(EventWriterTest, ABufferThatWasBeingOpenedWhenItsSessionStoppedIsClosedToo) {
  Start();
  static std::atomic<bool> reached;
  static std::atomic<bool> released;
  static thread_local bool opens = false;
  reached = released = false;
  step_hook = [](Step at) {
    if (!opens || at != Step::kPreparing) return;
    reached = true;
    while (!released) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  };
  const ControlMap& map = *session_->map();
  WriteNumbers(*session_, 1, 0);
  std::thread opener([&] {
    opens = true;
    CloseBuffer(map, ThreadParticipant(session_->map()), map.open());
  });
  while (!reached) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  std::thread stopper([&] { machine_.Store().Stop(*session_); });
  while (map.state() == SessionState::kRunning) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  released = true;
  opener.join();
  stopper.join();
  step_hook = nullptr;
  EXPECT_TRUE(WordOf(map, map.open().slot).closed) << "a writer that is late could reserve there";
  EXPECT_EQ(ReadTraceFile(machine_.FilePath("s.etl")).events.size(), 1u);
}

TEST_F(EventWriterTest, EveryEventOfSeveralThreadsArrivesOrIsCounted) {
  auto parameters = machine_.Parameters("s");
  parameters.buffer_size_kb = 64;
  parameters.maximum_buffers = 64;
  session_ = machine_.Start(parameters);
  constexpr std::uint32_t kThreads = 4;
  constexpr std::uint32_t kEach = 5000;
  std::vector<std::thread> threads;
  for (std::uint32_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (std::uint32_t i = 0; i < kEach; ++i) WriteNumbers(*session_, t, i, i % 60);
    });
  }
  for (auto& thread : threads) thread.join();
  const auto file = StopAndRead();
  std::uint64_t total = 0;
  for (const auto& [writer, count] : Check(file)) total += count;
  EXPECT_EQ(total + file.events_lost, kThreads * kEach);
}

TEST_F(EventWriterTest, WritersKilledAtRandomMomentsLoseOneEventEachAtMost) {
  std::mt19937 random(20261121);
  for (int round = 0; round < 25; ++round) {
    Start(64);
    constexpr std::uint32_t kWriters = 4;
    std::vector<pid_t> children;
    for (std::uint32_t w = 0; w < kWriters; ++w) {
      children.push_back(InChild([&] {
        const auto own = Session::Open(session_->folder()).value();
        for (std::uint32_t i = 0;; ++i) WriteNumbers(*own, w, i, i % 100);
      }));
    }
    std::this_thread::sleep_for(std::chrono::microseconds(3000 + random() % 6000));
    for (const pid_t child : children) {
      ::kill(child, SIGKILL);
      WaitForEnd(child);
    }
    // The session goes on as if nothing had been.
    const std::uint64_t lost_before = session_->map()->words().events_lost.load();
    for (std::uint32_t i = 0; i < 500; ++i) ASSERT_TRUE(WriteNumbers(*session_, 99, i)) << round;
    EXPECT_EQ(session_->map()->words().events_lost.load(), lost_before);
    const auto file = StopAndRead();
    auto counts = Check(file);
    EXPECT_EQ(counts[99], 500u);
    // What the counters miss of a writer's sequence was counted, but for the event it was in when it died.
    std::uint64_t missing = 0;
    std::map<std::uint32_t, std::uint32_t> last;
    for (const auto& event : file.events) last[WriterOf(event)] = NumberOf(event);
    for (const auto& [writer, number] : last) missing += number + 1 - counts[writer];
    EXPECT_LE(missing, file.events_lost);
  }
}

TEST_F(EventWriterTest, WithAFlushTimerOfOneTickEveryEventArrivesOrIsCounted) {
  auto parameters = machine_.Parameters("s");
  parameters.maximum_buffers = 64;
  session_ = machine_.Start(parameters);
  session_->map()->words().flush_ticks.store(1);
  std::vector<std::thread> threads;
  for (std::uint32_t t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (std::uint32_t i = 0; i < 1000; ++i) WriteNumbers(*session_, t, i);
    });
  }
  for (auto& thread : threads) thread.join();
  const auto file = StopAndRead();
  std::uint64_t total = 0;
  for (const auto& [writer, count] : Check(file)) total += count;
  EXPECT_EQ(total + file.events_lost, 3000u);
}

}  // namespace

#include "platform/embedded/ring/ring.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "platform/embedded/ring/session_clock.h"
#include "platform/embedded/ring/steps.h"
#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using varnel::testing::TraceMachine;
using varnel::testing::WriteNumbers;

class RingTest : public ::testing::Test {
 protected:
  RingTest() : session_(machine_.Start(machine_.Parameters("s"))), self_(ThreadParticipant(session_->map())) {}
  const ControlMap& map() const { return *session_->map(); }
  Phase PhaseOf(std::uint32_t slot) const { return Phase::Unpack(map().descriptors()[slot].phase.load()); }

  TraceMachine machine_;
  std::shared_ptr<Session> session_;
  Participant self_;
};

TEST_F(RingTest, ClosingOpensTheNextBufferAndSealsTheOld) {
  ASSERT_TRUE(WriteNumbers(*session_, 1, 1));
  EXPECT_EQ(CloseBuffer(map(), self_, map().open()), CloseResult::kOpened);
  EXPECT_EQ(map().open().sequence, 2u);
  EXPECT_EQ(PhaseOf(0), (Phase{Phase::State::kSealed, 1}));
  EXPECT_EQ(PhaseOf(map().open().slot), (Phase{Phase::State::kActive, 2}));
}

TEST_F(RingTest, SealingABufferOfCommittedEventsStoresNothingIntoIt) {
  for (std::uint32_t i = 0; i < 3; ++i) ASSERT_TRUE(WriteNumbers(*session_, 1, i));
  const std::byte* buffer = map().buffer(map().open().slot);
  const std::vector<std::byte> before(buffer, buffer + map().buffer_size());
  ASSERT_EQ(CloseBuffer(map(), self_, map().open()), CloseResult::kOpened);
  ASSERT_EQ(PhaseOf(0), (Phase{Phase::State::kSealed, 1}));
  EXPECT_EQ(std::memcmp(before.data(), buffer, before.size()), 0) << "another closer may be copying it already";
}

TEST_F(RingTest, AnEmptyBufferIsNotClosed) {
  EXPECT_EQ(CloseBuffer(map(), self_, map().open()), CloseResult::kEmpty);
  EXPECT_EQ(map().open().sequence, 1u);
}

TEST_F(RingTest, ClosingABufferThatIsNotOpenAnyMoreDoesNothing) {
  const OpenBuffer first = map().open();
  WriteNumbers(*session_, 1, 1);
  CloseBuffer(map(), self_, first);
  WriteNumbers(*session_, 1, 2);
  EXPECT_EQ(CloseBuffer(map(), self_, first), CloseResult::kOpened);
  EXPECT_EQ(map().open().sequence, 2u);
}

TEST_F(RingTest, WithEverySlotFullTheClosedBufferStaysTheOpenOne) {
  for (int i = 0; i < 8; ++i) {
    ASSERT_TRUE(WriteNumbers(*session_, 1, 1)) << i;
    EXPECT_EQ(CloseBuffer(map(), self_, map().open()), i < 7 ? CloseResult::kOpened : CloseResult::kFull);
  }
  EXPECT_EQ(map().open().sequence, 8u);
  EXPECT_TRUE(IsClosed(map(), 8));
  EXPECT_EQ(CountFreeSlots(map()), 0u);
  // A writer makes room by writing out, and goes on.
  EXPECT_TRUE(WriteNumbers(*session_, 1, 2));
  EXPECT_EQ(map().open().sequence, 9u);
}

TEST_F(RingTest, ASlotWhoseMemoryIsLookedAtIsNotPreparedForAnother) {
  WriteNumbers(*session_, 1, 1);
  CloseBuffer(map(), self_, map().open());
  session_->Flush();
  ASSERT_EQ(PhaseOf(0), (Phase{Phase::State::kFree, 1}));
  std::thread([&] {
    const auto other = ThreadParticipant(session_->map());
    const ScopedGuard guard(other, 1);
    // Seven further buffers would come round to slot 0.
    std::thread([&] {
      for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(WriteNumbers(*session_, 1, 2));
        session_->Flush();
      }
    }).join();
    EXPECT_EQ(PhaseOf(0), (Phase{Phase::State::kFree, 1}));
  }).join();
  for (int i = 0; i < 8; ++i) {
    ASSERT_TRUE(WriteNumbers(*session_, 1, 2));
    session_->Flush();
  }
  EXPECT_NE(PhaseOf(0).number, 1u) << "once nobody looks, it is";
}

TEST_F(RingTest, TheFreeSlotWithTheLowestNumberIsTakenFirst) {
  for (int i = 0; i < 8; ++i) {
    WriteNumbers(*session_, 1, 1);
    session_->Flush();
  }
  // All slots were used once; the next goes to the oldest.
  EXPECT_EQ(map().open(), (OpenBuffer{9, 0}));
}

TEST_F(RingTest, OnlyAnEventOlderThanTheFlushTimerMakesABufferOverdue) {
  map().words().flush_ticks.store(1000);
  EXPECT_FALSE(IsOverdue(map(), map().open(), SessionClockNow() + 100000)) << "empty";
  WriteNumbers(*session_, 1, 1);
  const auto first = static_cast<std::int64_t>(map().descriptors()[0].first_stamp.load());
  EXPECT_FALSE(IsOverdue(map(), map().open(), first + 999));
  EXPECT_TRUE(IsOverdue(map(), map().open(), first + 1000));
  map().words().flush_ticks.store(0);
  EXPECT_FALSE(IsOverdue(map(), map().open(), first + 1000000)) << "no timer";
}

TEST_F(RingTest, AWriterClosesABufferThatIsOverdue) {
  WriteNumbers(*session_, 1, 1);
  map().words().flush_ticks.store(1);
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
  WriteNumbers(*session_, 1, 2);
  EXPECT_EQ(map().open().sequence, 2u);
}

TEST_F(RingTest, AfterTheLastBufferClosedNothingIsReserved) {
  WriteNumbers(*session_, 1, 1);
  map().words().state.store(static_cast<std::uint32_t>(SessionState::kStopping));
  CloseLastBuffer(map(), self_);
  EXPECT_TRUE(IsClosed(map(), 1));
  EXPECT_FALSE(WriteNumbers(*session_, 1, 2));
  EXPECT_EQ(map().words().events_lost.load(), 0u) << "a session that ends loses nothing";
}

TEST_F(RingTest, SleepersAreWokenByAClosing) {
  WriteNumbers(*session_, 1, 1);
  const std::uint32_t seen = map().words().closings.load();
  std::thread sleeper([&] { SleepUntilClosing(map(), seen, std::chrono::seconds(60)); });
  while (map().words().sleepers.load() == 0) std::this_thread::yield();
  CloseBuffer(map(), self_, map().open());
  sleeper.join();
  EXPECT_EQ(map().words().sleepers.load(), 0u);
}

}  // namespace

#include "platform/embedded/ring/participant.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <set>
#include <thread>

#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using varnel::testing::InChild;
using varnel::testing::TraceMachine;
using varnel::testing::WaitForEnd;

class ParticipantTest : public ::testing::Test {
 protected:
  ParticipantTest() : session_(machine_.Start(machine_.Parameters("s"))) {}
  std::size_t Taken() const {
    std::size_t count = 0;
    for (const auto& line : session_->map()->participants()) count += line.owner.load() != 0 ? 1 : 0;
    return count;
  }
  TraceMachine machine_;
  std::shared_ptr<Session> session_;
};

TEST_F(ParticipantTest, AThreadKeepsItsLineAndGivesItBackWhenItEnds) {
  const auto own = ThreadParticipant(session_->map());
  ASSERT_TRUE(own.valid());
  EXPECT_EQ(ThreadParticipant(session_->map()).line, own.line);
  EXPECT_EQ(Taken(), 1u);
  std::thread([&] {
    const auto other = ThreadParticipant(session_->map());
    ASSERT_TRUE(other.valid());
    EXPECT_NE(other.line, own.line);
    EXPECT_EQ(Taken(), 2u);
  }).join();
  EXPECT_EQ(Taken(), 1u);
}

TEST_F(ParticipantTest, AThreadOfManySessionsTakesLinesAnewForTheOldest) {
  std::vector<std::shared_ptr<Session>> sessions;
  for (int i = 0; i < 12; ++i) {
    auto parameters = machine_.Parameters("many" + std::to_string(i));
    sessions.push_back(machine_.Start(parameters));
    EXPECT_TRUE(ThreadParticipant(sessions.back()->map()).valid());
  }
  for (const auto& session : sessions) EXPECT_TRUE(ThreadParticipant(session->map()).valid());
  for (const auto& session : sessions) machine_.Store().Stop(*session);
}

TEST_F(ParticipantTest, LinesOfADeadProcessAreTakenAgainAndWithNoneLeftThereIsNone) {
  // A child that is gone owns every line but one, which a living one owns.
  const pid_t dead = InChild([&] {
    const auto map = Session::Open(session_->folder()).value()->map();
    for (auto& line : map->participants()) line.owner.store(OwnOwnerWord());
  });
  EXPECT_EQ(WaitForEnd(dead), 0);
  EXPECT_EQ(Taken(), kParticipants);
  const auto own = ThreadParticipant(session_->map());
  ASSERT_TRUE(own.valid());
  EXPECT_EQ(own.line->owner.load(), OwnOwnerWord());
  for (auto& line : session_->map()->participants()) line.owner.store(OwnOwnerWord());
  std::thread([&] { EXPECT_FALSE(ThreadParticipant(session_->map()).valid()); }).join();
}

TEST_F(ParticipantTest, OnlyMarksOfTheLivingCount) {
  const auto own = ThreadParticipant(session_->map());
  const pid_t child = InChild([&] {
    const auto map = Session::Open(session_->folder()).value()->map();
    const auto line = ThreadParticipant(map).line;
    line->mark.store(Mark{7, Mark::Kind::kWriter}.Pack());
    ::raise(SIGSTOP);
    ::raise(SIGKILL);
  });
  varnel::testing::WaitUntilStopped(child);
  EXPECT_TRUE(IsMarked(*session_->map(), 7, own.line, false));
  EXPECT_FALSE(IsMarked(*session_->map(), 8, own.line, true));
  EXPECT_EQ(CountWriterMarks(*session_->map(), 7), 1u);
  ::kill(child, SIGKILL);
  siginfo_t info;
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
  EXPECT_FALSE(IsMarked(*session_->map(), 7, own.line, false)) << "a zombie is dead";
  WaitForEnd(child);
  EXPECT_FALSE(IsMarked(*session_->map(), 7, own.line, false));
  EXPECT_EQ(CountWriterMarks(*session_->map(), 7), 1u) << "what the dead were at is still counted";
}

TEST_F(ParticipantTest, GuardsCountOnlyWhenAskedFor) {
  const auto own = ThreadParticipant(session_->map());
  const ScopedGuard guard(own, 5);
  EXPECT_FALSE(IsMarked(*session_->map(), 5, nullptr, false));
  EXPECT_TRUE(IsMarked(*session_->map(), 5, nullptr, true));
  EXPECT_FALSE(IsMarked(*session_->map(), 5, own.line, true)) << "one's own does not count";
}

TEST_F(ParticipantTest, AProcessOfAnotherStartTimeWithTheSameIdIsDead) {
  EXPECT_TRUE(OwnerLives(OwnOwnerWord()));
  EXPECT_FALSE(OwnerLives(OwnOwnerWord() ^ 1));
  EXPECT_FALSE(OwnerLives(0));
  EXPECT_EQ(OwnerProcess(OwnOwnerWord()), static_cast<std::uint32_t>(::getpid()));
}

}  // namespace

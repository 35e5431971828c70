#include "platform/embedded/ring/session.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/embedded/ring/session_clock.h"
#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using namespace varnel::testing;

class SessionTest : public ::testing::Test {
 protected:
  std::size_t EventsInFile() const { return ReadTraceFile(machine_.FilePath("s.etl")).events.size(); }

  TraceMachine machine_;
};

TEST_F(SessionTest, OpensByItsFolderAndIsTheSameSession) {
  const auto started = machine_.Start(machine_.Parameters("s"));
  const auto opened = Session::Open(started->folder());
  ASSERT_TRUE(opened.ok());
  EXPECT_EQ(opened.value()->id(), started->id());
  EXPECT_EQ(opened.value()->name(), u"s");
  EXPECT_TRUE(opened.value()->running());
  machine_.Store().Stop(*started);
  EXPECT_FALSE(opened.value()->running()) << "the mapping tells after the folder is gone";
}

TEST_F(SessionTest, AFolderWithoutAControlFileOrWithAForeignOneIsRefusedByName) {
  const std::string folder = machine_.machine().SessionsPath() + "/77";
  std::filesystem::create_directory(folder);
  const auto missing = Session::Open(folder);
  ASSERT_FALSE(missing.ok());
  EXPECT_NE(missing.error().message.find(folder + "/control"), std::string::npos);
  std::ofstream(folder + "/control") << std::string(100000, 'x');
  const auto foreign = Session::Open(folder);
  ASSERT_FALSE(foreign.ok());
  EXPECT_NE(foreign.error().message.find(folder + "/control"), std::string::npos);
}

TEST_F(SessionTest, AFlushWritesOutWhatIsInTheOpenBuffer) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  ASSERT_TRUE(WriteNumbers(*session, 1, 1));
  EXPECT_EQ(EventsInFile(), 0u);
  session->Flush();
  EXPECT_EQ(EventsInFile(), 1u);
  machine_.Store().Stop(*session);
}

TEST_F(SessionTest, AnotherOpenerFlushesAsWell) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  ASSERT_TRUE(WriteNumbers(*session, 1, 1));
  Session::Open(session->folder()).value()->Flush();
  EXPECT_EQ(EventsInFile(), 1u);
  machine_.Store().Stop(*session);
}

TEST_F(SessionTest, TendingLeavesABufferThatIsNotOverdueOpen) {
  const auto session = machine_.Start(machine_.Parameters("s"));  // no flush timer
  ASSERT_TRUE(WriteNumbers(*session, 1, 1));
  session->Tend(SessionFile::Wait::kYes);
  EXPECT_EQ(EventsInFile(), 0u);
  machine_.Store().Stop(*session);
}

TEST_F(SessionTest, TendingClosesAndWritesOutWhatIsOverdue) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  session->map()->words().flush_ticks.store(1);
  ASSERT_TRUE(WriteNumbers(*session, 1, 1));
  const std::int64_t written = SessionClockNow();
  while (SessionClockNow() <= written + 1) {
  }
  session->Tend(SessionFile::Wait::kYes);
  EXPECT_EQ(EventsInFile(), 1u);
  machine_.Store().Stop(*session);
}

}  // namespace

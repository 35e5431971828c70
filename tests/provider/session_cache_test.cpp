#include "provider/session_cache.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "tests/support/trace_fixture.h"

namespace {

using varnel::embedded::ring::Session;
using varnel::provider::ForgetSessionsAfterFork;
using varnel::provider::MachineSessions;
using varnel::provider::ThreadSession;
using varnel::testing::TraceMachine;

class SessionCacheTest : public ::testing::Test {
 protected:
  MachineSessions& Sessions() const { return MachineSessions::Of(machine_.machine().SessionsPath()); }
  std::shared_ptr<Session> Start(const std::string& name) const { return machine_.Start(machine_.Parameters(name)); }

  TraceMachine machine_;
};

TEST_F(SessionCacheTest, AFolderHasOneCacheInAProcess) {
  EXPECT_EQ(&Sessions(), &Sessions());
  const TraceMachine other;
  EXPECT_NE(&Sessions(), &MachineSessions::Of(other.machine().SessionsPath()));
}

TEST_F(SessionCacheTest, ThreadsShareAnOpenSession) {
  const auto started = Start("s");
  const auto first = Sessions().Get(started->id());
  ASSERT_NE(first, nullptr);
  std::shared_ptr<Session> second;
  std::thread([&] { second = Sessions().Get(started->id()); }).join();
  EXPECT_EQ(first, second);
  EXPECT_EQ(first->id(), started->id());
}

TEST_F(SessionCacheTest, ASessionThatNeverWasOrHasEndedIsNull) {
  const auto started = Start("s");
  EXPECT_EQ(Sessions().Get(started->id() + 1), nullptr);
  machine_.Store().Stop(*started);
  EXPECT_EQ(Sessions().Get(started->id()), nullptr);
}

TEST_F(SessionCacheTest, ASessionOfAnEarlierBootOfTheHostIsNull) {
  auto parameters = machine_.Parameters("s");
  varnel::embedded::ring::StartFailure failure;
  const varnel::embedded::ring::SessionStore earlier(machine_.machine().SessionsPath(), "earlier boot", 1);
  const auto started = earlier.Start(parameters, &failure);
  ASSERT_NE(started, nullptr);
  EXPECT_EQ(Sessions().Get(started->id()), nullptr);
}

TEST_F(SessionCacheTest, AThreadKeepsWhatItWritesTo) {
  const auto started = Start("s");
  Session* first = ThreadSession(Sessions(), started->id());
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(ThreadSession(Sessions(), started->id()), first);
}

TEST_F(SessionCacheTest, WhatAThreadKeepsLivesAsLongAsTheThread) {
  const auto started = Start("s");
  std::weak_ptr<Session> kept;
  std::thread([&] {
    ASSERT_NE(ThreadSession(Sessions(), started->id()), nullptr);
    kept = Sessions().Get(started->id());
    EXPECT_FALSE(kept.expired());
  }).join();
  EXPECT_TRUE(kept.expired());
}

TEST_F(SessionCacheTest, MoreSessionsThanAThreadKeepsAreAllFound) {
  std::vector<std::shared_ptr<Session>> started;
  for (int i = 0; i < 12; ++i) started.push_back(Start("s" + std::to_string(i)));
  for (int round = 0; round < 3; ++round) {
    for (const auto& session : started) {
      Session* found = ThreadSession(Sessions(), session->id());
      ASSERT_NE(found, nullptr);
      EXPECT_EQ(found->id(), session->id());
    }
  }
}

TEST_F(SessionCacheTest, AnEndedSessionIsLetGoWhenAnotherComes) {
  const auto first = Start("first");
  ASSERT_NE(ThreadSession(Sessions(), first->id()), nullptr);
  const std::weak_ptr<Session> kept = Sessions().Get(first->id());
  machine_.Store().Stop(*first);
  EXPECT_FALSE(kept.expired());
  const auto second = Start("second");
  ASSERT_NE(ThreadSession(Sessions(), second->id()), nullptr);
  EXPECT_TRUE(kept.expired());
}

TEST_F(SessionCacheTest, WhatCouldNotBeOpenedIsNotTriedAtEachEvent) {
  const auto started = Start("s");
  const std::uint64_t id = started->id();
  const std::string folder = machine_.machine().SessionsPath() + '/' + std::to_string(id);
  std::filesystem::rename(folder, folder + ".away");
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(ThreadSession(Sessions(), id), nullptr);
  std::filesystem::rename(folder + ".away", folder);
  Session* again = ThreadSession(Sessions(), id);
  // A second is long; on a machine that slept through it the session may be found already.
  if (std::chrono::steady_clock::now() - before < std::chrono::milliseconds(900)) {
    EXPECT_EQ(again, nullptr);
  }
  while (again == nullptr && std::chrono::steady_clock::now() - before < std::chrono::seconds(60)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    again = ThreadSession(Sessions(), id);
  }
  EXPECT_NE(again, nullptr);
}

TEST_F(SessionCacheTest, AForkedChildForgetsWhatItsParentKept) {
  const auto started = Start("s");
  ASSERT_NE(ThreadSession(Sessions(), started->id()), nullptr);
  const pid_t child = varnel::testing::InChild([&] {
    ForgetSessionsAfterFork();
    Session* found = ThreadSession(Sessions(), started->id());
    if (found == nullptr || found->id() != started->id()) ::_exit(1);
  });
  EXPECT_EQ(varnel::testing::WaitForEnd(child), 0);
}

}  // namespace

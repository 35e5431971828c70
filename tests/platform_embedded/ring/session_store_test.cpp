#include "platform/embedded/ring/session_store.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "platform/embedded/ring/ring.h"
#include "platform/embedded/ring/session_clock.h"
#include "platform/embedded/ring/steps.h"
#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using namespace varnel::testing;
namespace fs = std::filesystem;

class SessionStoreTest : public ::testing::Test {
 protected:
  std::size_t FoldersLeft() const {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(machine_.machine().SessionsPath())) {
      count += entry.is_directory() ? 1 : 0;
    }
    return count;
  }
  TraceMachine machine_;
};

TEST_F(SessionStoreTest, ASessionIsFoundUntilItStopsAndItsFolderGoesWithIt) {
  const auto store = machine_.Store();
  const auto session = machine_.Start(machine_.Parameters("s"));
  EXPECT_NE(store.FindByName(u"S"), nullptr);
  EXPECT_NE(store.FindByHandle(session->id()), nullptr);
  EXPECT_EQ(store.FindByName(u"t"), nullptr);
  EXPECT_TRUE(store.Stop(*session));
  EXPECT_FALSE(store.Stop(*session)) << "a second stop finds nothing to do";
  EXPECT_EQ(store.FindByName(u"s"), nullptr);
  EXPECT_EQ(session->map()->state(), SessionState::kEnded);
  EXPECT_EQ(FoldersLeft(), 0u);
}

TEST_F(SessionStoreTest, NumbersAreNotUsedAgain) {
  const auto one = machine_.Start(machine_.Parameters("s"));
  machine_.Store().Stop(*one);
  const auto two = machine_.Start(machine_.Parameters("s"));
  EXPECT_GT(two->id(), one->id());
}

TEST_F(SessionStoreTest, SixtyFourSessionsRunAndNoMore) {
  auto parameters = machine_.Parameters("s");
  parameters.host_path.clear();
  parameters.maximum_buffers = 2;
  for (std::size_t i = 0; i < kMaximumSessions; ++i) {
    parameters.name = u"s" + std::u16string(1, static_cast<char16_t>(0x4E00 + i));
    machine_.Start(parameters);
  }
  parameters.name = u"one more";
  StartFailure failure;
  EXPECT_EQ(machine_.Store().Start(parameters, &failure), nullptr);
  EXPECT_EQ(failure, StartFailure::kTooMany);
  machine_.Store().StopAll();
  EXPECT_TRUE(machine_.Store().RunningIds().empty());
}

TEST_F(SessionStoreTest, NamesTooLongForTheHeaderBufferAreRefused) {
  auto parameters = machine_.Parameters("s");
  parameters.name = std::u16string(1000, u'n');
  parameters.log_file_name = std::u16string(1000, u'f');
  StartFailure failure;
  EXPECT_EQ(machine_.Store().Start(parameters, &failure), nullptr);
  EXPECT_EQ(failure, StartFailure::kBadParameters);
  parameters.buffer_size_kb = 64;
  EXPECT_NE(machine_.Store().Start(parameters, &failure), nullptr);
}

TEST_F(SessionStoreTest, AStopThatWasKilledIsFinishedByTheNextOneWhoChangesAnything) {
  for (const Step step : {Step::kSealed, Step::kWritten, Step::kPlaced}) {
    const auto session = machine_.Start(machine_.Parameters("s"));
    for (std::uint32_t i = 0; i < 30; ++i) WriteNumbers(*session, 1, i);
    static Step wanted;
    wanted = step;
    const pid_t child = InChild([&] {
      step_hook = [](Step at) {
        if (at == wanted) ::raise(SIGKILL);
      };
      const auto own = machine_.Store().FindByName(u"s");
      machine_.Store().Stop(*own);
    });
    EXPECT_TRUE(WIFSIGNALED(WaitForEnd(child)));
    EXPECT_EQ(machine_.Store().FindByName(u"s"), nullptr) << "it is on its way out";
    const auto next = machine_.Start(machine_.Parameters("t"));
    const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
    EXPECT_EQ(file.events.size(), 30u);
    EXPECT_NE(file.end_time, 0);
    machine_.Store().Stop(*next);
    EXPECT_EQ(FoldersLeft(), 0u);
  }
}

TEST_F(SessionStoreTest, AFileWhoseSessionsStopWasKilledIsFinishedByWhoAsksForIt) {
  for (const bool opens : {true, false}) {
    const auto session = machine_.Start(machine_.Parameters("s"));
    for (std::uint32_t i = 0; i < 30; ++i) WriteNumbers(*session, 1, i);
    const pid_t child = InChild([&] {
      step_hook = [](Step at) {
        if (at == Step::kWritten) ::raise(SIGKILL);
      };
      machine_.Store().Stop(*machine_.Store().FindByName(u"s"));
    });
    EXPECT_TRUE(WIFSIGNALED(WaitForEnd(child)));
    EXPECT_EQ(session->map()->state(), SessionState::kStopping);
    const SessionFileNames& file = session->map()->file_names();
    if (opens) {
      EXPECT_EQ(machine_.Store().FindByFile(file.device, file.inode), nullptr);
    } else {
      EXPECT_FALSE(machine_.Store().IsFileInUse(file.device, file.inode));
    }
    EXPECT_EQ(ReadTraceFile(machine_.FilePath("s.etl")).events.size(), 30u);
    EXPECT_EQ(session->map()->state(), SessionState::kEnded);
    EXPECT_EQ(FoldersLeft(), 0u);
  }
}

TEST_F(SessionStoreTest, WhoHasNoRoomToMapASessionDoesNotTakeItForDamaged) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer's own memory meets the limit first";
#endif
  auto parameters = machine_.Parameters("large");
  parameters.buffer_size_kb = 1024;
  parameters.maximum_buffers = 64;
  const auto large = machine_.Start(parameters);
  const pid_t child = InChild([&] {
    std::ifstream statm("/proc/self/statm");
    rlim_t pages = 0;
    statm >> pages;
    const rlim_t limit = pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + (rlim_t{16} << 20);
    const rlimit memory = {limit, limit};
    ::setrlimit(RLIMIT_AS, &memory);
    StartFailure failure;
    machine_.Store().Start(machine_.Parameters("small"), &failure);
  });
  EXPECT_TRUE(WIFEXITED(WaitForEnd(child)));
  EXPECT_NE(machine_.Store().FindByName(u"large"), nullptr);
  EXPECT_EQ(large->map()->state(), SessionState::kRunning);
  EXPECT_TRUE(machine_.Store().StopAll());
}

TEST_F(SessionStoreTest, WhatAKilledStartLeftIsClearedAway) {
  fs::create_directory(machine_.machine().SessionsPath() + "/.new-7");
  std::ofstream(machine_.machine().SessionsPath() + "/.new-7/control") << "half";
  fs::create_directory(machine_.machine().SessionsPath() + "/9");
  std::ofstream(machine_.machine().SessionsPath() + "/9/control") << "no session";
  EXPECT_TRUE(machine_.Store().RunningIds().empty());
  const auto session = machine_.Start(machine_.Parameters("s"));
  EXPECT_EQ(FoldersLeft(), 1u);
}

TEST_F(SessionStoreTest, ANewSessionBeginsAfterEveryTimeThatWasHandedOut) {
  const auto running = machine_.Start(machine_.Parameters("running"));
  const auto running_now = running->map()->clock().ToFileTime(SessionClockNow());
  const auto second = machine_.Start(machine_.Parameters("second"));
  EXPECT_GT(second->map()->constants().start_time, running_now);
  const std::int64_t ahead = static_cast<std::int64_t>(varnel::embedded::FileTimeNow()) + 600'000'000;
  machine_.Store().ChangeEnables([&](EnableTable& table) { table.RaiseLastTime(ahead); });
  const auto third = machine_.Start(machine_.Parameters("third"));
  EXPECT_EQ(third->map()->constants().start_time, ahead + 1);
}

TEST_F(SessionStoreTest, ASessionOfAnEarlierHostBootIsGoneAndItsTimesCount) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  // Its clock ran far ahead of the system's.
  session->map()->words().places[0].last_stamp.store(static_cast<std::uint64_t>(SessionClockNow() + 36'000'000'000));
  const auto handed_out = session->map()->clock().ToFileTime(SessionClockNow() + 35'000'000'000);
  const SessionStore later(machine_.machine().SessionsPath(), "another boot", 2);
  EXPECT_EQ(later.FindByName(u"s"), nullptr);
  EXPECT_FALSE(later.IsFileInUse(session->map()->file_names().device, session->map()->file_names().inode));
  StartFailure failure;
  const auto next = later.Start(machine_.Parameters("s"), &failure);
  ASSERT_NE(next, nullptr);
  EXPECT_GT(next->map()->constants().start_time, handed_out);
  EXPECT_EQ(session->map()->state(), SessionState::kEnded) << "whoever still has it mapped notices";
  EXPECT_EQ(FoldersLeft(), 1u);
  later.StopAll();
}

TEST_F(SessionStoreTest, ManyProcessesMayStartTheSameSessionAndOneDoes) {
  std::vector<pid_t> children;
  for (int i = 0; i < 8; ++i) {
    children.push_back(InChild([&] {
      StartFailure failure;
      const auto session = machine_.Store().Start(machine_.Parameters("s"), &failure);
      if (!session && failure != StartFailure::kNameTaken) ::_exit(2);
      ::_exit(session ? 1 : 0);
    }));
  }
  int started = 0;
  for (const pid_t child : children) {
    const int status = WEXITSTATUS(WaitForEnd(child));
    EXPECT_NE(status, 2);
    started += status == 1 ? 1 : 0;
  }
  EXPECT_EQ(started, 1);
  EXPECT_EQ(machine_.Store().RunningIds().size(), 1u);
}

std::string Load(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void Save(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// What a power failure can leave of a mapped file: of each page the old bytes or the new.
std::string MixPages(const std::string& before, const std::string& after, std::mt19937* random) {
  std::string mixed = before;
  for (std::size_t page = 0; page < after.size(); page += kPageSize) {
    if ((*random)() % 2 == 0) mixed.replace(page, kPageSize, after, page, kPageSize);
  }
  return mixed;
}

TEST_F(SessionStoreTest, AfterAPowerFailureAnyMixtureOfOldAndNewPagesIsClearedAwayAndTheNextSessionRuns) {
  const std::string folder = machine_.machine().SessionsPath();
  const std::string empty_table = [&] {
    machine_.Store().ChangeEnables([](EnableTable&) {});
    return Load(folder + "/providers");
  }();
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  const std::string young = Load(session->folder() + "/control");
  for (std::uint32_t i = 0; i < 1000; ++i) WriteNumbers(*session, 1, i);
  const std::string old = Load(session->folder() + "/control");
  const std::string table = Load(folder + "/providers");
  const std::string name = session->folder();
  machine_.Store().Stop(*session);
  const std::string etl = Load(machine_.FilePath("s.etl"));
  const std::string nothing(young.size(), '\0');

  std::mt19937 random(3);
  for (int round = 0; round < 60; ++round) {
    fs::create_directory(name);
    Save(name + "/control", MixPages(round % 3 == 0 ? nothing : young, old, &random));
    if (round % 5 != 0) Save(name + "/lock", "");
    Save(folder + "/providers", MixPages(empty_table, table, &random));
    const SessionStore later(folder, "boot " + std::to_string(round), 2);
    EXPECT_EQ(later.FindByName(u"s"), nullptr);
    StartFailure failure;
    const auto next = later.Start(machine_.Parameters("t"), &failure);
    ASSERT_NE(next, nullptr) << round;
    EXPECT_FALSE(fs::exists(name) && next->folder() != name);
    EXPECT_TRUE(WriteNumbers(*next, 2, 7));
    later.StopAll();
    EXPECT_EQ(ReadTraceFile(machine_.FilePath("t.etl")).events.size(), 1u);
  }
  EXPECT_EQ(Load(machine_.FilePath("s.etl")), etl) << "the file of the lost session is left as it was";
}

TEST_F(SessionStoreTest, AFileCutAtAnyPointByAPowerFailureGivesItsEventsUpToThere) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  for (std::uint32_t i = 0; i < 400; ++i) WriteNumbers(*session, 1, i);
  session->Flush();
  const std::string whole = Load(machine_.FilePath("s.etl"));
  std::size_t before = 0;
  for (std::size_t size = 4096; size <= whole.size(); size += 333) {
    Save(machine_.FilePath("cut.etl"), whole.substr(0, size));
    const auto file = ReadTraceFile(machine_.FilePath("cut.etl"));
    ASSERT_TRUE(file.ok) << size;
    ASSERT_GE(file.events.size(), before);
    for (std::size_t i = 0; i < file.events.size(); ++i) ASSERT_EQ(NumberOf(file.events[i]), i);
    before = file.events.size();
  }
  EXPECT_GT(before, 350u);
}

}  // namespace

// Several processes that write, are killed and begin anew, while readers read live and from the running file: every
// event arrives once, in time order, or is counted as lost, and everybody sees the same.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/embedded/trace/machine_sessions.h"
#include "tests/support/trace_port_fixture.h"

namespace {

using varnel::platform::TRACEHANDLE;
using varnel::testing::Block;
using varnel::testing::ReadEvent;
using varnel::testing::ReadTraceFile;
using varnel::testing::Received;
using varnel::testing::TracePort;
namespace vp = varnel::platform;

class SessionStressTest : public ::testing::Test {
 protected:
  static Block ModuleLikeBlock(std::uint32_t mode, std::uint32_t megabytes) {
    auto block = TracePort::SessionBlock(u"s");
    block->BufferSize = 64;
    block->MinimumBuffers = 20;
    block->MaximumBuffers = 50;
    block->LogFileMode = mode;
    block->MaximumFileSize = megabytes;
    return block;
  }
  pid_t Spawn(int module_bit, int count, int pause) {
    const std::string bit = std::to_string(module_bit);
    const std::string number = std::to_string(count);
    const std::string microseconds = std::to_string(pause);
    std::string root = port_.machine().root();
    char program[] = VARNEL_WRITER_PROGRAM;
    char* arguments[] = {program,
                         root.data(),
                         const_cast<char*>(bit.c_str()),
                         const_cast<char*>(number.c_str()),
                         const_cast<char*>(microseconds.c_str()),
                         nullptr};
    pid_t child = -1;
    EXPECT_EQ(::posix_spawn(&child, program, nullptr, nullptr, arguments, environ), 0);
    return child;
  }

  /// Counters by process: each must begin with 1 and rise; what they miss is the sum that comes back.
  static std::uint64_t Missing(const std::vector<ReadEvent>& events) {
    std::map<std::pair<std::uint32_t, std::uint64_t>, std::uint32_t> last;
    std::uint64_t missing = 0;
    std::int64_t time = 0;
    for (const auto& event : events) {
      EXPECT_GE(event.file_time, time);
      time = event.file_time;
      auto& before = last[{event.process, event.keyword}];
      EXPECT_GT(event.U32(0), before) << "an event came twice or out of turn";
      missing += event.U32(0) - before - 1;
      before = event.U32(0);
    }
    return missing;
  }
  static void ExpectSame(const std::vector<ReadEvent>& live, const std::vector<ReadEvent>& file) {
    ASSERT_EQ(live.size(), file.size());
    for (std::size_t i = 0; i < live.size(); ++i) {
      ASSERT_EQ(live[i].file_time, file[i].file_time);
      ASSERT_EQ(live[i].process, file[i].process);
      ASSERT_EQ(live[i].U32(0), file[i].U32(0));
    }
  }

  TracePort port_;
};

TEST_F(SessionStressTest, WritersThatAreKilledAndBeginAnewLoseNothingThatALiveReaderWouldMiss) {
  const TRACEHANDLE session = port_.StartSession(u"s", ModuleLikeBlock(0x10000101, 0));
  Received live;
  const TRACEHANDLE trace = port_.OpenLive(u"s", &live);
  std::uint32_t result = 0;
  std::thread reader([&] { result = port_.Process(trace); });
  std::mt19937 random(7);
  constexpr int kWriters = 3;
  std::vector<pid_t> children(kWriters, -1);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  const auto enough_is_written = [&] {
    return std::filesystem::file_size(port_.machine().FilePath("s.etl")) > 512 * 1024;
  };
  // A loaded machine takes longer to start a writer than the writer has until its kill: then more of them get more
  // time.
  for (int kills = 0; kills < 30 || (!enough_is_written() && std::chrono::steady_clock::now() < deadline); ++kills) {
    const auto which = random() % kWriters;
    if (children[which] > 0) {
      ::kill(children[which], SIGKILL);
      ::waitpid(children[which], nullptr, 0);
    }
    children[which] = Spawn(7 + static_cast<int>(which), 0, random() % 2 == 0 ? 0 : 200);
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 40 * (1 + kills / 30)));
  }
  for (const pid_t child : children) {
    if (child <= 0) continue;
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
  }
  port_.Stop(session);
  reader.join();
  EXPECT_EQ(result, vp::kErrorWmiInstanceNotFound);
  EXPECT_EQ(live.lost, 0u);
  const auto file = ReadTraceFile(port_.machine().FilePath("s.etl"));
  EXPECT_GT(file.events.size(), 1000u);
  EXPECT_LE(Missing(file.events), file.events_lost);
  EXPECT_EQ(file.buffers_lost, 0u);
  EXPECT_EQ(file.skipped_bytes, 0u);
  ExpectSame(live.events, file.events);
  port_.trace().CloseTrace(trace);
}

TEST_F(SessionStressTest, WritersThatAreLeftAloneLoseNothingAtAll) {
  const TRACEHANDLE session = port_.StartSession(u"s", ModuleLikeBlock(0x10000101, 0));
  Received live;
  const TRACEHANDLE trace = port_.OpenLive(u"s", &live);
  std::thread reader([&] { port_.Process(trace); });
  constexpr int kWriters = 4;
  constexpr int kEach = 2000;
  std::vector<pid_t> children;
  for (int i = 0; i < kWriters; ++i) children.push_back(Spawn(7 + i, kEach, 20));
  for (const pid_t child : children) {
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  port_.Stop(session);
  reader.join();
  const auto file = ReadTraceFile(port_.machine().FilePath("s.etl"));
  EXPECT_EQ(file.events.size(), static_cast<std::size_t>(kWriters) * kEach);
  EXPECT_EQ(Missing(file.events), 0u);
  EXPECT_EQ(file.events_lost, 0u);
  ExpectSame(live.events, file.events);
  port_.trace().CloseTrace(trace);
}

TEST_F(SessionStressTest, EachReadingOfTheRunningFileIsTheBeginningOfTheNext) {
  const TRACEHANDLE session = port_.StartSession(u"s", ModuleLikeBlock(0x10000101, 0));
  const pid_t child = Spawn(7, 0, 0);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  std::vector<std::uint32_t> before;
  // Readings are counted from the first that finds something: a loaded machine takes its time to start the writer.
  for (int readings = 0; readings < 8 && std::chrono::steady_clock::now() < deadline;) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    Received received;
    ASSERT_EQ(port_.ReadWholeFile(u"C:\\s.etl", &received), 0u);
    std::vector<std::uint32_t> now;
    for (const auto& event : received.events) now.push_back(event.U32(0));
    ASSERT_GE(now.size(), before.size());
    EXPECT_TRUE(std::equal(before.begin(), before.end(), now.begin()));
    EXPECT_LE(Missing(received.events), varnel::embedded::ListSessions(port_.machine().machine())[0].events_lost);
    before = std::move(now);
    if (!before.empty()) ::kill(child, readings++ % 2 == 0 ? SIGSTOP : SIGCONT);
  }
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_FALSE(before.empty());
  port_.Stop(session);
}

TEST_F(SessionStressTest, ACircularFileUnderSeveralWritersKeepsAnUnbrokenNewestPart) {
  const TRACEHANDLE session = port_.StartSession(u"s", ModuleLikeBlock(0x18000102, 1));
  std::vector<pid_t> children;
  for (int i = 0; i < 3; ++i) children.push_back(Spawn(7 + i, 20000, 0));
  for (const pid_t child : children) ::waitpid(child, nullptr, 0);
  port_.Stop(session);
  const auto file = ReadTraceFile(port_.machine().FilePath("s.etl"));
  EXPECT_EQ(file.size, 1024u * 1024);
  ASSERT_FALSE(file.events.empty());
  std::map<std::uint32_t, std::uint32_t> last;
  std::uint64_t missing = 0;
  for (const auto& event : file.events) {
    auto [place, first] = last.try_emplace(event.process, event.U32(0));
    if (!first) {
      EXPECT_GT(event.U32(0), place->second);
      missing += event.U32(0) - place->second - 1;
      place->second = event.U32(0);
    }
  }
  EXPECT_LE(missing, file.events_lost);
}

}  // namespace

#include "platform/embedded/trace/session_trace.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "platform/embedded/core/handle_table.h"
#include "tests/support/trace_port_fixture.h"

namespace {

using varnel::platform::TRACEHANDLE;
using varnel::testing::Block;
using varnel::testing::ReadTraceFile;
using varnel::testing::Received;
using varnel::testing::TracePort;
namespace vp = varnel::platform;

/// A live reader on its own thread.
class Reader {
 public:
  Reader(TracePort& port, const std::u16string& name) : port_(port), handle_(port.OpenLive(name, &received)) {}
  ~Reader() {
    Close();
    Join();
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  void Run() {
    thread_ = std::thread([this] { result = port_.Process(handle_); });
  }
  void Close() { port_.trace().CloseTrace(handle_); }
  void Join() {
    if (thread_.joinable()) thread_.join();
  }
  void WaitFor(std::uint32_t count) {
    for (int i = 0; i < 20'000 && received.count < count; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  TRACEHANDLE handle() const { return handle_; }

  Received received;
  std::atomic<std::uint32_t> result{~0u};

 private:
  TracePort& port_;
  const TRACEHANDLE handle_;
  std::thread thread_;
};

void ExpectLines(const Received& received, std::uint32_t first, std::uint32_t count) {
  ASSERT_EQ(received.events.size(), count);
  for (std::uint32_t i = 0; i < count; ++i) ASSERT_EQ(TracePort::LineOf(received.events[i]), first + i);
}

class SessionTraceTest : public ::testing::Test {
 protected:
  /// A ring that a writer at full speed does not outrun while a reader's thread has the file lock and no processor.
  static Block LargeRing() {
    auto block = TracePort::SessionBlock(u"s");
    block->BufferSize = 64;
    block->MaximumBuffers = 64;
    return block;
  }
  TracePort port_;
};

TEST_F(SessionTraceTest, ALiveReaderGetsEventsWhenTheFlushTimerClosesTheirBuffer) {
  port_.StartSession(u"s");
  Reader reader(port_, u"s");
  reader.Run();
  port_.Write(1);
  reader.WaitFor(1);
  ExpectLines(reader.received, 1, 1);
}

TEST_F(SessionTraceTest, ALiveReaderBeginsWithTheBufferThatWasOpenWhenItOpened) {
  const TRACEHANDLE session = port_.StartSession(u"s");
  port_.Write(1);
  port_.Flush(session);
  port_.Write(2);
  Reader reader(port_, u"s");
  port_.Write(3);
  port_.Flush(session);
  port_.Write(4);
  port_.Flush(session);
  reader.Run();
  reader.WaitFor(3);
  ExpectLines(reader.received, 2, 3);
}

TEST_F(SessionTraceTest, EndsWith4201AfterEverythingWasDeliveredWhenTheSessionStops) {
  const TRACEHANDLE session = port_.StartSession(u"s");
  Reader reader(port_, u"s");
  for (std::uint32_t i = 0; i < 50; ++i) port_.Write(i);
  port_.Stop(session);
  reader.Run();
  reader.Join();
  EXPECT_EQ(reader.result, vp::kErrorWmiInstanceNotFound);
  ExpectLines(reader.received, 0, 50);
}

TEST_F(SessionTraceTest, EndsWith4201AfterEverythingWasDeliveredWhenTheStopWasKilled) {
  port_.StartSession(u"s");
  Reader reader(port_, u"s");
  for (std::uint32_t i = 0; i < 50; ++i) port_.Write(i);
  // As a process leaves it that dies behind its first step.
  const auto session = port_.machine().Store().FindByName(u"s");
  session->map()->words().state.store(static_cast<std::uint32_t>(varnel::embedded::ring::SessionState::kStopping));
  reader.Run();
  reader.Join();
  EXPECT_EQ(reader.result, vp::kErrorWmiInstanceNotFound);
  ExpectLines(reader.received, 0, 50);
}

TEST_F(SessionTraceTest, EndsWithZeroAfterCloseTraceWhileItWaits) {
  port_.StartSession(u"s");
  Reader reader(port_, u"s");
  reader.Run();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  reader.Close();
  reader.Join();
  EXPECT_EQ(reader.result, 0u);
}

TEST_F(SessionTraceTest, EndsWith1223AfterTheBufferCallbackSaidNo) {
  const TRACEHANDLE session = port_.StartSession(u"s");
  Reader reader(port_, u"s");
  reader.received.refuse = true;
  reader.Run();
  port_.Write(1);
  port_.Flush(session);
  reader.Join();
  EXPECT_EQ(reader.result, vp::kErrorCancelled);
  EXPECT_EQ(reader.received.count, 1u);
}

TEST_F(SessionTraceTest, ASessionThatDoesNotRunOrIsNotRealTimeCannotBeOpenedLive) {
  Received received;
  EXPECT_EQ(port_.OpenLive(u"none", &received), vp::kInvalidProcessTraceHandle);
  EXPECT_EQ(varnel::embedded::LastError(), vp::kErrorWmiInstanceNotFound);
  auto block = TracePort::SessionBlock(u"file");
  block->LogFileMode = vp::kEventTraceFileModeSequential;
  port_.StartSession(u"file", block);
  EXPECT_EQ(port_.OpenLive(u"file", &received), vp::kInvalidProcessTraceHandle);
  EXPECT_EQ(varnel::embedded::LastError(), vp::kErrorInvalidParameter);
}

TEST_F(SessionTraceTest, AReaderThatFallsBehindReadsFromTheFileWhatHasLeftTheRing) {
  const TRACEHANDLE session = port_.StartSession(u"s");
  Reader reader(port_, u"s");
  constexpr std::uint32_t kEvents = 3000;  // some hundred buffers, eight in the ring
  for (std::uint32_t i = 0; i < kEvents; ++i) port_.Write(i);
  reader.Run();
  port_.Flush(session);
  reader.WaitFor(kEvents);
  ExpectLines(reader.received, 0, kEvents);
  EXPECT_EQ(reader.received.lost, 0u);
}

TEST_F(SessionTraceTest, OnlyWhatTheFileHasOverwrittenTooCountsAsLostToAReader) {
  auto block = TracePort::SessionBlock(u"s");
  block->LogFileMode = vp::kEventTraceFileModeCircular | vp::kEventTraceRealTimeMode | vp::kEventTraceUseKbytesForSize;
  block->MaximumFileSize = 4 * 32;
  const TRACEHANDLE session = port_.StartSession(u"s", block);
  Reader reader(port_, u"s");
  constexpr std::uint32_t kEvents = 3000;
  for (std::uint32_t i = 0; i < kEvents; ++i) port_.Write(i);
  port_.Stop(session);
  reader.Run();
  reader.Join();
  const auto file = ReadTraceFile(port_.machine().FilePath("s.etl"));
  ASSERT_FALSE(file.events.empty());
  EXPECT_EQ(reader.received.events.size(), file.events.size());
  EXPECT_EQ(TracePort::LineOf(reader.received.events.front()), file.events.front().U32(10));
  EXPECT_EQ(TracePort::LineOf(reader.received.events.back()), kEvents - 1);
  EXPECT_EQ(reader.received.lost,
            static_cast<std::uint32_t>(
                file.sequences.size() == 31 ? *std::min_element(file.sequences.begin(), file.sequences.end()) - 1 : 0));
}

TEST_F(SessionTraceTest, LiveAndFileGiveTheSameEventsTheSameTimes) {
  const TRACEHANDLE session = port_.StartSession(u"s", LargeRing());
  Reader reader(port_, u"s");
  reader.Run();
  constexpr std::uint32_t kEvents = 5000;
  for (std::uint32_t i = 0; i < kEvents; ++i) port_.Write(i);
  port_.Stop(session);
  reader.Join();
  const auto file = ReadTraceFile(port_.machine().FilePath("s.etl"));
  ASSERT_EQ(file.events.size(), kEvents);
  ExpectLines(reader.received, 0, kEvents);
  for (std::uint32_t i = 0; i < kEvents; ++i) {
    ASSERT_EQ(reader.received.events[i].file_time, file.events[i].file_time);
  }
}

TEST_F(SessionTraceTest, TheFileOfARunningSessionShowsClosedBuffersOnly) {
  const TRACEHANDLE session = port_.StartSession(u"s");
  port_.Write(1);
  port_.Flush(session);
  port_.Write(2);
  Received first;
  EXPECT_EQ(port_.ReadWholeFile(u"C:\\s.etl", &first), 0u);
  ExpectLines(first, 1, 1);
  port_.Flush(session);
  Received second;
  EXPECT_EQ(port_.ReadWholeFile(u"C:\\s.etl", &second), 0u);
  ExpectLines(second, 1, 2);
}

TEST_F(SessionTraceTest, AnOpenerOfTheFileClosesWhatIsOverdue) {
  port_.StartSession(u"s");
  port_.Write(1);
  std::this_thread::sleep_for(std::chrono::milliseconds(1050));
  Received received;
  EXPECT_EQ(port_.ReadWholeFile(u"C:\\s.etl", &received), 0u);
  ExpectLines(received, 1, 1);
}

TEST_F(SessionTraceTest, AQueryClosesWhatIsOverdue) {
  const TRACEHANDLE session = port_.StartSession(u"s");
  port_.Write(1);
  std::this_thread::sleep_for(std::chrono::milliseconds(1050));
  Block block;
  port_.trace().ControlTraceW(session, nullptr, block.get(), vp::kEventTraceControlQuery);
  EXPECT_EQ(block->BuffersWritten, 2u);
}

TEST_F(SessionTraceTest, ARunningCircularFileIsReadFromItsOldestBuffer) {
  auto block = TracePort::SessionBlock(u"s");
  block->LogFileMode = vp::kEventTraceFileModeCircular | vp::kEventTraceUseKbytesForSize;
  block->MaximumFileSize = 4 * 16;
  const TRACEHANDLE session = port_.StartSession(u"s", block);
  for (std::uint32_t i = 0; i < 2000; ++i) port_.Write(i);
  port_.Flush(session);
  Received received;
  EXPECT_EQ(port_.ReadWholeFile(u"C:\\s.etl", &received), 0u);
  ASSERT_FALSE(received.events.empty());
  const std::uint32_t oldest = TracePort::LineOf(received.events.front());
  EXPECT_GT(oldest, 0u);
  ExpectLines(received, oldest, 2000 - oldest);
  port_.Stop(session);
  EXPECT_EQ(ReadTraceFile(port_.machine().FilePath("s.etl")).events.size(), 2000 - oldest);
}

TEST_F(SessionTraceTest, SeveralLiveReadersEachGetEverything) {
  const TRACEHANDLE session = port_.StartSession(u"s", LargeRing());
  Reader one(port_, u"s");
  Reader two(port_, u"s");
  one.Run();
  two.Run();
  for (std::uint32_t i = 0; i < 1000; ++i) port_.Write(i);
  port_.Stop(session);
  one.Join();
  two.Join();
  ExpectLines(one.received, 0, 1000);
  ExpectLines(two.received, 0, 1000);
}

TEST_F(SessionTraceTest, ALiveReaderOfASessionWithoutAFileGetsWhatTheRingHolds) {
  auto block = TracePort::SessionBlock(u"s");
  block->LogFileMode = vp::kEventTraceRealTimeMode;
  block->LogFileNameOffset = 0;
  const TRACEHANDLE session = port_.StartSession(u"s", block);
  Reader reader(port_, u"s");
  for (std::uint32_t i = 0; i < 20; ++i) port_.Write(i);
  reader.Run();
  port_.Stop(session);
  reader.Join();
  ExpectLines(reader.received, 0, 20);
}

TEST_F(SessionTraceTest, ATraceThatIsBeingProcessedCannotBeProcessedTwice) {
  port_.StartSession(u"s");
  Reader reader(port_, u"s");
  reader.Run();
  port_.Write(1);
  reader.WaitFor(1);
  EXPECT_EQ(port_.Process(reader.handle()), vp::kErrorInvalidHandle);
}

}  // namespace

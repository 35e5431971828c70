#include "platform/embedded/trace/session_control.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "tests/support/trace_port_fixture.h"

namespace {

using varnel::platform::EVENT_TRACE_PROPERTIES;
using varnel::platform::TRACEHANDLE;
using varnel::testing::Block;
using varnel::testing::kTestProvider;
using varnel::testing::ReadTraceFile;
using varnel::testing::TracePort;
namespace vp = varnel::platform;

constexpr std::uint32_t kFixed = sizeof(EVENT_TRACE_PROPERTIES);

class SessionControlTest : public ::testing::Test {
 protected:
  std::uint32_t Start(const std::u16string& name, Block& block, TRACEHANDLE* handle) {
    return port_.trace().StartTraceW(handle, name.c_str(), block.get());
  }
  std::uint32_t Query(TRACEHANDLE handle, const char16_t* name, Block& block) {
    return port_.trace().ControlTraceW(handle, name, block.get(), vp::kEventTraceControlQuery);
  }
  TracePort port_;
};

TEST_F(SessionControlTest, AStartFillsInTheBlock) {
  auto block = TracePort::SessionBlock(u"one");
  TRACEHANDLE handle = 0;
  ASSERT_EQ(Start(u"one", block, &handle), 0u);
  EXPECT_NE(handle, 0u);
  EXPECT_EQ(block->Wnode.HistoricalContext, handle);
  EXPECT_EQ(block->NumberOfBuffers, 8u);
  EXPECT_EQ(block->FreeBuffers, 7u);
  EXPECT_EQ(block->BuffersWritten, 1u);
  EXPECT_EQ(block.Text(block->LoggerNameOffset), u"one");
  EXPECT_EQ(block.Text(block->LogFileNameOffset), u"C:\\one.etl");
}

TEST_F(SessionControlTest, ASecondStartOfTheNameAnswers183WhateverTheCase) {
  port_.StartSession(u"One");
  auto block = TracePort::SessionBlock(u"oNE");
  block.PutText(block->LogFileNameOffset, u"C:\\other.etl");
  TRACEHANDLE handle = 5;
  EXPECT_EQ(Start(u"oNE", block, &handle), vp::kErrorAlreadyExists);
  EXPECT_EQ(handle, 0u);
}

TEST_F(SessionControlTest, AFileThatAnotherSessionWritesAnswers32) {
  port_.StartSession(u"one");
  auto block = TracePort::SessionBlock(u"two");
  block.PutText(block->LogFileNameOffset, u"C:\\one.etl");
  TRACEHANDLE handle = 0;
  EXPECT_EQ(Start(u"two", block, &handle), vp::kErrorSharingViolation);
}

TEST_F(SessionControlTest, BadArgumentsOfAStartAreRefused) {
  TRACEHANDLE handle = 0;
  auto good = TracePort::SessionBlock(u"x");
  EXPECT_EQ(port_.trace().StartTraceW(nullptr, u"x", good.get()), vp::kErrorInvalidParameter);
  EXPECT_EQ(port_.trace().StartTraceW(&handle, nullptr, good.get()), vp::kErrorInvalidParameter);
  EXPECT_EQ(port_.trace().StartTraceW(&handle, u"", good.get()), vp::kErrorInvalidParameter);
  EXPECT_EQ(port_.trace().StartTraceW(&handle, u"x", nullptr), vp::kErrorInvalidParameter);

  const struct {
    const char* what;
    void (*spoil)(Block&);
    std::uint32_t expected;
  } rows[] = {
      {"block smaller than its fixed part", [](Block& b) { b->Wnode.BufferSize = kFixed - 1; }, vp::kErrorBadLength},
      {"no room for the name", [](Block& b) { b->LoggerNameOffset = 4096; }, vp::kErrorBadLength},
      {"name offset inside the fixed part", [](Block& b) { b->LoggerNameOffset = 8; }, vp::kErrorBadLength},
      {"file offset outside the block", [](Block& b) { b->LogFileNameOffset = 5000; }, vp::kErrorInvalidParameter},
      {"circular and sequential at once", [](Block& b) { b->LogFileMode |= 3; }, vp::kErrorInvalidParameter},
      {"circular without a size", [](Block& b) { b->LogFileMode = 0x102; }, vp::kErrorInvalidParameter},
      {"neither file nor real time",
       [](Block& b) {
         b->LogFileMode = 0;
         b->LogFileNameOffset = 0;
       },
       vp::kErrorInvalidParameter},
      {"a path that is none", [](Block& b) { b.PutText(b->LogFileNameOffset, u"nonsense"); }, vp::kErrorBadPathname},
      {"a drive that is not there", [](Block& b) { b.PutText(b->LogFileNameOffset, u"D:\\x.etl"); },
       vp::kErrorPathNotFound},
      {"a folder that is not there", [](Block& b) { b.PutText(b->LogFileNameOffset, u"C:\\no\\x.etl"); },
       vp::kErrorPathNotFound},
  };
  for (const auto& row : rows) {
    auto block = TracePort::SessionBlock(u"x");
    row.spoil(block);
    EXPECT_EQ(Start(u"x", block, &handle), row.expected) << row.what;
    Block query;
    EXPECT_EQ(Query(0, u"x", query), vp::kErrorWmiInstanceNotFound) << row.what;
  }
}

TEST_F(SessionControlTest, SizesOutsideTheBoundsAreBroughtInto) {
  auto block = TracePort::SessionBlock(u"x");
  block->BufferSize = 1;
  block->MinimumBuffers = 0;
  block->MaximumBuffers = 0;
  TRACEHANDLE handle = 0;
  ASSERT_EQ(Start(u"x", block, &handle), 0u);
  EXPECT_EQ(block->BufferSize, 4u);
  EXPECT_EQ(block->MinimumBuffers, 2u);
  EXPECT_EQ(block->MaximumBuffers, 22u);
}

TEST_F(SessionControlTest, AQueryFillsInTheFileNameWhereNoRoomWasAskedForIt) {
  port_.StartSession(u"one");
  Block block(1162);
  block->LoggerNameOffset = 120;
  ASSERT_EQ(Query(0, u"one", block), 0u);
  EXPECT_NE(block->LogFileNameOffset, 0u);
  EXPECT_EQ(block.Text(block->LogFileNameOffset), u"C:\\one.etl");
  EXPECT_EQ(block.Text(120), u"one");
}

TEST_F(SessionControlTest, AQueryWhoseTextsDoNotFitAnswers234) {
  port_.StartSession(u"one");
  Block block(kFixed + 8 + 2 * 10);
  block->LoggerNameOffset = kFixed;
  EXPECT_EQ(Query(0, u"one", block), vp::kErrorMoreData);
  Block larger(kFixed + 8 + 2 * 11);
  larger->LoggerNameOffset = kFixed;
  EXPECT_EQ(Query(0, u"one", larger), 0u);
}

TEST_F(SessionControlTest, AQueryOfASessionWithoutAFileLeavesTheFileOffsetAtZero) {
  auto block = TracePort::SessionBlock(u"live");
  block->LogFileMode = vp::kEventTraceRealTimeMode;
  block->LogFileNameOffset = 0;
  TRACEHANDLE handle = 0;
  ASSERT_EQ(Start(u"live", block, &handle), 0u);
  Block query;
  query->LoggerNameOffset = 120;
  ASSERT_EQ(Query(0, u"live", query), 0u);
  EXPECT_EQ(query->LogFileNameOffset, 0u);
}

TEST_F(SessionControlTest, AQueryFindsTheSessionByHandleByLoggerIdAndByNameWithoutCase) {
  const TRACEHANDLE handle = port_.StartSession(u"One");
  for (const TRACEHANDLE by : {handle, handle & 0xFFFF}) {
    Block block;
    EXPECT_EQ(Query(by, nullptr, block), 0u);
    EXPECT_EQ(block->Wnode.HistoricalContext, handle);
  }
  Block block;
  EXPECT_EQ(Query(0, u"oNe", block), 0u);
}

TEST_F(SessionControlTest, ASessionThatDoesNotRunAnswers4201ToEveryControl) {
  Block block;
  for (const std::uint32_t code : {0u, 1u, 2u, 3u}) {
    EXPECT_EQ(port_.trace().ControlTraceW(0, u"none", block.get(), code), vp::kErrorWmiInstanceNotFound) << code;
    EXPECT_EQ(port_.trace().ControlTraceW(77, nullptr, block.get(), code), vp::kErrorWmiInstanceNotFound) << code;
  }
}

TEST_F(SessionControlTest, BadArgumentsOfAControlAreRefused) {
  Block block;
  const TRACEHANDLE handle = port_.StartSession(u"one");
  EXPECT_EQ(port_.trace().ControlTraceW(handle, nullptr, block.get(), 9), vp::kErrorInvalidParameter);
  EXPECT_EQ(port_.trace().ControlTraceW(handle, nullptr, nullptr, vp::kEventTraceControlQuery),
            vp::kErrorInvalidParameter);
  EXPECT_EQ(port_.trace().ControlTraceW(0, nullptr, block.get(), vp::kEventTraceControlStop),
            vp::kErrorInvalidParameter);
  block->Wnode.BufferSize = 10;
  EXPECT_EQ(port_.trace().ControlTraceW(handle, nullptr, block.get(), vp::kEventTraceControlStop), vp::kErrorBadLength);
}

TEST_F(SessionControlTest, AStopTakesANullBlockAndTheSessionIsGone) {
  const TRACEHANDLE handle = port_.StartSession(u"one");
  EXPECT_EQ(port_.Stop(handle), 0u);
  EXPECT_EQ(port_.Stop(handle), vp::kErrorWmiInstanceNotFound);
  Block block;
  EXPECT_EQ(Query(0, u"one", block), vp::kErrorWmiInstanceNotFound);
}

TEST_F(SessionControlTest, AStopWithABlockTellsTheFinalCounts) {
  const TRACEHANDLE handle = port_.StartSession(u"one");
  for (std::uint32_t i = 0; i < 100; ++i) port_.Write(i);
  Block block;
  ASSERT_EQ(port_.trace().ControlTraceW(handle, nullptr, block.get(), vp::kEventTraceControlStop), 0u);
  const auto file = ReadTraceFile(port_.machine().FilePath("one.etl"));
  EXPECT_EQ(block->BuffersWritten, file.buffers_written);
  EXPECT_EQ(file.size, std::uint64_t{file.buffers_written} * 4096);
}

TEST_F(SessionControlTest, AFlushWritesOutWhatIsInTheOpenBuffer) {
  const TRACEHANDLE handle = port_.StartSession(u"one");
  port_.Write(1);
  EXPECT_EQ(ReadTraceFile(port_.machine().FilePath("one.etl")).events.size(), 0u);
  EXPECT_EQ(port_.Flush(handle), 0u);
  EXPECT_EQ(ReadTraceFile(port_.machine().FilePath("one.etl")).events.size(), 1u);
  EXPECT_EQ(port_.Flush(handle), 0u);
  Block block;
  Query(handle, nullptr, block);
  EXPECT_EQ(block->BuffersWritten, 2u) << "an empty buffer is not written";
}

TEST_F(SessionControlTest, AnUpdateRefusesMoreBuffersThanTheRingWasMadeWith) {
  const auto handle = port_.StartSession(u"one");
  const auto update = [&](std::uint32_t maximum) {
    auto block = TracePort::SessionBlock(u"one");
    block->MaximumBuffers = maximum;
    block->FlushTimer = 7;
    return port_.trace().ControlTraceW(handle, nullptr, block.get(), vp::kEventTraceControlUpdate);
  };
  EXPECT_EQ(update(9), vp::kErrorNotSupported);
  auto block = TracePort::SessionBlock(u"one");
  ASSERT_EQ(Query(handle, nullptr, block), 0u);
  EXPECT_EQ(block->FlushTimer, 1u) << "nothing of a refused update is done";
  EXPECT_EQ(update(8), 0u);
  EXPECT_EQ(update(0), 0u);
}

TEST_F(SessionControlTest, AnUpdateChangesTheFlushTimerAndRefusesAnotherFile) {
  const TRACEHANDLE handle = port_.StartSession(u"one");
  Block block;
  block->FlushTimer = 7;
  ASSERT_EQ(port_.trace().ControlTraceW(handle, nullptr, block.get(), vp::kEventTraceControlUpdate), 0u);
  EXPECT_EQ(block->FlushTimer, 7u);
  Block other;
  other->LogFileNameOffset = 1000;
  other.PutText(1000, u"C:\\elsewhere.etl");
  EXPECT_EQ(port_.trace().ControlTraceW(handle, nullptr, other.get(), vp::kEventTraceControlUpdate),
            vp::kErrorNotSupported);
}

TEST_F(SessionControlTest, AFileOfAnEarlierSessionIsBegunAnew) {
  TRACEHANDLE handle = port_.StartSession(u"one");
  for (std::uint32_t i = 0; i < 500; ++i) port_.Write(i);
  port_.Stop(handle);
  handle = port_.StartSession(u"one");
  port_.Write(42);
  port_.Stop(handle);
  EXPECT_EQ(ReadTraceFile(port_.machine().FilePath("one.etl")).events.size(), 1u);
}

TEST_F(SessionControlTest, EnablesAreRefusedForBadArgumentsAndForANinthSession) {
  auto& trace = port_.trace();
  EXPECT_EQ(trace.EnableTraceEx2(0, &kTestProvider, 1, 5, 0, 0, 0, nullptr), vp::kErrorInvalidHandle);
  EXPECT_EQ(trace.EnableTraceEx2(99, &kTestProvider, 1, 5, 0, 0, 0, nullptr), vp::kErrorWmiInstanceNotFound);
  for (int i = 0; i < 8; ++i) {
    std::u16string name = u"s";
    name.push_back(static_cast<char16_t>(u'0' + i));
    port_.StartSession(name);
  }
  auto block = TracePort::SessionBlock(u"ninth");
  TRACEHANDLE ninth = 0;
  ASSERT_EQ(Start(u"ninth", block, &ninth), 0u);
  EXPECT_EQ(trace.EnableTraceEx2(ninth, nullptr, 1, 5, 0, 0, 0, nullptr), vp::kErrorInvalidParameter);
  EXPECT_EQ(trace.EnableTraceEx2(ninth, &kTestProvider, 9, 5, 0, 0, 0, nullptr), vp::kErrorInvalidParameter);
  EXPECT_EQ(trace.EnableTraceEx2(ninth, &kTestProvider, 1, 5, 0, 0, 0, nullptr), 1450u);
}

TEST_F(SessionControlTest, ADisabledProviderWritesNothingMore) {
  const TRACEHANDLE handle = port_.StartSession(u"one");
  port_.Write(1);
  EXPECT_EQ(port_.trace().EnableTraceEx2(handle, &kTestProvider, 0, 0, 0, 0, 0, nullptr), 0u);
  EXPECT_EQ(varnel_enabled(port_.provider()), 0);
  port_.Write(2);
  port_.Stop(handle);
  EXPECT_EQ(ReadTraceFile(port_.machine().FilePath("one.etl")).events.size(), 1u);
}

TEST_F(SessionControlTest, ARestartOfTheHostEndsASession) {
  const TRACEHANDLE handle = port_.StartSession(u"one");
  port_.Write(1);
  port_.Flush(handle);
  ::setenv("VARNEL_HOST_BOOT_ID", "another", 1);
  Block block;
  EXPECT_EQ(Query(handle, nullptr, block), vp::kErrorWmiInstanceNotFound);
  const auto before = ReadTraceFile(port_.machine().FilePath("one.etl"));
  const TRACEHANDLE next = port_.StartSession(u"two");
  EXPECT_NE(next, handle);
  EXPECT_EQ(port_.Stop(handle), vp::kErrorWmiInstanceNotFound);
  port_.Stop(next);
  ::unsetenv("VARNEL_HOST_BOOT_ID");
  EXPECT_EQ(before.events.size(), 1u) << "the file is read as far as it goes";
  EXPECT_EQ(before.end_time, 0);
}

TEST_F(SessionControlTest, MachineTimeNeverRunsBack) {
  std::int64_t last = 0;
  for (int i = 0; i < 3; ++i) {
    const TRACEHANDLE handle = port_.StartSession(u"one");
    // An ended session handed out a time far ahead of the host's clock.
    port_.machine().Store().ChangeEnables(
        [&](varnel::embedded::ring::EnableTable& table) { table.RaiseLastTime(last + 36'000'000'000); });
    port_.Stop(handle);
    const auto file = ReadTraceFile(port_.machine().FilePath("one.etl"));
    EXPECT_GT(file.start_time, last);
    last = file.start_time;
  }
  EXPECT_GT(last, static_cast<std::int64_t>(varnel::embedded::FileTimeNow()));
}

}  // namespace

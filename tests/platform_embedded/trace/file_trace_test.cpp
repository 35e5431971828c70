#include "platform/embedded/trace/file_trace.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/trace/machine_sessions.h"
#include "platform/unpack.h"
#include "tests/support/trace_port_fixture.h"

namespace {

using varnel::platform::TRACEHANDLE;
using varnel::testing::ReadTraceFile;
using varnel::testing::Received;
using varnel::testing::TracePort;
namespace vp = varnel::platform;

class FileTraceTest : public ::testing::Test {
 protected:
  /// A finished file C:\done.etl with `count` events.
  void MakeFile(std::uint32_t count) {
    const TRACEHANDLE handle = port_.StartSession(u"done");
    for (std::uint32_t i = 0; i < count; ++i) port_.Write(i);
    port_.Stop(handle);
  }
  TracePort port_;
};

TEST_F(FileTraceTest, GivesEveryEventInOrderAndEndsWithZero) {
  MakeFile(1000);
  Received received;
  EXPECT_EQ(port_.ReadWholeFile(u"C:\\done.etl", &received), 0u);
  ASSERT_EQ(received.events.size(), 1000u);
  for (std::uint32_t i = 0; i < 1000; ++i) ASSERT_EQ(TracePort::LineOf(received.events[i]), i);
  const auto file = ReadTraceFile(port_.machine().FilePath("done.etl"));
  EXPECT_EQ(received.buffers.load(), file.buffers_written);
  for (std::uint32_t i = 0; i < 1000; ++i) ASSERT_EQ(received.events[i].file_time, file.events[i].file_time);
}

TEST_F(FileTraceTest, RawTimestampsStayInTheSessionsClock) {
  MakeFile(1);
  Received received;
  const TRACEHANDLE handle = port_.OpenFile(u"C:\\done.etl", &received, vp::kProcessTraceModeRawTimestamp);
  EXPECT_EQ(port_.Process(handle), 0u);
  const auto file = ReadTraceFile(port_.machine().FilePath("done.etl"));
  ASSERT_EQ(received.events.size(), 1u);
  EXPECT_EQ(received.events[0].file_time, file.events[0].stamp);
}

TEST_F(FileTraceTest, ABufferCallbackThatSaysNoEndsItWith1223) {
  MakeFile(1000);
  Received received;
  received.refuse = true;
  EXPECT_EQ(port_.ReadWholeFile(u"C:\\done.etl", &received), vp::kErrorCancelled);
  EXPECT_LT(received.events.size(), 100u);
}

TEST_F(FileTraceTest, CloseTraceFromACallbackEndsItWithZeroAtTheNextBuffer) {
  MakeFile(1000);
  Received received;
  TRACEHANDLE handle = 0;
  std::uint32_t closed = 0;
  received.on_event = [&] {
    if (received.count == 1) closed = port_.trace().CloseTrace(handle);
  };
  handle = port_.OpenFile(u"C:\\done.etl", &received);
  EXPECT_EQ(port_.Process(handle), 0u);
  EXPECT_EQ(closed, vp::kErrorCtxClosePending);
  EXPECT_LT(received.events.size(), 100u);
  EXPECT_EQ(port_.trace().CloseTrace(handle), vp::kErrorInvalidHandle);
}

TEST_F(FileTraceTest, WhatCannotBeOpenedSetsTheLastError) {
  std::ofstream(port_.machine().FilePath("text.etl")) << "this is no trace file";
  std::ofstream(port_.machine().FilePath("empty.etl"));
  std::filesystem::create_directory(port_.machine().FilePath("folder"));
  const struct {
    const char16_t* path;
    std::uint32_t error;
  } rows[] = {{u"C:\\missing.etl", vp::kErrorFileNotFound}, {u"D:\\x.etl", vp::kErrorPathNotFound},
              {u"C:\\text.etl", vp::kErrorInvalidData},     {u"C:\\empty.etl", vp::kErrorInvalidData},
              {u"C:\\folder", vp::kErrorAccessDenied},      {u"", vp::kErrorInvalidParameter}};
  for (const auto& row : rows) {
    Received received;
    EXPECT_EQ(port_.OpenFile(row.path, &received), vp::kInvalidProcessTraceHandle);
    EXPECT_EQ(varnel::embedded::LastError(), row.error);
  }
}

TEST_F(FileTraceTest, BadHandlesAndCountsAreRefused) {
  MakeFile(1);
  auto& trace = port_.trace();
  const TRACEHANDLE all_ones = vp::kInvalidProcessTraceHandle;
  EXPECT_EQ(trace.ProcessTrace(&all_ones, 1, nullptr, nullptr), vp::kErrorInvalidHandle);
  EXPECT_EQ(trace.ProcessTrace(&all_ones, 0, nullptr, nullptr), vp::kErrorInvalidParameter);
  EXPECT_EQ(trace.ProcessTrace(nullptr, 1, nullptr, nullptr), vp::kErrorInvalidParameter);
  EXPECT_EQ(trace.CloseTrace(all_ones), vp::kErrorInvalidHandle);
  Received received;
  const TRACEHANDLE handle = port_.OpenFile(u"C:\\done.etl", &received);
  EXPECT_EQ(trace.CloseTrace(handle), 0u);
  EXPECT_EQ(trace.ProcessTrace(&handle, 1, nullptr, nullptr), vp::kErrorInvalidHandle);
}

TEST_F(FileTraceTest, TheOpenerLearnsTheLogHeader) {
  MakeFile(10);
  vp::EVENT_TRACE_LOGFILEW logfile = {};
  logfile.LogFileName = u"C:\\done.etl";
  logfile.ProcessTraceMode = vp::kProcessTraceModeEventRecord;
  logfile.EventRecordCallback = [](vp::EVENT_RECORD*) {};
  const TRACEHANDLE handle = port_.trace().OpenTraceW(&logfile);
  ASSERT_NE(handle, vp::kInvalidProcessTraceHandle);
  EXPECT_EQ(logfile.LogfileHeader.BufferSize, 4096u);
  EXPECT_EQ(logfile.LogfileHeader.PerfFreq, 10'000'000);
  EXPECT_EQ(logfile.LogfileHeader.ReservedFlags, 1u);
  EXPECT_EQ(std::u16string(logfile.LogfileHeader.LoggerName), u"done");
  EXPECT_EQ(std::u16string(logfile.LogfileHeader.LogFileName), u"C:\\done.etl");
  EXPECT_EQ(logfile.LogfileHeader.BuffersWritten, 2u);
  EXPECT_EQ(port_.Process(handle), 0u) << "no buffer callback is needed";
  port_.trace().CloseTrace(handle);
}

TEST_F(FileTraceTest, AFileCutShortIsReadAsFarAsItGoes) {
  MakeFile(1000);
  const auto path = port_.machine().FilePath("done.etl");
  std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2 + 1000);
  Received received;
  EXPECT_EQ(port_.ReadWholeFile(u"C:\\done.etl", &received), 0u);
  EXPECT_GT(received.events.size(), 450u);
  EXPECT_LT(received.events.size(), 1000u);
}

/// Counts what a consumer gets, and looks at every byte of it.
struct Tally {
  std::uint64_t events = 0;
  std::uint64_t bytes = 0;
  std::int64_t last_time = 0;
  bool in_order = true;
};

TEST_F(FileTraceTest, RealFilesGiveAsManyEventsAsTheirReaderAndInTimeOrder) {
  const std::filesystem::path samples = std::filesystem::path(VARNEL_SAMPLES_DIR) / "etl";
  if (!std::filesystem::exists(samples)) GTEST_SKIP() << "no sample files";
  varnel::embedded::EmbeddedTrace trace(
      varnel::embedded::TraceOptionsOf(varnel::embedded::Machine::Open(port_.machine().root()).value()));
  int files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(samples)) {
    if (entry.path().extension() != ".etl" || entry.file_size() > 8 * 1024 * 1024) continue;
    std::filesystem::copy_file(entry.path(), port_.machine().FilePath("sample.etl"),
                               std::filesystem::copy_options::overwrite_existing);
    std::filesystem::permissions(port_.machine().FilePath("sample.etl"), std::filesystem::perms::owner_all);
    varnel::embedded::HostFileSource source(
        varnel::embedded::ring::UniqueFd(::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC)));
    varnel::formats::EtlReadOptions options;
    options.unpack = varnel::platform::Unpack;
    auto reader = varnel::formats::EtlReader::Open(source, options);
    ASSERT_TRUE(reader.ok()) << entry.path();
    while (reader.value()->Next() != nullptr) {
    }
    Tally tally;
    vp::EVENT_TRACE_LOGFILEW logfile = {};
    logfile.LogFileName = u"C:\\sample.etl";
    logfile.ProcessTraceMode = vp::kProcessTraceModeEventRecord;
    logfile.Context = &tally;
    logfile.EventRecordCallback = [](vp::EVENT_RECORD* record) {
      auto* counted = static_cast<Tally*>(record->UserContext);
      // The log header's own event comes first, whatever its stamp.
      const std::int64_t time = record->EventHeader.TimeStamp;
      if (counted->events > 1 && time < counted->last_time) counted->in_order = false;
      counted->last_time = time;
      ++counted->events;
      for (std::uint16_t i = 0; i < record->UserDataLength; ++i) {
        counted->bytes += static_cast<const unsigned char*>(record->UserData)[i] != 0 ? 1 : 0;
      }
    };
    const TRACEHANDLE handle = trace.OpenTraceW(&logfile);
    ASSERT_NE(handle, vp::kInvalidProcessTraceHandle) << entry.path();
    EXPECT_EQ(trace.ProcessTrace(&handle, 1, nullptr, nullptr), 0u);
    trace.CloseTrace(handle);
    EXPECT_EQ(tally.events, reader.value()->account().events) << entry.path();
    EXPECT_TRUE(tally.in_order || reader.value()->index().segments.size() > 1) << entry.path();
    ++files;
  }
  EXPECT_GT(files, 5);
}

}  // namespace

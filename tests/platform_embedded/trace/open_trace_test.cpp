#include "platform/embedded/trace/open_trace.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using varnel::embedded::OpenTrace;
using varnel::formats::EtlEventView;
using varnel::formats::EtlLogHeader;
namespace vp = varnel::platform;

// What the callbacks saw; they have no context of their own before an event comes.
struct Seen {
  std::vector<std::uint16_t> events;
  std::vector<vp::EVENT_TRACE_LOGFILEW> buffers;
  void* context = nullptr;
  std::uint32_t answer = 1;
};
Seen* seen = nullptr;

void OnEvent(vp::EVENT_RECORD* record) {
  seen->events.push_back(record->EventHeader.EventDescriptor.Id);
  seen->context = record->UserContext;
}
std::uint32_t OnBuffer(vp::EVENT_TRACE_LOGFILEW* logfile) {
  seen->buffers.push_back(*logfile);
  return seen->answer;
}

// A trace whose source is the test.
class GivenTrace : public OpenTrace {
 public:
  using OpenTrace::OpenTrace;

  std::uint32_t Process() override { return 0; }
  void Wake() override { woken = true; }

  bool is_closing() const { return closing(); }
  const vp::EVENT_TRACE_LOGFILEW& logfile() const { return logfile_; }
  void Describe(const EtlLogHeader& header) { DescribeLog(header); }
  void Give(const EtlEventView& event) { Deliver(event); }
  bool EndBuffer(std::uint32_t filled, std::uint64_t lost) { return BufferDone(filled, lost); }

  bool woken = false;
};

class OpenTraceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    seen = &seen_;
    logfile_.EventRecordCallback = &OnEvent;
    logfile_.BufferCallback = &OnBuffer;
    logfile_.Context = &seen_;
  }

  static EtlEventView Event(std::uint16_t id, std::int64_t stamp, std::int64_t file_time) {
    EtlEventView event;
    event.header_type = varnel::formats::kEtlEvent64;
    event.id = id;
    event.stamp = stamp;
    event.file_time = file_time;
    return event;
  }

  Seen seen_;
  vp::EVENT_TRACE_LOGFILEW logfile_ = {};
};

TEST_F(OpenTraceTest, TheCallersNamesAreCopied) {
  std::u16string name = u"session";
  logfile_.LoggerName = name.data();
  const GivenTrace trace(logfile_);
  name = u"another";
  EXPECT_EQ(std::u16string(trace.logfile().LoggerName), u"session");
  EXPECT_EQ(trace.logfile().LogFileName, nullptr);
}

TEST_F(OpenTraceTest, TheCallersCountsDoNotCount) {
  logfile_.BuffersRead = 7;
  logfile_.EventsLost = 8;
  logfile_.Filled = 9;
  const GivenTrace trace(logfile_);
  EXPECT_EQ(trace.logfile().BuffersRead, 0u);
  EXPECT_EQ(trace.logfile().EventsLost, 0u);
  EXPECT_EQ(trace.logfile().Filled, 0u);
}

TEST_F(OpenTraceTest, CloseWakesAWaiterAndStays) {
  GivenTrace trace(logfile_);
  EXPECT_FALSE(trace.is_closing());
  trace.Close();
  EXPECT_TRUE(trace.woken);
  EXPECT_TRUE(trace.is_closing());
}

TEST_F(OpenTraceTest, OneProcessTraceAtATime) {
  GivenTrace trace(logfile_);
  EXPECT_FALSE(trace.busy());
  EXPECT_TRUE(trace.Begin());
  EXPECT_TRUE(trace.busy());
  EXPECT_FALSE(trace.Begin());
  trace.End();
  EXPECT_TRUE(trace.Begin());
}

TEST_F(OpenTraceTest, EventsComeWithTheCallersContextAndMoveTheTime) {
  GivenTrace trace(logfile_);
  trace.Give(Event(5, 100, 2000));
  trace.Give(Event(6, 101, 2001));
  EXPECT_EQ(seen_.events, (std::vector<std::uint16_t>{5, 6}));
  EXPECT_EQ(seen_.context, &seen_);
  EXPECT_EQ(trace.logfile().CurrentTime, 2001);
}

TEST_F(OpenTraceTest, EachBufferIsCountedAndToldWithItsFillAndTheLosses) {
  GivenTrace trace(logfile_);
  EXPECT_TRUE(trace.EndBuffer(300, 2));
  EXPECT_TRUE(trace.EndBuffer(400, 0x1'0000'0005));
  ASSERT_EQ(seen_.buffers.size(), 2u);
  EXPECT_EQ(seen_.buffers[0].BuffersRead, 1u);
  EXPECT_EQ(seen_.buffers[0].Filled, 300u);
  EXPECT_EQ(seen_.buffers[0].EventsLost, 2u);
  EXPECT_EQ(seen_.buffers[1].BuffersRead, 2u);
  EXPECT_EQ(seen_.buffers[1].Filled, 400u);
  EXPECT_EQ(seen_.buffers[1].EventsLost, 0xFFFFFFFFu) << "what the field can't hold is told as its most";
  EXPECT_EQ(seen_.buffers[1].Context, &seen_);
}

TEST_F(OpenTraceTest, ABufferCallbacksNoIsHandedOnAndNoCallbackIsAYes) {
  seen_.answer = 0;
  GivenTrace trace(logfile_);
  EXPECT_FALSE(trace.EndBuffer(1, 0));
  logfile_.BufferCallback = nullptr;
  GivenTrace silent(logfile_);
  EXPECT_TRUE(silent.EndBuffer(1, 0));
  EXPECT_EQ(silent.logfile().BuffersRead, 1u);
}

TEST_F(OpenTraceTest, TheCallerGetsEachFieldOfTheLogsHeader) {
  EtlLogHeader header;
  header.buffer_size = 4096;
  header.os_major = 10;
  header.os_minor = 1;
  header.layout_major = 2;
  header.layout_minor = 5;
  header.provider_version = 19045;
  header.processors = 12;
  header.end_time = 500;
  header.timer_resolution = 156250;
  header.maximum_file_size = 8;
  header.log_file_mode = 0x18000102;
  header.buffers_written = 77;
  header.start_buffers = 1;
  header.pointer_size = 8;
  header.events_lost = 3;
  header.cpu_speed_mhz = 2600;
  header.boot_time = 100;
  header.perf_freq = 10'000'000;
  header.start_time = 400;
  header.clock_type = 1;
  header.buffers_lost = 2;
  header.time_zone[0] = 60;
  header.logger_name = u"logger";
  header.log_file_name = u"C:\\log.etl";
  GivenTrace trace(logfile_);
  trace.Describe(header);
  header.logger_name = u"changed";
  logfile_.BuffersRead = 9;
  logfile_.EventsLost = 9;
  logfile_.IsKernelTrace = 9;
  trace.FillCaller(&logfile_);
  const vp::TRACE_LOGFILE_HEADER& told = logfile_.LogfileHeader;
  EXPECT_EQ(logfile_.BufferSize, 4096u);
  EXPECT_EQ(told.BufferSize, 4096u);
  EXPECT_EQ(told.Version, 0x0502010Au);
  EXPECT_EQ(told.ProviderVersion, 19045u);
  EXPECT_EQ(told.NumberOfProcessors, 12u);
  EXPECT_EQ(told.EndTime, 500);
  EXPECT_EQ(told.TimerResolution, 156250u);
  EXPECT_EQ(told.MaximumFileSize, 8u);
  EXPECT_EQ(told.LogFileMode, 0x18000102u);
  EXPECT_EQ(told.BuffersWritten, 77u);
  EXPECT_EQ(told.StartBuffers, 1u);
  EXPECT_EQ(told.PointerSize, 8u);
  EXPECT_EQ(told.EventsLost, 3u);
  EXPECT_EQ(told.CpuSpeedInMHz, 2600u);
  EXPECT_EQ(told.BootTime, 100);
  EXPECT_EQ(told.PerfFreq, 10'000'000);
  EXPECT_EQ(told.StartTime, 400);
  EXPECT_EQ(told.ReservedFlags, 1u);
  EXPECT_EQ(told.BuffersLost, 2u);
  EXPECT_EQ(told.TimeZone.Bias, 60);
  EXPECT_EQ(std::u16string(told.LoggerName), u"logger");
  EXPECT_EQ(std::u16string(told.LogFileName), u"C:\\log.etl");
  EXPECT_EQ(logfile_.BuffersRead, 0u);
  EXPECT_EQ(logfile_.EventsLost, 0u);
  EXPECT_EQ(logfile_.IsKernelTrace, 0u);
}

TEST_F(OpenTraceTest, StampsStayRawWhereTheCallerAskedForThem) {
  static std::int64_t stamp;
  logfile_.EventRecordCallback = [](vp::EVENT_RECORD* record) { stamp = record->EventHeader.TimeStamp; };
  GivenTrace converted(logfile_);
  converted.Give(Event(1, 100, 2000));
  EXPECT_EQ(stamp, 2000);
  logfile_.ProcessTraceMode = vp::kProcessTraceModeRawTimestamp;
  GivenTrace raw(logfile_);
  raw.Give(Event(1, 100, 2000));
  EXPECT_EQ(stamp, 100);
}

}  // namespace

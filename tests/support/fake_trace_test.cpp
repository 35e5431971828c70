#include "tests/support/fake_trace.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/scripted_platform.h"

namespace varnel::testing {
namespace {

constexpr GUID kProvider = {0x1234, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};

struct Seen {
  std::vector<std::uint64_t> times;
  unsigned buffers = 0;
  unsigned allowed_buffers = 1000;
};
Seen g_seen;

void OnEvent(platform::EVENT_RECORD* event) {
  g_seen.times.push_back(static_cast<std::uint64_t>(event->EventHeader.TimeStamp));
}
std::uint32_t OnBuffer(platform::EVENT_TRACE_LOGFILEW*) {
  return ++g_seen.buffers < g_seen.allowed_buffers ? 1 : 0;
}

platform::EVENT_TRACE_LOGFILEW FileRequest(const char16_t* path) {
  g_seen = {};
  platform::EVENT_TRACE_LOGFILEW request{};
  request.LogFileName = path;
  request.ProcessTraceMode = platform::kProcessTraceModeEventRecord;
  request.EventRecordCallback = &OnEvent;
  request.BufferCallback = &OnBuffer;
  return request;
}

ScriptedEvent At(std::uint64_t time) {
  ScriptedEvent event;
  event.provider = kProvider;
  event.time = time;
  return event;
}

TEST(FakeTrace, ReadsAFileBufferByBuffer) {
  ScriptedPlatform machine;
  machine.AddTraceFile(u"C:\\a.etl", {At(1), At(2), At(3)}, 2);
  auto request = FileRequest(u"c:\\A.etl");
  const auto handle = machine.trace.OpenTraceW(&request);
  EXPECT_EQ(machine.trace.ProcessTrace(&handle, 1, nullptr, nullptr), 0u);
  EXPECT_EQ(g_seen.times, (std::vector<std::uint64_t>{1, 2, 3}));
  EXPECT_EQ(g_seen.buffers, 2u);
  EXPECT_EQ(machine.trace.CloseTrace(handle), 0u);
}

TEST(FakeTrace, ABufferCallbackThatSaysNoEndsTheReading) {
  ScriptedPlatform machine;
  machine.AddTraceFile(u"C:\\a.etl", {At(1), At(2)}, 1);
  auto request = FileRequest(u"C:\\a.etl");
  g_seen.allowed_buffers = 1;
  const auto handle = machine.trace.OpenTraceW(&request);
  EXPECT_EQ(machine.trace.ProcessTrace(&handle, 1, nullptr, nullptr), platform::kErrorCancelled);
  EXPECT_EQ(g_seen.times.size(), 1u);
}

struct Reader {
  ScriptedPlatform* machine;
  platform::TRACEHANDLE handle;
};

std::uint32_t ReadIt(void* parameter) {
  auto* const reader = static_cast<Reader*>(parameter);
  return reader->machine->trace.ProcessTrace(&reader->handle, 1, nullptr, nullptr);
}

TEST(FakeTrace, ALiveTraceBlocksUntilItIsClosed) {
  ScriptedPlatform machine;
  machine.trace.AddSession(u"Live", u"");
  auto request = FileRequest(nullptr);
  request.LoggerName = u"Live";
  request.ProcessTraceMode |= platform::kProcessTraceModeRealTime;
  Reader reader{&machine, machine.trace.OpenTraceW(&request)};
  const auto thread = machine.threads.CreateThread(&ReadIt, &reader);
  machine.trace.PushLive(At(7));
  machine.time.Settle();
  EXPECT_EQ(g_seen.times, (std::vector<std::uint64_t>{7}));
  EXPECT_EQ(machine.threads.WaitForSingleObject(thread, 1000), platform::kWaitTimeout);
  EXPECT_EQ(machine.trace.CloseTrace(reader.handle), 0u);
  EXPECT_EQ(machine.threads.WaitForSingleObject(thread, platform::kInfinite), platform::kWaitObject0);
  std::uint32_t code = 99;
  machine.threads.GetExitCodeThread(thread, &code);
  EXPECT_EQ(code, 0u);
}

TEST(FakeTrace, ASessionThatGoesEndsItsLiveTrace) {
  ScriptedPlatform machine;
  machine.trace.AddSession(u"Live", u"");
  auto request = FileRequest(nullptr);
  request.LoggerName = u"Live";
  request.ProcessTraceMode |= platform::kProcessTraceModeRealTime;
  const auto handle = machine.trace.OpenTraceW(&request);
  machine.trace.RemoveSession(u"Live");
  EXPECT_EQ(machine.trace.ProcessTrace(&handle, 1, nullptr, nullptr), platform::kErrorWmiInstanceNotFound);
}

TEST(FakeTrace, ASessionOrFileThatIsNotThereCannotBeOpened) {
  ScriptedPlatform machine;
  auto request = FileRequest(u"C:\\missing.etl");
  EXPECT_EQ(machine.trace.OpenTraceW(&request), platform::kInvalidProcessTraceHandle);
  EXPECT_EQ(machine.system.GetLastError(), platform::kErrorFileNotFound);
}

}  // namespace
}  // namespace varnel::testing

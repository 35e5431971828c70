#include "tool/consumer_lifecycle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/log.h"
#include "pipeline/consumer_table.h"
#include "tests/tool/tool_fixture.h"

namespace varnel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::kLeftOverFile;
using testing::kMarker;
using testing::kSessionName;
using testing::TextEvent;

constexpr std::uint64_t kTime = 0x1DC95B3A1C2D3E0;

class ConsumerLifecycleTest : public testing::ToolTest {
 protected:
  void ExpectCleared() {
    EXPECT_EQ(g_ConsumerTable.dwFlags, 0u);
    EXPECT_EQ(g_ConsumerTable.bHasCallInit, 0u);
    EXPECT_EQ(g_ConsumerTable.bStopRequested, 0u);
    EXPECT_EQ(g_ConsumerTable.pfnEventCallback, nullptr);
    EXPECT_EQ(g_ConsumerTable.pCallbackContext, nullptr);
    EXPECT_EQ(g_ConsumerTable.dwConsumerCount, 0u);
    EXPECT_EQ(g_ConsumerTable.hStopEvent, nullptr);
    EXPECT_EQ(g_ConsumerTable.hRealTimeOpenedEvent, nullptr);
    EXPECT_EQ(g_ConsumerTable.hBSODCheckThread, nullptr);
    EXPECT_EQ(g_ConsumerTable.hLeakEventCollectThread, nullptr);
    EXPECT_EQ(g_ConsumerTable.hRealTimeEventCollectThread, nullptr);
    EXPECT_TRUE(WaitForThreads(0));
    EXPECT_EQ(platform_.system.heap_blocks(), 0);
    EXPECT_EQ(platform_.registry.open_keys(), 0u);
  }

  /// The calls so far of these operations.
  std::vector<std::string> CallsAmong(const std::vector<std::string>& operations) const {
    std::vector<std::string> among;
    for (const std::string& call : faults_.Calls()) {
      if (std::find(operations.begin(), operations.end(), call) != operations.end()) among.push_back(call);
    }
    return among;
  }

  /// Every manifest fails to load, the last with this code.
  void FailManifests(std::uint32_t code) { faults_.FailForEver("TdhLoadManifest", code); }
};

TEST_F(ConsumerLifecycleTest, StopOnAModuleThatWasNeverStartedGives31AndOneLine) {
  EXPECT_EQ(Stop(), 31u);
  EXPECT_TRUE(Logged("EtwConsumerStop func In.\r\n"));
  EXPECT_TRUE(Logged("EtwConsumerStop func check bHasCallInit(0) is not TRUE\r\n"));
  EXPECT_FALSE(Logged("EtwConsumerStop func Out.\r\n"));
}

TEST_F(ConsumerLifecycleTest, StopOnAModuleThatWasNeverStartedTellsOneError) {
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.system.ClearDebug();
  EXPECT_EQ(Stop(), 31u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
}

TEST_F(ConsumerLifecycleTest, AGoodStartAndStopTellTheirWayAndNoError) {
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.trace.AddSession(kSessionName, u"");
  platform_.registry.SetDword(testing::kAutologgerKey, u"FileCounter", 1);
  platform_.system.ClearDebug();
  ASSERT_EQ(Start(), 0u);
  Settle();
  EXPECT_EQ(Stop(), 0u);
  EXPECT_THAT(platform_.system.DebugLines(),
              ElementsAre(HasSubstr("LeakEventCollectThread func call DeleteAllAutoSessionLogFiles failed(0x1f)"),
                          HasSubstr("EtwConsumerStop func call StopBsodAnalyzer(0x3) is not Success\r\n")))
      << "the one line of every boot on a session that is not the AutoLogger's, and that of an analyzer at rest";
  WrapLogInit(LOG_INFO, nullptr);
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(Stop(), 0u);
  for (const char* line : {"EtwConsumerStart func In Flags(0x3).\r\n", "EtwConsumerStart func Out dwRet(0x0).\r\n",
                           "EtwConsumerStop func In.\r\n", "EtwConsumerStop func Out.\r\n"}) {
    EXPECT_EQ(TimesLogged(line), 1u) << line;
  }
}

TEST_F(ConsumerLifecycleTest, StartTakesItsStepsInTheirOrder) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  EXPECT_THAT(CallsAmong({"StartTraceW", "TdhLoadManifest", "CreateEventW", "MoveFileExW", "CreateThread"}),
              ElementsAre("StartTraceW", "TdhLoadManifest", "TdhLoadManifest", "TdhLoadManifest", "TdhLoadManifest",
                          "TdhLoadManifest", "TdhLoadManifest", "TdhLoadManifest", "CreateEventW" /*stop*/,
                          "MoveFileExW" /*marker*/, "CreateEventW", "CreateEventW" /*both done events*/,
                          "CreateThread" /*crashes*/, "CreateEventW" /*opened*/, "CreateThread" /*live*/,
                          "CreateThread" /*left-over*/));
}

TEST_F(ConsumerLifecycleTest, StopTakesItsStepsInTheirOrder) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  faults_.Clear();
  EXPECT_EQ(Stop(), 0u);
  EXPECT_THAT(
      CallsAmong({"SetEvent", "WaitForSingleObject", "CloseHandle", "CloseTrace"}),
      ElementsAre("SetEvent", "WaitForSingleObject" /*report*/, "WaitForSingleObject" /*crashes*/, "CloseHandle",
                  "WaitForSingleObject" /*left-over*/, "CloseHandle", "WaitForSingleObject" /*opened*/, "CloseTrace",
                  "WaitForSingleObject" /*live*/, "CloseHandle", "CloseHandle" /*stop*/, "CloseHandle" /*opened*/));
}

TEST_F(ConsumerLifecycleTest, StartRegistersStartsASessionAndThreeThreadsAndLogsItsWay) {
  EXPECT_EQ(Start(3), 0u);
  EXPECT_TRUE(platform_.registry.HasKey(testing::kAutologgerKey));
  EXPECT_TRUE(platform_.trace.FindSession(kSessionName).has_value());
  EXPECT_EQ(platform_.tdh.LoadedManifests().size(), 7u);
  EXPECT_EQ(platform_.threads.created_count(), 3u);
  EXPECT_EQ(g_ConsumerTable.dwFlags, 3u);
  EXPECT_EQ(g_ConsumerTable.bHasCallInit, 1u);
  EXPECT_TRUE(Logged("EtwConsumerStart func In Flags(0x3).\r\n"));
  EXPECT_TRUE(Logged("EtwConsumerStart func Out dwRet(0x0).\r\n"));
}

TEST_F(ConsumerLifecycleTest, StopEndsEveryThreadAndClearsTheTable) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  EXPECT_NE(g_ConsumerTable.hRealTimeTrace.get(), 0u);
  EXPECT_EQ(Stop(), 0u);
  ExpectCleared();
  EXPECT_EQ(g_ConsumerTable.hRealTimeTrace.get(), 0u);
  EXPECT_EQ(platform_.trace.open_traces(), 0u);
  EXPECT_TRUE(platform_.trace.FindSession(kSessionName).has_value()) << "the session outlives the module";
  EXPECT_TRUE(Logged("EtwConsumerStop func Out.\r\n"));
}

TEST_F(ConsumerLifecycleTest, LiveEventsReachTheHost) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  platform_.trace.PushLive({TextEvent(kTime, 1, "one"), TextEvent(kTime + 1, 2, "two")});
  EXPECT_TRUE(WaitForTexts(2));
  EXPECT_THAT(host_.Messages(), ElementsAre("one", "two"));
  EXPECT_EQ(g_ConsumerTable.dwConsumerCount, 1u);
  EXPECT_EQ(Stop(), 0u);
  ExpectCleared();
}

TEST_F(ConsumerLifecycleTest, LeftOverEventsReachTheHostAndTheirFileIsDeleted) {
  platform_.AddTraceFile(kLeftOverFile, {TextEvent(kTime, 1, "old one"), TextEvent(kTime + 1, 2, "old two")});
  ASSERT_EQ(Start(), 0u);
  EXPECT_TRUE(WaitForTexts(2));
  Settle();
  EXPECT_THAT(host_.Messages(), ElementsAre("old one", "old two"));
  EXPECT_FALSE(platform_.files.Exists(kLeftOverFile));
}

TEST_F(ConsumerLifecycleTest, AnEventThatComesLiveAndFromAFileIsDeliveredOnce) {
  platform_.AddTraceFile(kLeftOverFile, {TextEvent(kTime, 1, "one"), TextEvent(kTime + 1, 2, "two")});
  ASSERT_EQ(Start(), 0u);
  EXPECT_TRUE(WaitForTexts(2));
  Settle();
  platform_.trace.PushLive({TextEvent(kTime + 1, 2, "two")});
  Settle();
  EXPECT_THAT(host_.Messages(), ElementsAre("one", "two"));
}

/// Trace files that take two seconds for each buffer.
class SlowFiles final : public testing::FaultyTrace {
 public:
  using FaultyTrace::FaultyTrace;
  platform::TRACEHANDLE OpenTraceW(platform::EVENT_TRACE_LOGFILEW* logfile) override {
    if ((logfile->ProcessTraceMode & platform::kProcessTraceModeRealTime) == 0) {
      buffer_callback = logfile->BufferCallback;
      logfile->BufferCallback = [](platform::EVENT_TRACE_LOGFILEW* buffer) {
        platform::ThreadsPort().Sleep(2000);
        return buffer_callback(buffer);
      };
    }
    return FaultyTrace::OpenTraceW(logfile);
  }

 private:
  static inline platform::BufferCallbackFunction buffer_callback = nullptr;
};

TEST_F(ConsumerLifecycleTest, ALiveEventThatOvertakesTheReadingOfAFileLosesTheRestOfTheFile) {
  platform_.AddTraceFile(kLeftOverFile,
                         {TextEvent(kTime, 1, "old one"), TextEvent(kTime + 1, 2, "old two"),
                          TextEvent(kTime + 2, 3, "old three"), TextEvent(kTime + 3, 4, "old four")},
                         /*events_in_buffer=*/2);
  SlowFiles trace(&platform_.trace, &faults_);
  platform::Platform ports = platform::CurrentPlatform();
  ports.trace = &trace;
  const platform::ScopedPlatform in_force(&ports);
  ASSERT_EQ(Start(), 0u);
  EXPECT_TRUE(WaitForTexts(2));
  platform_.trace.PushLive({TextEvent(kTime + 4, 5, "new one")});
  EXPECT_TRUE(WaitForTexts(3));
  platform_.time.Advance(10'000);
  EXPECT_FALSE(platform_.files.Exists(kLeftOverFile)) << "it was read to its end";
  EXPECT_THAT(host_.Messages(), ElementsAre("old one", "old two", "new one"));
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(ConsumerLifecycleTest, EventsThatAreQueuedAtAStopAreStillDelivered) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  // A gap in the counters holds the event back for 500 ms, and the stop comes meanwhile.
  platform_.trace.PushLive({TextEvent(kTime, 1, "one"), TextEvent(kTime + 1, 9, "nine")});
  EXPECT_TRUE(WaitForTexts(1));
  EXPECT_EQ(Stop(), 0u);
  EXPECT_THAT(host_.Messages(), ElementsAre("one", "nine"));
  ExpectCleared();
}

TEST_F(ConsumerLifecycleTest, NothingComesTwiceAfterARestart) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  platform_.trace.PushLive({TextEvent(kTime, 1, "one"), TextEvent(kTime + 1, 2, "two")});
  EXPECT_TRUE(WaitForTexts(2));
  EXPECT_EQ(Stop(), 0u);
  // The same events again, from a file: the first is older than the position, the second its repeat.
  platform_.AddTraceFile(kLeftOverFile, {TextEvent(kTime, 1, "one"), TextEvent(kTime + 1, 2, "two")});
  ASSERT_EQ(Start(), 0u);
  Settle();
  EXPECT_THAT(host_.Messages(), ElementsAre("one", "two"));
}

TEST_F(ConsumerLifecycleTest, EachModuleOfAProviderHasAConsumerOfItsOwn) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  platform_.trace.PushLive({TextEvent(kTime, 1, "a", 0x81), TextEvent(kTime, 1, "b", 0x101)});
  EXPECT_TRUE(WaitForTexts(2));
  EXPECT_EQ(g_ConsumerTable.dwConsumerCount, 2u);
}

TEST_F(ConsumerLifecycleTest, AModuleCanBeStartedAgainAndKnowsThatThisBootHasRun) {
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(g_ConsumerTable.bThisBootHasExecute, 0u);
  ASSERT_EQ(Stop(), 0u);
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(g_ConsumerTable.bThisBootHasExecute, 1u);
  ASSERT_EQ(Stop(), 0u);
  EXPECT_EQ(g_ConsumerTable.bThisBootHasExecute, 1u) << "not cleared by a stop";
}

TEST_F(ConsumerLifecycleTest, AMarkerOfAnEarlierProcessInThisBootCounts) {
  platform_.files.AddFile(kMarker);
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(g_ConsumerTable.bThisBootHasExecute, 1u);
  EXPECT_THAT(platform_.files.PendingDeletes(), ElementsAre(kMarker));
}

TEST_F(ConsumerLifecycleTest, EachStartAndStopLeavesTheTwoDoneEventsOpen) {
  for (std::size_t pair = 1; pair <= 3; ++pair) {
    ASSERT_EQ(Start(), 0u);
    ASSERT_EQ(Stop(), 0u);
    EXPECT_EQ(platform_.handles.open_count(), 2 * pair);
  }
}

TEST_F(ConsumerLifecycleTest, ASecondStartStopsTheRunningInstance) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  EXPECT_EQ(Start(), 0x90000000u);
  EXPECT_TRUE(Logged("EtwConsumerStart func check bHasCallInit(0x1) is not FALSE!\r\n"));
  EXPECT_TRUE(Logged("EtwConsumerStart func Out dwRet(0x90000000).\r\n"));
  ExpectCleared();
  EXPECT_EQ(platform_.handles.open_count(), 0u) << "its two done events were closed";
  EXPECT_EQ(Start(), 0u);
}

TEST_F(ConsumerLifecycleTest, FlagsOf0AreAccepted) {
  EXPECT_EQ(Start(0), 0u);
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(ConsumerLifecycleTest, ARunningSessionIsUsedAndNoneStarted) {
  platform_.trace.AddSession(kSessionName, u"");
  EXPECT_EQ(Start(), 0u);
  EXPECT_EQ(faults_.CountOf("StartTraceW"), 0u);
}

TEST_F(ConsumerLifecycleTest, AFailedRegistrationIsNotLookedAt) {
  faults_.FailForEver("RegCreateKeyExW", 5);
  EXPECT_EQ(Start(), 0u);
}

TEST_F(ConsumerLifecycleTest, AFailedSessionIsTheResultAndTheStopOfTheTeardownFindsNothingStarted) {
  faults_.Fail("StartTraceW", 1450);
  EXPECT_EQ(Start(), 1450u);
  EXPECT_TRUE(Logged("EtwConsumerStart func call CreateTempSession failed(0x5aa)!\r\n"));
  EXPECT_TRUE(Logged("EtwConsumerStop func check bHasCallInit(0) is not TRUE\r\n"));
  EXPECT_EQ(platform_.threads.created_count(), 0u);
  EXPECT_EQ(platform_.handles.open_count(), 0u);
}

TEST_F(ConsumerLifecycleTest, ManifestsThatFailAloneDoNotFailTheStart) {
  FailManifests(0x1069);
  EXPECT_EQ(Start(), 0u);
  EXPECT_EQ(platform_.threads.created_count(), 3u);
}

TEST_F(ConsumerLifecycleTest, AFailedMarkerReadsAsSuccessWithNothingTornDown) {
  // Fourteen files belong to the seven manifests; the next is the marker.
  faults_.Fail({"CreateFileW", 15, false, 5});
  EXPECT_EQ(Start(), 0u);
  EXPECT_TRUE(Logged("EtwConsumerStart func call CheckThisBootHasExecute failed(0x0)!\r\n")) << "not the code 5";
  EXPECT_EQ(g_ConsumerTable.bHasCallInit, 1u);
  EXPECT_EQ(platform_.threads.created_count(), 0u);
  EXPECT_EQ(Stop(), 0u) << "passes the wait for a crash thread that was never there";
}

TEST_F(ConsumerLifecycleTest, AFailedMarkerAfterFailedManifestsBringsTheManifestsErrorAndATeardown) {
  FailManifests(0x1069);
  faults_.Fail({"CreateFileW", 15, false, 5});
  EXPECT_EQ(Start(), 0x1069u);
  EXPECT_TRUE(Logged("EtwConsumerStart func call CheckThisBootHasExecute failed(0x1069)!\r\n"));
  ExpectCleared();
}

struct ThreadRow {
  unsigned nth;
  const char* line;
};

class FailedThread : public ConsumerLifecycleTest, public ::testing::WithParamInterface<ThreadRow> {};

TEST_P(FailedThread, ReadsAsSuccessAndWhatStartedKeepsRunning) {
  faults_.Fail({"CreateThread", GetParam().nth, false, 1455});
  EXPECT_EQ(Start(), 0u);
  EXPECT_TRUE(Logged(GetParam().line));
  EXPECT_EQ(g_ConsumerTable.bHasCallInit, 1u);
  EXPECT_EQ(platform_.threads.created_count(), GetParam().nth - 1);
}

INSTANTIATE_TEST_SUITE_P(
    InTheirOrder, FailedThread,
    ::testing::Values(ThreadRow{1, "EtwConsumerStart func create BSODCheckThread failed(0x5af)!\r\n"},
                      ThreadRow{3, "EtwConsumerStart func create LeakEventCollectThread failed(0x5af)!\r\n"}));

// The second thread sets the event that the stop waits for; see the tests of failing calls for what then happens.
TEST_F(ConsumerLifecycleTest, AFailedLiveThreadReadsAsSuccess) {
  faults_.Fail({"CreateThread", 2, false, 1455});
  EXPECT_EQ(Start(), 0u);
  EXPECT_TRUE(Logged("EtwConsumerStart func create RealTimeEventCollectThread failed(0x5af)!\r\n"));
  EXPECT_NE(g_ConsumerTable.hRealTimeOpenedEvent, nullptr);
  platform_.threads.SetEvent(g_ConsumerTable.hRealTimeOpenedEvent);  // lets the stop pass
}

TEST_F(ConsumerLifecycleTest, AFailedCrashThreadAfterFailedManifestsBringsTheManifestsErrorAndClosesTheDoneEvents) {
  FailManifests(0x1069);
  faults_.Fail({"CreateThread", 1, false, 1455});
  EXPECT_EQ(Start(), 0x1069u);
  ExpectCleared();
  EXPECT_EQ(platform_.handles.open_count(), 0u);
}

TEST_F(ConsumerLifecycleTest, AFailedLeakThreadAfterFailedManifestsBringsTheManifestsErrorAndEndsTheOthers) {
  FailManifests(0x1069);
  faults_.Fail({"CreateThread", 3, false, 1455});
  EXPECT_EQ(Start(), 0x1069u);
  ExpectCleared();
  EXPECT_EQ(platform_.handles.open_count(), 0u);
}

TEST_F(ConsumerLifecycleTest, EachFailedStepOfAStartIsAnError) {
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.system.ClearDebug();
  faults_.Fail("StartTraceW", 1450);
  EXPECT_EQ(Start(), 1450u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 2u) << "the session's, and the stop that finds nothing started";
  platform_.system.ClearDebug();
  faults_.Clear();
  faults_.Fail({"CreateFileW", 15, false, 5});
  EXPECT_EQ(Start(), 0u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u) << "the marker's";
  EXPECT_EQ(Start(), 0x90000000u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 3u) << "a second start, and the analyzer at rest in its stop";
  platform_.system.ClearDebug();
  faults_.Fail("CreateThread", 1455);
  EXPECT_EQ(Start(), 0u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u) << "the crash thread's";
}

TEST_F(ConsumerLifecycleTest, AThreadOfACollectorThatCantBeStartedIsAnError) {
  WrapLogInit(LOG_ERROR, nullptr);
  faults_.Fail({"CreateThread", 3, false, 1455});
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(TimesLogged("EtwConsumerStart func create LeakEventCollectThread failed(0x5af)!\r\n"), 1u);
  ASSERT_EQ(Stop(), 0u);
  faults_.Fail({"CreateThread", 2, false, 1455});
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(TimesLogged("EtwConsumerStart func create RealTimeEventCollectThread failed(0x5af)!\r\n"), 1u);
  platform_.threads.SetEvent(g_ConsumerTable.hRealTimeOpenedEvent);  // lets the stop pass
}

TEST_F(ConsumerLifecycleTest, AMissingLiveSessionIsToldWhenTheReadingFailsAndTheStopClosesNoTrace) {
  faults_.FailForEver("OpenTraceW", 4201);
  faults_.FailForEver("ProcessTrace", 6);
  ASSERT_EQ(Start(), 0u);
  Settle();
  EXPECT_TRUE(Logged("RealTimeEventCollectThread ProcessTrace failed(0x6)\r\n"));
  EXPECT_FALSE(Logged("OpenTrace with realtime failed"));
  EXPECT_EQ(Stop(), 0u);
  EXPECT_EQ(faults_.CountOf("CloseTrace"), 0u);
}

TEST_F(ConsumerLifecycleTest, ASessionThatGoesLeavesLiveEventsOffUntilTheNextStart) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  platform_.trace.RemoveSession(kSessionName);
  Settle();
  EXPECT_TRUE(Logged("RealTimeEventCollectThread ProcessTrace failed(0x1069)\r\n"));
  EXPECT_EQ(Stop(), 0u);
  EXPECT_EQ(Start(), 0u);
  Settle();
  platform_.trace.PushLive(TextEvent(kTime, 1, "again"));
  EXPECT_TRUE(WaitForTexts(1));
}

}  // namespace
}  // namespace varnel

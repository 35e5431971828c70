// The engine's wait on its own thread, its limit and its stop; see debug_engine_session.h.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <thread>
#include <utility>
#include <vector>

#include "tests/analyzer/engine_fixture.h"

namespace varnel {
namespace {

constexpr auto kCancelled = static_cast<std::int32_t>(0x800704C7);

/// A session that a second thread stops at a told moment.
class Wait : public EngineFixture {
 protected:
  /// Opens the dump on this thread while another one stops the session so much later.
  std::int32_t OpenAndStopAfter(DebugEngineSession* session, std::uint32_t milliseconds) {
    stopped_ = session;
    stop_after_ms_ = milliseconds;
    const platform::HANDLE thread = platform_.threads.CreateThread(&Wait::Stop, this);
    const std::int32_t result = session->OpenDumpNoSymbols(kDumpPath);
    platform_.threads.WaitForSingleObject(thread, platform::kInfinite);
    platform_.system.CloseHandle(thread);
    return result;
  }

  /// A thread that has ended may still be on its way out.
  void AwaitNoThreads() const {
    while (platform_.threads.running_count() != 0) std::this_thread::yield();
  }

  std::int32_t stop_result_ = -1;

 private:
  static std::uint32_t Stop(void* parameter) {
    auto* const self = static_cast<Wait*>(parameter);
    self->platform_.threads.Sleep(self->stop_after_ms_);
    self->stop_result_ = self->stopped_->StopSymbolDownload();
    return 0;
  }

  DebugEngineSession* stopped_ = nullptr;
  std::uint32_t stop_after_ms_ = 0;
};

TEST_F(Wait, GivesItsHandlesAndMemoryBackWhenTheEngineAnswers) {
  const auto session = Make();
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  AwaitNoThreads();
  EXPECT_EQ(platform_.handles.open_count(), handles_before_);
  EXPECT_EQ(plan_.CountOf("TerminateThread"), 0u);
}

TEST_F(Wait, ThatNeverEndsIsEndedByForceAtItsLimit) {
  debugger_.Block("WaitForEvent");
  const auto session = Make();
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(plan_.CountOf("TerminateThread"), 1u);
  AwaitNoThreads();
  EXPECT_EQ(platform_.handles.open_count(), handles_before_);
}

TEST_F(Wait, ThatNeverEndsIsStoppedInTheMiddle) {
  debugger_.Block("WaitForEvent");
  const auto session = Make();
  EXPECT_EQ(OpenAndStopAfter(session.get(), 250), kCancelled);
  EXPECT_EQ(stop_result_, 0);
  EXPECT_EQ(platform_.time.now_ms(), 250u);
  EXPECT_TRUE(Logged("[Error] WaitForEvent failed: 0x800704C7\n"));
  EXPECT_EQ(plan_.CountOf("TerminateThread"), 1u);
  EXPECT_EQ(session->GetDumpQualifier(), 0u);  // the dump did not open
}

TEST_F(Wait, HasFailedWhenItIsWokenAndItsWorkersEndCannotBeRead) {
  debugger_.Block("WaitForEvent");
  const auto session = Make();
  plan_.Fail({"GetExitCodeThread", 2, false, 6});  // behind the stop's
  EXPECT_EQ(OpenAndStopAfter(session.get(), 250), static_cast<std::int32_t>(0x80004005));
  EXPECT_EQ(stop_result_, 0);
}

TEST_F(Wait, ClosesItsTwoHandlesOnce) {
  {
    const auto session = Make();
    EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
    EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
    EXPECT_EQ(plan_.CountOf("CloseHandle"), 4u);
  }
  EXPECT_EQ(plan_.CountOf("CloseHandle"), 4u);
}

TEST_F(Wait, ThatAStopCannotWakeIsOverAtItsLimitWithNothingLeftToEnd) {
  debugger_.Block("WaitForEvent");
  const auto session = Make();
  plan_.FailForEver("SetEvent", 5);
  EXPECT_EQ(OpenAndStopAfter(session.get(), 250), 0);
  EXPECT_EQ(stop_result_, 0);
  EXPECT_EQ(platform_.time.now_ms(), 600u);
  EXPECT_EQ(plan_.CountOf("TerminateThread"), 1u);  // the stop's
}

/// The threads port, with what it was asked.
class WatchedThreads : public testing::FaultyThreads {
 public:
  using FaultyThreads::FaultyThreads;

  platform::HANDLE CreateEventW(bool manual_reset, bool initial_state) override {
    manual_and_signalled.emplace_back(manual_reset, initial_state);
    return FaultyThreads::CreateEventW(manual_reset, initial_state);
  }
  platform::HANDLE CreateThread(platform::ThreadStart start, void* parameter) override {
    return last_thread = FaultyThreads::CreateThread(start, parameter);
  }
  bool TerminateThread(platform::HANDLE thread, std::uint32_t exit_code) override {
    exit_codes.push_back(exit_code);
    return FaultyThreads::TerminateThread(thread, exit_code);
  }

  std::vector<std::pair<bool, bool>> manual_and_signalled;
  std::vector<std::uint32_t> exit_codes;
  platform::HANDLE last_thread = nullptr;
};

/// Puts the watch over the threads of the platform in force, for its scope.
class Watch {
 public:
  Watch() { ports_.threads = &threads_; }
  WatchedThreads& threads() { return threads_; }

 private:
  testing::FaultPlan no_faults_;
  platform::Platform ports_ = platform::CurrentPlatform();
  WatchedThreads threads_{ports_.threads, &no_faults_};
  platform::ScopedPlatform in_force_{&ports_};
};

TEST_F(Wait, MakesAnEventThatStaysUpAndEndsTheWorkerWith1) {
  debugger_.Block("WaitForEvent");
  const auto session = Make();
  Watch watch;
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  AwaitNoThreads();
  EXPECT_EQ(watch.threads().manual_and_signalled, (std::vector<std::pair<bool, bool>>{{true, false}}));
  EXPECT_EQ(watch.threads().exit_codes, std::vector<std::uint32_t>{1});
}

// Its memory and its event are taken away then, as if it had ended. Here it ends just before that, so that it touches
// neither.
TEST_F(Wait, LeavesAWorkerAloneWhoseExitCodeCannotBeReadAndTakesItForEnded) {
  debugger_.Block("WaitForEvent");
  const auto session = Make();
  Watch watch;
  plan_.FailForEver("GetExitCodeThread", 6);
  plan_.After("GetExitCodeThread", 2, [&] { platform_.threads.TerminateThread(watch.threads().last_thread, 1); });
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(platform_.time.now_ms(), 5600u);
  EXPECT_TRUE(watch.threads().exit_codes.empty());
  EXPECT_EQ(platform_.system.heap_blocks(), 0);
  AwaitNoThreads();
  EXPECT_EQ(platform_.handles.open_count(), handles_before_);
}

TEST_F(Wait, AfterAStopMakesNoThreadAnyMore) {
  const auto session = Make();
  EXPECT_EQ(session->StopSymbolDownload(), 0);
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), kCancelled);
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), kCancelled);
  EXPECT_EQ(platform_.threads.created_count(), 0u);
}

TEST_F(Wait, IsOverBeforeALateStop) {
  debugger_.load_ms = 50;
  const auto session = Make();
  EXPECT_EQ(OpenAndStopAfter(session.get(), 300), 0);
  EXPECT_EQ(stop_result_, 0);
  EXPECT_EQ(plan_.CountOf("TerminateThread"), 0u);
}

TEST_F(Wait, KillsNothingWhenTheWorkerEndedJustBefore) {
  debugger_.load_ms = 50;
  const auto session = Make();
  // The worker has answered and ended; only the sign of it never arrived.
  plan_.FailForEver("SetEvent", 5);
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(plan_.CountOf("TerminateThread"), 0u);
  EXPECT_EQ(platform_.system.DebugText(), "");
}

TEST_F(Wait, AStopFindsTheWorkerEndedAndKillsNothing) {
  debugger_.load_ms = 50;
  plan_.FailForEver("SetEvent", 5);
  const auto session = Make();
  EXPECT_EQ(OpenAndStopAfter(session.get(), 300), 0);
  EXPECT_EQ(stop_result_, 0);
  EXPECT_EQ(plan_.CountOf("TerminateThread"), 0u);
}

TEST_F(Wait, AStopThatCannotReadTheExitCodeKillsNothing) {
  debugger_.Block("WaitForEvent");
  const auto session = Make();
  plan_.Fail({"GetExitCodeThread", 1, false, 6});  // the stop's
  EXPECT_EQ(OpenAndStopAfter(session.get(), 300), 0);
  EXPECT_EQ(stop_result_, 0);
  EXPECT_EQ(plan_.CountOf("TerminateThread"), 1u);  // the limit's, later
}

TEST_F(Wait, AStopTellsThatTheWorkerCouldNotBeEnded) {
  debugger_.Block("WaitForEvent");
  const auto session = Make();
  plan_.Fail({"TerminateThread", 1, false, 5});
  EXPECT_EQ(OpenAndStopAfter(session.get(), 300), 0);
  EXPECT_EQ(stop_result_, static_cast<std::int32_t>(0x80070005));
  EXPECT_TRUE(Logged("[Error] TerminateThread failed: 0x00000005\n"));
}

TEST_F(Wait, LeavesItsMemoryToAWorkerThatCannotBeEnded) {
  debugger_.Block("WaitForEvent");
  plan_.FailForEver("TerminateThread", 5);
  {
    const auto session = Make();
    const std::uint64_t begin = platform_.time.now_ms();
    EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
    EXPECT_EQ(platform_.time.now_ms() - begin, 5600u);
    EXPECT_TRUE(Logged("[Error] TerminateThread failed: 0x00000005\n"));
    EXPECT_EQ(platform_.system.heap_blocks(), 1);
    // The thread is forgotten, so a stop has nothing to end.
    EXPECT_EQ(session->StopSymbolDownload(), 0);
    EXPECT_EQ(plan_.CountOf("TerminateThread"), 1u);
    // The worker comes back from the engine at last and writes into what was left to it.
    debugger_.Release();
    platform_.time.Settle();
    AwaitNoThreads();
    EXPECT_EQ(platform_.handles.open_count(), handles_before_ + 1);  // the event, until the session ends
  }
  EXPECT_EQ(platform_.handles.open_count(), handles_before_);
}

TEST_F(Wait, ASecondWaitClosesTheEventThatTheFirstLeft) {
  debugger_.Block("WaitForEvent");
  plan_.Fail({"TerminateThread", 1, false, 5});
  const auto session = Make();
  ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  debugger_.Forget("WaitForEvent");
  debugger_.Release();
  platform_.time.Settle();
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(platform_.handles.open_count(), handles_before_);
}

TEST_F(Wait, DoesNotSeeAStopThatComesAfterItsLookAndBeforeItsThreadIsKnown) {
  debugger_.Block("WaitForEvent");
  const auto session = Make();
  std::int32_t stopped = -1;
  plan_.After("CreateThread", 1, [&] { stopped = session->StopSymbolDownload(); });
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(stopped, 0);
  EXPECT_EQ(platform_.time.now_ms(), 600u);         // its own limit
  EXPECT_EQ(plan_.CountOf("TerminateThread"), 1u);  // that limit's
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), kCancelled);
  EXPECT_EQ(platform_.threads.created_count(), 1u);
}

class ClosedHandle : public Wait, public ::testing::WithParamInterface<unsigned> {};

// The stop comes from a thread of its own, right behind the closing, and has ample time to touch what was closed.
TEST_P(ClosedHandle, IsNeverTouchedByAStop) {
  const auto session = Make();
  std::future<std::int32_t> stopped;
  plan_.After("CloseHandle", GetParam(), [&] {
    stopped = std::async(std::launch::async, [&] { return session->StopSymbolDownload(); });
    stopped.wait_for(std::chrono::milliseconds(200));
  });
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  ASSERT_TRUE(stopped.valid());
  EXPECT_EQ(stopped.get(), 0);
  EXPECT_EQ(plan_.CountOf("GetExitCodeThread"), 1u);  // the wait's own
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), kCancelled);
}
INSTANTIATE_TEST_SUITE_P(OfTheThreadOrOfTheEvent, ClosedHandle, ::testing::Values(1u, 2u));

TEST_F(Wait, FailsWithoutMemory) {
  const auto session = Make();
  platform_.system.FailAllocation(1);
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), static_cast<std::int32_t>(0x8007000E));
  EXPECT_EQ(platform_.threads.created_count(), 0u);
}

TEST_F(Wait, FailsWithoutAnEvent) {
  const auto session = Make();
  plan_.FailForEver("CreateEventW", 1450);
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), static_cast<std::int32_t>(0x800705AA));
  EXPECT_EQ(platform_.system.heap_blocks(), 0);
}

TEST_F(Wait, FailsWithoutAThread) {
  const auto session = Make();
  plan_.FailForEver("CreateThread", 8);
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), static_cast<std::int32_t>(0x80070008));
  EXPECT_EQ(platform_.system.heap_blocks(), 0);
  EXPECT_EQ(platform_.handles.open_count(), handles_before_);
}

TEST_F(Wait, ThatCannotBeWaitedForFailsAndEndsTheWorker) {
  debugger_.Delay("WaitForEvent", 3'600'000);  // a sleep: the only wait is then the session's
  const auto session = Make();
  plan_.Fail({"WaitForSingleObject", 1, false, 6});
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), static_cast<std::int32_t>(0x80070006));
  EXPECT_TRUE(Logged("[Error] WaitForSingleObject failed: 0x00000006\n"));
  EXPECT_TRUE(Logged("[Error] WaitForEvent failed: 0x80070006\n"));
  EXPECT_EQ(plan_.CountOf("TerminateThread"), 1u);
  EXPECT_EQ(platform_.handles.open_count(), handles_before_);
}

TEST_F(Wait, KnowsByTheExitCodeThatAThreadEndedForWhichItCannotWait) {
  const auto session = Make();
  debugger_.Block("WaitForEvent");
  plan_.Fail({"WaitForSingleObject", 3, false, 6});  // behind the script's own and the answer's
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_TRUE(Logged("[Error] WaitForSingleObject failed: 0x00000006\n"));
  EXPECT_EQ(platform_.system.heap_blocks(), 0);
}

TEST_F(Wait, TakesAThreadForEndedWhoseExitCodeCannotBeRead) {
  const auto session = Make();
  plan_.FailForEver("GetExitCodeThread", 6);
  plan_.Fail({"WaitForSingleObject", 2, false, 6});  // behind the answer's
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_TRUE(Logged("[Error] WaitForSingleObject failed: 0x00000006\n"));
  EXPECT_EQ(platform_.system.heap_blocks(), 0);
  EXPECT_EQ(platform_.handles.open_count(), handles_before_);
}

}  // namespace
}  // namespace varnel

#include "analyzer/bsod_analyzer.h"

#include <gtest/gtest.h>

#include "tests/analyzer/run_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

constexpr char16_t kGuid[] = u"{4A234956-2B7D-4221-BADF-12593BD342A8}";

class FrontEnd : public RunFixture {
 protected:
  FrontEnd() {
    PutMarker(kMarkerNoSymbol, {});
    PutMarker(kMarkerWithSymbol, {});
    EXPECT_EQ(UninitBsodAnalyzer(), 1);  // nothing is left of another test
  }
  ~FrontEnd() override {
    on_told = nullptr;
    EXPECT_GE(UninitBsodAnalyzer(), 0);
    EXPECT_EQ(UninitBsodAnalyzer(), 1);
    EXPECT_EQ(machine.system.heap_blocks(), 0);
  }
  std::int32_t Start() { return StartBsodAnalyzer(&TakeNoSymbol, nullptr, nullptr, nullptr); }
};

TEST_F(FrontEnd, InitializesOnceForOneGuid) {
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 1);
}

TEST_F(FrontEnd, RefusesAnotherGuidAlsoInAnotherCase) {
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(InitBsodAnalyzer(u"{4a234956-2b7d-4221-badf-12593bd342a8}"), Hr(0x800700B7));
  EXPECT_EQ(InitBsodAnalyzer(u"{4A234956-2B7D-4221-BADF-12593BD342A8}x"), Hr(0x800700B7));
  EXPECT_TRUE(Logged("[InitBsodAnalyzer] Error: Instance already exists but GUID does not match\n"));
}

TEST_F(FrontEnd, RefusesAnEmptyGuid) {
  EXPECT_EQ(InitBsodAnalyzer(u""), Hr(0x80070057));
  EXPECT_TRUE(Logged("[InitBsodAnalyzer] Error: productGuid is empty\n"));
  EXPECT_EQ(Start(), kEFail);
  EXPECT_TRUE(Logged("[StartBsodAnalyzer] Error: Not initialized\n"));
}

TEST_F(FrontEnd, FailsWithoutMemoryAndTriesAgain) {
  machine.system.FailAllocation(1);
  EXPECT_EQ(InitBsodAnalyzer(kGuid), kEOutOfMemory);
  EXPECT_TRUE(Logged("[InitBsodAnalyzer] Error: Memory allocation failed\n"));
  EXPECT_EQ(Start(), kEFail);
  EXPECT_TRUE(Logged("[StartBsodAnalyzer] Error: Analyzer instance does not exist"));
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 0);
}

TEST_F(FrontEnd, AnAnalyzerWithoutALockOfItsOwnIsNotKept) {
  plan.Fail({"InitializeCriticalSection", 2, false, 8});  // the first one is the front end's
  EXPECT_EQ(InitBsodAnalyzer(kGuid), kEFail);
  EXPECT_TRUE(Logged("[InitBsodAnalyzer] Initialization failed: 0x80004005\n"));
  EXPECT_EQ(machine.system.heap_blocks(), 0);
  EXPECT_EQ(InitBsodAnalyzer(u"{another}"), 0);
}

TEST_F(FrontEnd, AnAnalyzerWhosePlacesFailWithoutAnErrorIsMadeButNeverRuns) {
  plan.Fail("GetEnvironmentVariableW", 0);
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_TRUE(Logged("[Error] AnalysisState initialization failed: 0x00000000\n"));
  EXPECT_EQ(Start(), kEFail);
  EXPECT_FALSE(Logged("[StartBsodAnalyzer]"));
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 1);
  EXPECT_EQ(UninitBsodAnalyzer(), 0);
}

TEST_F(FrontEnd, FailsWithoutItsLock) {
  plan.Fail("InitializeCriticalSection", 8);
  EXPECT_EQ(InitBsodAnalyzer(kGuid), kEOutOfMemory);
  EXPECT_EQ(Start(), kEFail);
  EXPECT_EQ(UninitBsodAnalyzer(), 1);
}

TEST_F(FrontEnd, LeavesNoInstanceBehindAFailedInit) {
  plan.Fail("CreateFolders", 112);
  EXPECT_EQ(InitBsodAnalyzer(kGuid), HrOf(112));
  EXPECT_TRUE(Logged("[InitBsodAnalyzer] Initialization failed: 0x80070070\n"));
  EXPECT_EQ(Start(), kEFail);
  EXPECT_TRUE(
      Logged("[StartBsodAnalyzer] Error: Analyzer instance does not exist, please call InitBsodAnalyzer() first\n"));
  EXPECT_EQ(machine.system.heap_blocks(), 0);
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 0);
}

TEST_F(FrontEnd, AfterAFailedInitUninitGives1) {
  plan.Fail("CreateFolders", 112);
  EXPECT_LT(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(UninitBsodAnalyzer(), 1);
  machine.system.ClearDebug();
  EXPECT_EQ(Start(), kEFail);
  EXPECT_TRUE(Logged("[StartBsodAnalyzer] Error: Not initialized\n"));
}

TEST_F(FrontEnd, ASecondInitInsideTheFirstIsAnsweredAtOnceThoughNothingIsReadyYet) {
  AddDumps(1);
  std::vector<std::int32_t> answers;
  plan.After("CreateFolders", 1, [&] {  // in the middle of the first one's preparing
    answers.push_back(InitBsodAnalyzer(kGuid));
    answers.push_back(InitBsodAnalyzer(u"{another}"));
    answers.push_back(Start());
    answers.push_back(static_cast<std::int32_t>(StopBsodAnalyzer(0)));
  });
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(answers, (std::vector<std::int32_t>{1, Hr(0x800700B7), kEFail, 3}));
  EXPECT_TRUE(no_symbol_.empty());
  EXPECT_EQ(Start(), 0);
  EXPECT_EQ(no_symbol_.size(), 1u);
}

TEST_F(FrontEnd, RunsInTheCallersCall) {
  AddDumps(2);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(Start(), 0);
  EXPECT_EQ(no_symbol_.size(), 2u);
}

TEST_F(FrontEnd, GivesEachPassItsOwnContext) {
  AddDumps(1);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  int first = 0;
  int second = 0;
  EXPECT_EQ(StartBsodAnalyzer(&TakeNoSymbol, &first, &TakeWithSymbol, &second), 0);
  ASSERT_EQ(no_symbol_.size(), 1u);
  EXPECT_EQ(no_symbol_[0].context, &first);
  ASSERT_EQ(with_symbol_.size(), 1u);
  EXPECT_EQ(with_symbol_[0].context, &second);
}

TEST_F(FrontEnd, DoesNotRunWithoutACallback) {
  AddDumps(1);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(StartBsodAnalyzer(nullptr, nullptr, nullptr, nullptr), kEFail);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
}

TEST_F(FrontEnd, HasNothingToStopWithoutAnalyzerOrRun) {
  EXPECT_EQ(StopBsodAnalyzer(0), 3u);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(StopBsodAnalyzer(0xFFFFFFFF), 3u);
}

TEST_F(FrontEnd, StopsARun) {
  AddDumps(2);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  on_told = [] { EXPECT_EQ(StopBsodAnalyzer(0), 1u); };
  EXPECT_EQ(Start(), kCancelled);
  EXPECT_EQ(no_symbol_.size(), 1u);
}

TEST_F(FrontEnd, WaitsForARunToStopAsLongAsItIsTold) {
  AddDumps(1);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  on_told = [&] {
    EXPECT_EQ(StopBsodAnalyzer(700), 2u);
    EXPECT_EQ(machine.time.now_ms(), 700u);
  };
  EXPECT_EQ(Start(), 0);  // the stop came behind the last dump
}

TEST_F(FrontEnd, BeginsAnewAfterUninitWithANewLock) {
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(UninitBsodAnalyzer(), 0);
  EXPECT_EQ(Start(), kEFail);
  EXPECT_TRUE(Logged("[StartBsodAnalyzer] Error: Not initialized\n")) << "the lock went too";
  EXPECT_EQ(StopBsodAnalyzer(0), 3u);
  EXPECT_EQ(UninitBsodAnalyzer(), 1);
  EXPECT_EQ(InitBsodAnalyzer(u"{another}"), 0);
  EXPECT_EQ(plan.CountOf("InitializeCriticalSection"), 4u) << "the front end's and the analyzer's, twice";
  EXPECT_EQ(Start(), 0);
}

TEST_F(FrontEnd, CannotUninitARunThatDoesNotEndInTime) {
  AddDumps(2);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  std::int32_t answer = 0;
  on_told = [&] { answer = UninitBsodAnalyzer(); };  // on the run's own thread: it cannot end meanwhile
  EXPECT_EQ(Start(), kCancelled);
  EXPECT_EQ(answer, Hr(0x800705B4));
  EXPECT_EQ(machine.time.now_ms(), 5000u);
  EXPECT_TRUE(Logged("[UninitBsodAnalyzer] Error: Stop failed or timed out\n"));
  on_told = nullptr;
  EXPECT_EQ(Start(), 0);  // the instance lives on
  EXPECT_EQ(no_symbol_.size(), 2u);
}

TEST_F(FrontEnd, CannotUninitARunThatCannotBeWaitedFor) {
  AddDumps(1);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  std::int32_t answer = 0;
  on_told = [&] {
    plan.Fail("WaitForSingleObject", 6);
    answer = UninitBsodAnalyzer();
  };
  EXPECT_EQ(Start(), 0);
  EXPECT_EQ(answer, kEFail);
  EXPECT_TRUE(Logged("[UninitBsodAnalyzer] Error: Stop failed or timed out\n"));
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 1) << "the instance lives on";
}

TEST_F(FrontEnd, UninitEndsARunOnAnotherThread) {
  AddDumps(2);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  struct Uninit {
    std::int32_t answer = -1;
    static std::uint32_t Main(void* parameter) {
      platform::ThreadsPort().Sleep(100);
      static_cast<Uninit*>(parameter)->answer = UninitBsodAnalyzer();
      return 0;
    }
  } uninit;
  debugger.Block("WaitForEvent");  // each dump takes the short wait's 600 ms
  const platform::HANDLE thread = machine.threads.CreateThread(&Uninit::Main, &uninit);
  EXPECT_EQ(Start(), kCancelled);
  machine.threads.WaitForSingleObject(thread, platform::kInfinite);
  machine.system.CloseHandle(thread);
  EXPECT_EQ(uninit.answer, 0);
  EXPECT_EQ(StopBsodAnalyzer(0), 3u);
}

TEST_F(FrontEnd, UninitSaysThatANewRunKeepsItFromCleaningUpAndGoesOn) {
  AddDumps(2);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  const auto run = [](void*) -> std::uint32_t {
    return static_cast<std::uint32_t>(StartBsodAnalyzer(&TakeNoSymbol, nullptr, nullptr, nullptr));
  };
  debugger.Block("WaitForEvent");  // each dump takes the short wait's 600 ms
  const platform::HANDLE first = machine.threads.CreateThread(run, nullptr);
  machine.threads.Sleep(100);
  // The next wait that begins is the uninit's. Behind its end comes a new run.
  platform::HANDLE second = nullptr;
  plan.After("WaitForSingleObject", 1, [&] {
    second = machine.threads.CreateThread(run, nullptr);
    machine.threads.Sleep(100);
  });
  EXPECT_EQ(UninitBsodAnalyzer(), 0);
  EXPECT_TRUE(Logged("[UninitBsodAnalyzer] Warning: Uninit failed: 0x80004005\n"));
  for (const platform::HANDLE thread : {first, second}) {
    ASSERT_NE(thread, nullptr);
    machine.threads.WaitForSingleObject(thread, platform::kInfinite);
    machine.system.CloseHandle(thread);
  }
  EXPECT_EQ(no_symbol_.size(), 2u);  // one from each run
}

TEST_F(FrontEnd, AStopThatMeetsAnUninitFindsTheObjectAlive) {
  AddDumps(1);
  ASSERT_EQ(InitBsodAnalyzer(kGuid), 0);
  struct Stop {
    std::uint32_t answer = 99;
    static std::uint32_t Main(void* parameter) {
      platform::ThreadsPort().Sleep(100);
      static_cast<Stop*>(parameter)->answer = StopBsodAnalyzer(0xFFFFFFFF);
      return 0;
    }
  } stop;
  debugger.Block("WaitForEvent");
  const platform::HANDLE thread = machine.threads.CreateThread(&Stop::Main, &stop);
  EXPECT_EQ(Start(), 0);
  EXPECT_EQ(UninitBsodAnalyzer(), 0);  // the stop may still be on its way out of the wait
  machine.threads.WaitForSingleObject(thread, platform::kInfinite);
  machine.system.CloseHandle(thread);
  EXPECT_EQ(stop.answer, 0u);
}

}  // namespace
}  // namespace varnel

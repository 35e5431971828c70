#include "analyzer/bsod_analyzer_object.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/analyzer/run_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class Analyzer : public RunFixture {
 protected:
  Analyzer() {
    PutMarker(kMarkerNoSymbol, {});
    PutMarker(kMarkerWithSymbol, {});
  }
  std::int32_t Start(BsodAnalyzer* analyzer) { return analyzer->Start(&TakeNoSymbol, nullptr, nullptr, nullptr); }
};

TEST_F(Analyzer, GoesThroughItsLife) {
  const std::size_t handles = machine.handles.open_count();
  BsodAnalyzer analyzer(kProduct);
  EXPECT_EQ(analyzer.ProductGuid(), kProduct);
  EXPECT_EQ(Start(&analyzer), kEFail);  // not initialized
  EXPECT_EQ(analyzer.Stop(0), 3u);
  EXPECT_EQ(analyzer.Initialize(), 0);
  EXPECT_EQ(analyzer.Initialize(), 0);
  EXPECT_EQ(Start(&analyzer), 0);
  EXPECT_FALSE(analyzer.IsRunning());
  EXPECT_EQ(analyzer.Stop(1000), 3u);
  EXPECT_EQ(analyzer.Uninitialize(), 0);
  EXPECT_EQ(analyzer.Uninitialize(), 0);
  EXPECT_EQ(Start(&analyzer), kEFail);
  EXPECT_EQ(machine.handles.open_count(), handles);
  EXPECT_EQ(machine.system.heap_blocks(), 0);
}

TEST_F(Analyzer, WithoutItsLockFailsAtEveryOperation) {
  plan.Fail("InitializeCriticalSection", 8);
  BsodAnalyzer analyzer(kProduct);
  EXPECT_TRUE(Logged("[Error] Critical section not initialized\n"));
  EXPECT_EQ(analyzer.Initialize(), kEFail);
  EXPECT_EQ(Start(&analyzer), kEFail);
  EXPECT_EQ(analyzer.Stop(0), 4u);
  EXPECT_EQ(analyzer.Uninitialize(), kEFail);
}

TEST_F(Analyzer, FailsToInitializeWithoutMemory) {
  BsodAnalyzer analyzer(kProduct);
  machine.system.FailAllocation(1);
  EXPECT_EQ(analyzer.Initialize(), kEOutOfMemory);
  EXPECT_TRUE(Logged("[Error] Memory allocation failed\n"));
  EXPECT_EQ(analyzer.Initialize(), 0);
  EXPECT_EQ(analyzer.Uninitialize(), 0);
}

TEST_F(Analyzer, FailsToInitializeWithProgramDataThatIsTooLong) {
  machine.system.environment[u"ProgramData"] = std::u16string(260, u'd');
  BsodAnalyzer analyzer(kProduct);
  EXPECT_EQ(analyzer.Initialize(), HrOf(122));
  EXPECT_TRUE(Logged("[Error] AnalysisState initialization failed: 0x8007007A\n"));
  EXPECT_EQ(machine.system.heap_blocks(), 0);
  EXPECT_EQ(Start(&analyzer), kEFail);
}

TEST_F(Analyzer, AStateThatFailsWithoutAnErrorIsDroppedAllTheSame) {
  machine.system.environment[u"ProgramData"] = u"";
  machine.system.SetLastError(0);
  BsodAnalyzer analyzer(kProduct);
  EXPECT_EQ(analyzer.Initialize(), 0);
  EXPECT_TRUE(Logged("[Error] Failed to get ProgramData environment variable: 0x00000000\n"));
  EXPECT_EQ(machine.system.heap_blocks(), 0);
  EXPECT_EQ(plan.CountOf("CreateFolders"), 0u) << "nothing was prepared";
  EXPECT_EQ(Start(&analyzer), kEFail) << "nor is it initialized";
  EXPECT_EQ(analyzer.Uninitialize(), 0);
}

TEST_F(Analyzer, FailsToInitializeWhenItCannotPrepare) {
  BsodAnalyzer analyzer(kProduct);
  plan.Fail("CreateFolders", 112);
  EXPECT_EQ(analyzer.Initialize(), HrOf(112));
  EXPECT_EQ(machine.system.heap_blocks(), 0);
  EXPECT_EQ(Start(&analyzer), kEFail);
}

TEST_F(Analyzer, AsksNothingOfTheMachinesDumpSettingsButToRead) {
  BsodAnalyzer analyzer(kProduct);
  plan.Clear();
  EXPECT_EQ(analyzer.Initialize(), 0);
  EXPECT_EQ(plan.CountOf("RegSetValueExW"), 0u);
  EXPECT_EQ(analyzer.Uninitialize(), 0);
}

TEST_F(Analyzer, TakesASecondStartDuringARunForDoneAndKeepsTheFirstOnesCallbacks) {
  AddDumps(2);
  BsodAnalyzer analyzer(kProduct);
  ASSERT_EQ(analyzer.Initialize(), 0);
  on_told = [&] {
    EXPECT_TRUE(analyzer.IsRunning());
    EXPECT_EQ(analyzer.Start(nullptr, nullptr, &TakeWithSymbol, nullptr), 0);
    EXPECT_EQ(analyzer.Initialize(), 0);
    EXPECT_EQ(analyzer.Uninitialize(), kEFail);
  };
  EXPECT_EQ(Start(&analyzer), 0);
  EXPECT_EQ(no_symbol_.size(), 2u);
  EXPECT_TRUE(with_symbol_.empty());
  on_told = nullptr;
  EXPECT_EQ(analyzer.Uninitialize(), 0);
}

TEST_F(Analyzer, StopsWithoutWaitingOrUntilItsLimit) {
  AddDumps(1);
  BsodAnalyzer analyzer(kProduct);
  ASSERT_EQ(analyzer.Initialize(), 0);
  on_told = [&] {
    EXPECT_EQ(analyzer.Stop(0), 1u);
    plan.After("WaitForSingleObject", 1, [&] { EXPECT_EQ(analyzer.Stop(0), 1u) << "no lock is held in the wait"; });
    EXPECT_EQ(analyzer.Stop(700), 2u);  // the run itself is waiting here
    EXPECT_EQ(machine.time.now_ms(), 700u);
    plan.Fail("WaitForSingleObject", 6);
    EXPECT_EQ(analyzer.Stop(700), 4u);
  };
  EXPECT_EQ(Start(&analyzer), 0);
  on_told = nullptr;
  EXPECT_EQ(analyzer.Uninitialize(), 0);
}

TEST_F(Analyzer, RemovesCopiesAndSymbolsAtItsEnd) {
  BsodAnalyzer analyzer(kProduct);
  ASSERT_EQ(analyzer.Initialize(), 0);
  machine.files.AddFile(kHostFolder + u"\\dbgeng.dll", "copy");
  machine.files.AddFile(kHostFolder + u"\\sym\\a.pdb", "pdb");
  EXPECT_EQ(analyzer.Uninitialize(), 0);
  EXPECT_FALSE(HasCopies());
  EXPECT_FALSE(machine.files.Exists(kHostFolder + u"\\sym"));
}

TEST_F(Analyzer, DisposedOfAfterARunCleansUpAtOnce) {
  auto analyzer = std::make_unique<BsodAnalyzer>(kProduct);
  ASSERT_EQ(analyzer->Initialize(), 0);
  ASSERT_EQ(Start(analyzer.get()), 0);
  analyzer.reset();
  EXPECT_EQ(machine.time.now_ms(), 0u);
  EXPECT_FALSE(machine.files.Exists(kHostFolder + u"\\sym"));
  EXPECT_EQ(machine.system.heap_blocks(), 0);
}

TEST_F(Analyzer, DisposedOfBeforeItsFirstRunWaitsASecondAndSkipsTheCleanUp) {
  auto analyzer = std::make_unique<BsodAnalyzer>(kProduct);
  ASSERT_EQ(analyzer->Initialize(), 0);
  analyzer.reset();
  EXPECT_EQ(machine.time.now_ms(), 1000u);
  EXPECT_TRUE(Logged("[Critical Error] Waiting for completion event timed out, skipping resource cleanup\n"));
  EXPECT_TRUE(machine.files.Exists(kHostFolder + u"\\sym"));
  EXPECT_EQ(machine.system.heap_blocks(), 0);  // the state went all the same
}

TEST_F(Analyzer, WhoseStateWasDroppedBeforeItsEndCannotStartUntilItIsMadeAnew) {
  BsodAnalyzer analyzer(kProduct);
  ASSERT_EQ(analyzer.Initialize(), 0);
  analyzer.Dispose();
  EXPECT_EQ(Start(&analyzer), kEFail);
  EXPECT_EQ(analyzer.Stop(0), 3u);
  EXPECT_EQ(analyzer.Uninitialize(), 0);
  EXPECT_EQ(analyzer.Initialize(), 0);
  EXPECT_EQ(Start(&analyzer), 0);
  EXPECT_EQ(analyzer.Uninitialize(), 0);
}

TEST_F(Analyzer, DisposedOfWithoutAnAnswerToItsWaitCleansUp) {
  auto analyzer = std::make_unique<BsodAnalyzer>(kProduct);
  ASSERT_EQ(analyzer->Initialize(), 0);
  plan.Fail("WaitForSingleObject", 6);
  analyzer.reset();
  EXPECT_EQ(plan.failures(), 1u);
  EXPECT_EQ(machine.time.now_ms(), 0u);
  EXPECT_EQ(machine.system.DebugText(), "");
  EXPECT_FALSE(machine.files.Exists(kHostFolder + u"\\sym"));
}

TEST_F(Analyzer, DisposedOfDuringARunThatEndsInTimeCleansUp) {
  AddDumps(2);
  BsodAnalyzer analyzer(kProduct);
  ASSERT_EQ(analyzer.Initialize(), 0);
  debugger.Block("WaitForEvent");  // for the 600 ms that a dump has
  const auto dispose = [](void* object) -> std::uint32_t {
    platform::ThreadsPort().Sleep(100);
    static_cast<BsodAnalyzer*>(object)->Dispose();
    return 0;
  };
  const platform::HANDLE thread = machine.threads.CreateThread(dispose, &analyzer);
  EXPECT_EQ(Start(&analyzer), kCancelled);
  machine.threads.WaitForSingleObject(thread, platform::kInfinite);
  machine.system.CloseHandle(thread);
  EXPECT_EQ(no_symbol_.size(), 1u);
  EXPECT_EQ(machine.time.now_ms(), 600u);
  EXPECT_FALSE(Logged("[Critical Error]"));
  EXPECT_FALSE(machine.files.Exists(kHostFolder + u"\\sym"));
  EXPECT_EQ(Start(&analyzer), kEFail);
  EXPECT_EQ(analyzer.Stop(0), 4u) << "its lock is gone";
}

TEST_F(Analyzer, HoldsNoLockWhileItPreparesAndWhileItCleansUp) {
  BsodAnalyzer analyzer(kProduct);
  const auto ask = [&] { EXPECT_EQ(analyzer.Stop(0), 3u); };
  plan.After("CreateFolders", 1, ask);
  ASSERT_EQ(analyzer.Initialize(), 0);
  unsigned asked = 0;
  plan.After("RemoveFolders", 1, [&] {
    ask();
    ++asked;
  });
  EXPECT_EQ(analyzer.Uninitialize(), 0);
  EXPECT_EQ(asked, 1u);
}

TEST_F(Analyzer, DisposedOfDuringARunThatDoesNotEndSkipsTheCleanUp) {
  AddDumps(2);
  BsodAnalyzer analyzer(kProduct);
  ASSERT_EQ(analyzer.Initialize(), 0);
  on_told = [&] {
    analyzer.Dispose();
    EXPECT_EQ(machine.time.now_ms(), 1000u);
    EXPECT_TRUE(Logged("[Critical Error] Cannot stop analysis thread, skipping resource cleanup to avoid crash\n"));
    EXPECT_TRUE(machine.files.Exists(kHostFolder + u"\\sym"));
    EXPECT_EQ(analyzer.Stop(0), 4u) << "there is no state any more";
    EXPECT_EQ(machine.system.heap_blocks(), 1);  // what the run works with stays until it ends
  };
  EXPECT_EQ(Start(&analyzer), kCancelled);
  EXPECT_EQ(no_symbol_.size(), 1u);
  EXPECT_EQ(machine.system.heap_blocks(), 0);
}

TEST_F(Analyzer, TellsTheEndOfARunOnlyAfterItRunsNoMore) {
  AddDumps(1);
  BsodAnalyzer analyzer(kProduct);
  ASSERT_EQ(analyzer.Initialize(), 0);
  plan.Clear();
  EXPECT_EQ(Start(&analyzer), 0);
  const auto calls = plan.Calls();
  EXPECT_EQ(calls.back(), "SetEvent");
  EXPECT_EQ(calls.front(), "ResetEvent");
  EXPECT_EQ(analyzer.Uninitialize(), 0);
}

TEST(Callback, ThatIsNullIsNotCalled) {
  ScriptedPlatform machine;
  machine.system.guard = [](platform::GuardedFunction, void*) -> std::uint32_t {
    ADD_FAILURE();
    return 0;
  };
  InvokeCallback(nullptr, nullptr, 1, "report", "");
}

}  // namespace
}  // namespace varnel

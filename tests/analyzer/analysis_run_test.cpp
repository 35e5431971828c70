// The run: its two passes over the dumps; see bsod_analyzer_object.h.
#include <gtest/gtest.h>

#include "analyzer/bsod_analyzer_object.h"
#include "tests/analyzer/run_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class Run : public RunFixture {
 protected:
  /// Both kinds of marker stand: what the tests add is new.
  Run() {
    PutMarker(kMarkerNoSymbol, {});
    PutMarker(kMarkerWithSymbol, {});
    debugger.facts.modules = {{0xFFFFF80000000000, 0x1000, 0, 0, 7, "nt", "", ""}};
  }

  void Init() { ASSERT_EQ(analyzer.Initialize(), 0); }
  std::int32_t StartBoth() { return analyzer.Start(&TakeNoSymbol, no_context, &TakeWithSymbol, with_context); }
  std::int32_t StartNoSymbol() { return analyzer.Start(&TakeNoSymbol, no_context, nullptr, nullptr); }
  std::int32_t StartWithSymbol() { return analyzer.Start(nullptr, nullptr, &TakeWithSymbol, with_context); }

  void* const no_context = reinterpret_cast<void*>(0x10);
  void* const with_context = reinterpret_cast<void*>(0x11);
  BsodAnalyzer analyzer{kProduct};
};

std::string FileIn(const Told& told) {
  const std::size_t end = told.report.find(".dmp\"");
  return end == std::string::npos ? "none" : told.report.substr(end - 1, 1);
}

TEST_F(Run, TellsEachNewDumpOnceNewestFirstWithoutSymbolsThenWith) {
  const TextList dumps = AddDumps(2);
  Init();
  std::vector<std::string> order;
  on_told = [&] { order.push_back(with_symbol_.empty() ? "no" : "with"); };
  EXPECT_EQ(StartBoth(), 0);
  EXPECT_EQ(order, (std::vector<std::string>{"no", "no", "with", "with"}));
  ASSERT_EQ(no_symbol_.size(), 2u);
  EXPECT_EQ(no_symbol_[0].success, 1);
  EXPECT_EQ(no_symbol_[0].error, "");
  EXPECT_EQ(no_symbol_[0].context, no_context);
  EXPECT_EQ(FileIn(no_symbol_[0]), "1");
  EXPECT_EQ(FileIn(no_symbol_[1]), "0");
  ASSERT_EQ(with_symbol_.size(), 2u);
  EXPECT_EQ(with_symbol_[0].success, 1);
  EXPECT_EQ(with_symbol_[0].error, "");
  EXPECT_EQ(with_symbol_[0].context, with_context);
  EXPECT_NE(no_symbol_[0].report.find(R"("importance":"TRUE")"), std::string::npos);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({Identity(dumps[1]), Identity(dumps[0])}));
  EXPECT_EQ(Marker(kMarkerWithSymbol), MarkerBytes({Identity(dumps[1]), Identity(dumps[0])}));
  EXPECT_EQ(StartBoth(), 0);
  EXPECT_EQ(no_symbol_.size(), 2u);
  EXPECT_EQ(with_symbol_.size(), 2u);
}

TEST_F(Run, WithoutAnyCallbackDoesNothing) {
  AddDumps(1);
  Init();
  EXPECT_EQ(analyzer.Start(nullptr, nullptr, nullptr, nullptr), kEFail);
  EXPECT_EQ(debugger.calls.CountOf("DebugCreate"), 0u);
}

TEST_F(Run, WithOnlyTheSymbolCallbackLeavesTheOtherMarkerAlone) {
  AddDumps(1);
  Init();
  plan.Clear();
  const std::string before = Marker(kMarkerNoSymbol);
  EXPECT_EQ(StartWithSymbol(), 0);
  EXPECT_TRUE(no_symbol_.empty());
  EXPECT_EQ(with_symbol_.size(), 1u);
  EXPECT_EQ(plan.CountOf("FindFirstFileW"), 1u) << "of the one pass";
  EXPECT_EQ(Marker(kMarkerNoSymbol), before);
}

TEST_F(Run, WithOnlyTheOtherCallbackNeverCopiesTheEngine) {
  AddDumps(1);
  Init();
  plan.Clear();
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(no_symbol_.size(), 1u);
  EXPECT_EQ(plan.CountOf("CopyFileW"), 0u);
  EXPECT_EQ(Marker(kMarkerWithSymbol), MarkerBytes({}));
}

TEST_F(Run, WithoutDumpsCopiesNothing) {
  Init();
  plan.Clear();
  EXPECT_EQ(StartBoth(), 0);
  EXPECT_EQ(plan.CountOf("CopyFileW"), 0u);
  EXPECT_FALSE(HasCopies());
}

TEST_F(Run, WithAListThatFailsEndsWell) {
  AddDumps(1);
  Init();
  plan.FailForEver("FindFirstFileW", 5);
  EXPECT_EQ(StartBoth(), 0);
  EXPECT_TRUE(no_symbol_.empty());
  EXPECT_TRUE(with_symbol_.empty());
  EXPECT_EQ(machine.system.DebugText(), "");
}

TEST_F(Run, GoesOnWithSymbolsWhenTheFirstListFails) {
  AddDumps(1);
  Init();
  plan.Fail("FindFirstFileW", 5);
  EXPECT_EQ(StartBoth(), 0);
  EXPECT_TRUE(no_symbol_.empty());
  EXPECT_EQ(with_symbol_.size(), 1u);
}

TEST_F(Run, KeepsSymbolsBesideTheHost) {
  AddDumps(1);
  Init();
  EXPECT_EQ(StartWithSymbol(), 0);
  ASSERT_FALSE(debugger.symbol_paths().empty());
  EXPECT_EQ(debugger.symbol_paths().back(),
            u"srv*" + kHostFolder + u"\\sym*https://msdl.microsoft.com/download/symbols");
}

TEST_F(Run, CopiesTheEngineOnceForThePassAndDeletesItAtTheEnd) {
  AddDumps(3);
  Init();
  plan.Clear();
  on_told = [this] { EXPECT_TRUE(HasCopies()); };
  EXPECT_EQ(StartWithSymbol(), 0);
  EXPECT_EQ(with_symbol_.size(), 3u);
  EXPECT_EQ(plan.CountOf("CopyFileW"), 3u);
  EXPECT_FALSE(HasCopies());
}

TEST_F(Run, FailsWhenTheEngineCannotBeCopied) {
  AddDumps(1);
  machine.files.Remove(kSystemFolder + u"\\dbghelp.dll");
  machine.files.Remove(kSystemFolder + u"\\dbgeng.dll");
  Init();
  EXPECT_EQ(StartWithSymbol(), HrOf(2));
  EXPECT_TRUE(Logged("[Error] Cannot copy symbol DLL: 0x80070002\n"));
  EXPECT_TRUE(with_symbol_.empty());
}

TEST_F(Run, TellsAFailedDumpAndTriesItAgainNextTime) {
  AddDumps(2);
  Init();
  debugger.calls.Fail("OpenDumpFileWide", 0x8007000B);
  EXPECT_EQ(StartNoSymbol(), 0);
  ASSERT_EQ(no_symbol_.size(), 2u);
  EXPECT_EQ(no_symbol_[0].success, 0);
  EXPECT_EQ(no_symbol_[0].report, "");
  EXPECT_EQ(no_symbol_[0].error, "Analysis without symbols failed: HRESULT=0x8007000B");
  EXPECT_EQ(no_symbol_[1].success, 1);
  EXPECT_EQ(StartNoSymbol(), 0);
  ASSERT_EQ(no_symbol_.size(), 3u);
  EXPECT_EQ(FileIn(no_symbol_[2]), "1");
}

TEST_F(Run, TellsADumpThatFailsOnlyWithSymbols) {
  const TextList dumps = AddDumps(1);
  machine.files.Remove(kProductData + u"\\symsrv.dll");
  Init();
  EXPECT_EQ(StartBoth(), 0);
  ASSERT_EQ(no_symbol_.size(), 1u);
  EXPECT_EQ(no_symbol_[0].success, 1);
  ASSERT_EQ(with_symbol_.size(), 1u);
  EXPECT_EQ(with_symbol_[0].success, 0);
  EXPECT_EQ(with_symbol_[0].report, "");
  EXPECT_EQ(with_symbol_[0].error, "Analysis with symbols failed: HRESULT=0x80070002");
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({Identity(dumps[0])}));
  EXPECT_EQ(Marker(kMarkerWithSymbol), MarkerBytes({}));
}

TEST_F(Run, RecordsADumpWhoseCallbackCrashesAndGoesOn) {
  const TextList dumps = AddDumps(2);
  Init();
  machine.system.guard = [](platform::GuardedFunction, void*) -> std::uint32_t { return 0xC0000005; };
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(machine.system.DebugLines().size(), 2u);
  EXPECT_TRUE(Logged("[Error] Exception occurred during callback execution: 0xC0000005\n"));
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({Identity(dumps[1]), Identity(dumps[0])}));
}

TEST_F(Run, GoesOnWhenADumpCannotBeRecorded) {
  AddDumps(2);
  Init();
  plan.FailForEver("WriteFile", 112);
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(no_symbol_.size(), 2u);
}

TEST_F(Run, EndsAtAStopBetweenTwoDumps) {
  const TextList dumps = AddDumps(3);
  Init();
  on_told = [this] { EXPECT_EQ(analyzer.Stop(0), 1u); };
  EXPECT_EQ(StartNoSymbol(), kCancelled);
  EXPECT_EQ(no_symbol_.size(), 1u);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({Identity(dumps[2])}));
  on_told = nullptr;
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(no_symbol_.size(), 3u);
}

TEST_F(Run, EndsAtAStopBetweenTwoDumpsWithSymbolsAndCleansUp) {
  AddDumps(2);
  Init();
  on_told = [this] { EXPECT_EQ(analyzer.Stop(0), 1u); };
  EXPECT_EQ(StartWithSymbol(), kCancelled);
  EXPECT_EQ(with_symbol_.size(), 1u);
  EXPECT_FALSE(HasCopies());
}

TEST_F(Run, DoesNotBeginTheSecondPassAfterAStopInTheFirst) {
  AddDumps(2);
  Init();
  on_told = [this] { analyzer.Stop(0); };
  EXPECT_EQ(StartBoth(), kCancelled);
  EXPECT_TRUE(with_symbol_.empty());
}

/// A thread that stops the run at a told time.
struct Stopper {
  RunFixture* fixture;
  BsodAnalyzer* analyzer;
  std::uint32_t after_ms;
  std::uint32_t timeout_ms;
  std::uint32_t answer = 99;

  static std::uint32_t Main(void* parameter) {
    auto* const self = static_cast<Stopper*>(parameter);
    platform::ThreadsPort().Sleep(self->after_ms);
    self->answer = self->analyzer->Stop(self->timeout_ms);
    return 0;
  }
};

TEST_F(Run, IsStoppedInTheMiddleOfADownload) {
  AddDumps(2);
  Init();
  debugger.Block("WaitForEvent");
  Stopper stopper{this, &analyzer, 3000, 5000};
  const platform::HANDLE thread = machine.threads.CreateThread(&Stopper::Main, &stopper);
  EXPECT_EQ(StartWithSymbol(), kCancelled);
  EXPECT_EQ(machine.time.now_ms(), 3000u);
  machine.threads.WaitForSingleObject(thread, platform::kInfinite);
  machine.system.CloseHandle(thread);
  EXPECT_EQ(stopper.answer, 0u);
  EXPECT_TRUE(with_symbol_.empty());                    // neither told nor recorded
  EXPECT_EQ(debugger.calls.CountOf("EndSession"), 0u);  // and the dump is left alone
  EXPECT_EQ(Marker(kMarkerWithSymbol), MarkerBytes({}));
  EXPECT_FALSE(HasCopies());
  EXPECT_EQ(debugger.live_engines(), 0);
}

TEST_F(Run, AStopDuringTheShortWaitTakesEffectAtTheNextDump) {
  AddDumps(2);
  Init();
  debugger.Block("WaitForEvent");
  Stopper stopper{this, &analyzer, 100, 5000};
  const platform::HANDLE thread = machine.threads.CreateThread(&Stopper::Main, &stopper);
  EXPECT_EQ(StartNoSymbol(), kCancelled);
  EXPECT_EQ(machine.time.now_ms(), 600u);
  EXPECT_EQ(no_symbol_.size(), 1u);
  machine.threads.WaitForSingleObject(thread, platform::kInfinite);
  machine.system.CloseHandle(thread);
  EXPECT_EQ(stopper.answer, 0u);
}

TEST_F(Run, AStopThatCannotEndTheDownloadSaysSoAndWaitsOn) {
  AddDumps(1);
  Init();
  debugger.Block("WaitForEvent");
  plan.Fail({"TerminateThread", 1, false, 5});
  Stopper stopper{this, &analyzer, 3000, 2000};
  const platform::HANDLE thread = machine.threads.CreateThread(&Stopper::Main, &stopper);
  EXPECT_EQ(StartWithSymbol(), 0);
  machine.threads.WaitForSingleObject(thread, platform::kInfinite);
  machine.system.CloseHandle(thread);
  EXPECT_EQ(stopper.answer, 2u);
  EXPECT_TRUE(Logged("[Warning] StopSymbolDownload failed: 0x80070005, but continuing stop process\n"));
}

TEST_F(Run, ThatBeginsAfterAStopIsNotStopped) {
  AddDumps(2);
  Init();
  EXPECT_EQ(analyzer.Stop(0), 3u);
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(no_symbol_.size(), 2u);
}

TEST_F(Run, DoesNotSeeAStopBetweenItsLookAndTheSessionUntilTheDownloadsLimit) {
  AddDumps(2);
  Init();
  debugger.Block("WaitForEvent");
  debugger.facts.modules[0].symbol_type = 3;  // the kernel's symbols never arrive
  // The copies are acquired for the pass and then, behind the look at the flag, for the dump.
  plan.After("InitOnceExecuteOnce", 2, [this] { EXPECT_EQ(analyzer.Stop(0), 1u); });
  EXPECT_EQ(StartWithSymbol(), kCancelled);
  EXPECT_EQ(machine.time.now_ms(), 900'000u);
  ASSERT_EQ(with_symbol_.size(), 1u);  // the one in hand is told as what it is, the next one is not begun
  EXPECT_EQ(with_symbol_[0].error, "Analysis with symbols failed: HRESULT=0x80070102");
}

class FirstRun : public Run {
 protected:
  FirstRun() {
    machine.files.Remove(MarkerPath(kMarkerNoSymbol));
    machine.files.Remove(MarkerPath(kMarkerWithSymbol));
  }
  unsigned KeysOpened() const { return plan.CountOf("RegOpenKeyExW"); }
  /// What any run opens; one that asks for the state of a batch opens more.
  unsigned KeysOpenedByARunWithoutDumps(const std::function<std::int32_t()>& start) {
    plan.Clear();
    EXPECT_EQ(start(), 0);
    return KeysOpened();
  }
  /// How many keys a scan opens; the first dump's question to the batch comes next.
  unsigned KeysOpenedBeforeTheQuestion() {
    CrashDumpConfigManager manager;
    TextList dumps;
    plan.Clear();
    EXPECT_EQ(manager.GetUnanalyzedDumpsNoSymbol(kProduct, kMarkerNoSymbol, &dumps), 0);
    const unsigned count = plan.CountOf("RegOpenKeyExW");
    plan.Clear();
    return count;
  }
};

std::size_t Unimportant(const std::vector<Told>& told) {
  std::size_t count = 0;
  for (const Told& one : told) count += one.report.find(R"("importance":"FALSE")") != std::string::npos;
  return count;
}

TEST_F(FirstRun, TellsItsBatchAsUnimportantAndCompletesIt) {
  AddDumps(7);
  Init();
  EXPECT_EQ(StartBoth(), 0);
  EXPECT_EQ(no_symbol_.size(), 5u);
  EXPECT_EQ(Unimportant(no_symbol_), 5u);
  EXPECT_EQ(Unimportant(with_symbol_), 5u);
  EXPECT_EQ(Dword(u"NoSymbol_Completed"), 1u);
  EXPECT_EQ(Dword(u"WithSymbol_Completed"), 1u);
  EXPECT_EQ(Dword(u"NoSymbol_FirstRunTotalCount"), ~0u);
}

TEST_F(FirstRun, TellsANewDumpBesideTheBatchAsImportant) {
  AddDumps(2);
  Init();
  AddDump(u"9.dmp", "new", 2000);
  EXPECT_EQ(StartNoSymbol(), 0);
  ASSERT_EQ(no_symbol_.size(), 3u);
  EXPECT_EQ(Unimportant(no_symbol_), 2u);
  EXPECT_EQ(Unimportant({no_symbol_[0]}), 0u);
}

TEST_F(FirstRun, LeavesTheBatchOpenUntilItsLastDumpSucceeds) {
  AddDumps(2);
  Init();
  debugger.calls.Fail("OpenDumpFileWide", 0x8007000B);
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(Dword(u"NoSymbol_FirstRunCompletedCount"), 1u);
  EXPECT_EQ(Dword(u"NoSymbol_Completed"), ~0u);
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(Dword(u"NoSymbol_Completed"), 1u);
  EXPECT_EQ(Unimportant(no_symbol_), 2u);
}

TEST_F(FirstRun, AsksOnUntilThePassEndsAlthoughTheBatchIsDone) {
  AddDumps(1);
  Init();
  AddDump(u"8.dmp", "old but new", 10);  // both behind the batch in the list
  AddDump(u"7.dmp", "older but new", 9);
  std::vector<unsigned> opened_keys;
  on_told = [&] { opened_keys.push_back(plan.CountOf("RegOpenKeyExW")); };
  EXPECT_EQ(StartNoSymbol(), 0);
  ASSERT_EQ(no_symbol_.size(), 3u);
  EXPECT_EQ(Dword(u"NoSymbol_Completed"), 1u);
  EXPECT_EQ(Unimportant({no_symbol_[0]}), 1u);
  EXPECT_EQ(Unimportant({no_symbol_[1], no_symbol_[2]}), 0u);
  EXPECT_EQ(opened_keys[2] - opened_keys[1], 1u);  // the question about the last one
  // At the next run the batch is done from the start, and nobody asks.
  on_told = nullptr;
  AddDump(u"6.dmp", "newer", 3000);
  plan.Clear();
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(no_symbol_.size(), 4u);
  const unsigned without_batch = plan.CountOf("RegOpenKeyExW");
  plan.Clear();
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(no_symbol_.size(), 4u);
  EXPECT_EQ(plan.CountOf("RegOpenKeyExW"), without_batch);
}

TEST_F(FirstRun, WithSymbolsAsksNoMoreOnceItsBatchIsDone) {
  AddDumps(1);
  Init();
  EXPECT_EQ(StartWithSymbol(), 0);
  EXPECT_EQ(Unimportant(with_symbol_), 1u);
  EXPECT_EQ(Dword(u"WithSymbol_Completed"), 1u);
  AddDump(u"6.dmp", "newer", 3000);
  plan.Clear();
  EXPECT_EQ(StartWithSymbol(), 0);
  EXPECT_EQ(with_symbol_.size(), 2u);
  const unsigned opened = KeysOpened();
  EXPECT_EQ(opened, KeysOpenedByARunWithoutDumps([this] { return StartWithSymbol(); }));
}

TEST_F(FirstRun, AsksNoMoreEvenWhenItsEndCannotBeWritten) {
  AddDumps(1);
  Init();
  plan.Clear();
  plan.Fail({"RegSetValueExW", 3, false, 112});  // behind the list and the count
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(plan.failures(), 1u);
  EXPECT_EQ(Dword(u"NoSymbol_Completed"), ~0u);
  AddDump(u"6.dmp", "newer", 3000);
  plan.Clear();
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(no_symbol_.size(), 2u);
  const unsigned opened = KeysOpened();
  EXPECT_EQ(opened, KeysOpenedByARunWithoutDumps([this] { return StartNoSymbol(); }));
}

TEST_F(FirstRun, RecordsADumpInItsMarkerBeforeItCountsForTheBatch) {
  const TextList dumps = AddDumps(1);
  Init();
  std::string kept;
  plan.After("RegSetValueExW", 1, [&] { kept = Marker(kMarkerNoSymbol); });
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(kept, MarkerBytes({Identity(dumps[0])}));
}

TEST_F(FirstRun, TakesADumpForNewWhoseQueryFails) {
  AddDumps(1);
  Init();
  // Behind the key of the batch come two values: whether it is done, and its list.
  const unsigned before = KeysOpenedBeforeTheQuestion();
  plan.After("RegOpenKeyExW", before + 1, [this] { plan.Fail({"RegQueryValueExW", 2, false, 5}); });
  EXPECT_EQ(StartNoSymbol(), 0);
  EXPECT_EQ(plan.failures(), 1u);
  ASSERT_EQ(no_symbol_.size(), 1u);
  EXPECT_EQ(no_symbol_[0].success, 1);
  EXPECT_EQ(Unimportant(no_symbol_), 0u);
  EXPECT_EQ(Dword(u"NoSymbol_FirstRunCompletedCount"), 0u);  // so it does not count for the batch
}

TEST_F(FirstRun, DoesNotSeeAStopBetweenItsLookAndTheAnalysisBeforeTheNextDump) {
  AddDumps(2);
  Init();
  plan.After("RegOpenKeyExW", KeysOpenedBeforeTheQuestion() + 1, [this] { EXPECT_EQ(analyzer.Stop(0), 1u); });
  EXPECT_EQ(StartNoSymbol(), kCancelled);
  EXPECT_EQ(no_symbol_.size(), 1u);
}

TEST_F(FirstRun, WithSymbolsSeesSuchAStopBeforeItMakesASession) {
  AddDumps(2);
  Init();
  plan.After("RegOpenKeyExW", KeysOpenedBeforeTheQuestion() + 1, [this] { EXPECT_EQ(analyzer.Stop(0), 1u); });
  EXPECT_EQ(StartWithSymbol(), kCancelled);
  EXPECT_TRUE(with_symbol_.empty());
  EXPECT_EQ(debugger.calls.CountOf("DebugCreate"), 0u);
  EXPECT_FALSE(HasCopies());
}

}  // namespace
}  // namespace varnel

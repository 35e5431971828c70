#include "analyzer/analysis_state.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "tests/analyzer/run_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

using State = RunFixture;

TEST_F(State, KnowsItsPlacesAndNames) {
  AnalysisState state(kProduct);
  EXPECT_TRUE(state.initOk);
  EXPECT_EQ(state.initResult, 0);
  EXPECT_EQ(state.productDataPath, kProductData);
  EXPECT_EQ(state.symbolCachePath, kHostFolder + u"\\sym");
  EXPECT_EQ(state.markerNameNoSymbol, kMarkerNoSymbol);
  EXPECT_EQ(state.markerNameWithSymbol, kMarkerWithSymbol);
  EXPECT_FALSE(HasSession(&state));
  EXPECT_FALSE(state.stopRequested);
  EXPECT_FALSE(state.firstRunNoSymbol);
  EXPECT_FALSE(state.firstRunWithSymbol);
  EXPECT_EQ(state.installConfigFound, 0);
  EXPECT_EQ(machine.threads.WaitForSingleObject(state.completionEvent, 0), 258u);
}

TEST_F(State, GivesItsEventBack) {
  const std::size_t before = machine.handles.open_count();
  {
    const AnalysisState state(kProduct);
    EXPECT_EQ(machine.handles.open_count(), before + 1);
  }
  EXPECT_EQ(machine.handles.open_count(), before);
}

TEST_F(State, AtItsEndAsksForAStopThenEndsItsSessionAndOnlyThenClosesItsEvent) {
  auto state = std::make_unique<AnalysisState>(kProduct);
  {
    const CriticalSectionLock held(state->sessionLock);
    state->session = std::make_unique<DebugEngineSession>(kEngineFromSystemFolder);
  }
  plan.Clear();
  bool stop_asked = false;
  plan.After("CoUninitialize", 1, [&, it = state.get()] { stop_asked = it->stopRequested; });
  state.reset();
  EXPECT_TRUE(stop_asked);
  const auto calls = plan.Calls();
  const auto freed = std::find(calls.begin(), calls.end(), "FreeLibrary");
  EXPECT_NE(freed, calls.end());
  EXPECT_EQ(std::count(calls.begin(), freed, "CloseHandle"), 0);
  EXPECT_EQ(std::count(freed, calls.end(), "CloseHandle"), 1);
}

TEST_F(State, FailsWithoutAnEvent) {
  plan.Fail("CreateEventW", 1450);
  const AnalysisState state(kProduct);
  EXPECT_FALSE(state.initOk);
  EXPECT_EQ(state.initResult, HrOf(1450));
  EXPECT_TRUE(Logged("[Error] Failed to create completion event: 0x000005AA\n"));
  EXPECT_EQ(state.productDataPath, u"");
}

TEST_F(State, FailsWithoutProgramData) {
  machine.system.environment.erase(u"ProgramData");
  const AnalysisState state(kProduct);
  EXPECT_FALSE(state.initOk);
  EXPECT_EQ(state.initResult, HrOf(203));
  EXPECT_EQ(plan.CountOf("GetModuleFileNameW"), 0u) << "no later step is taken";
  EXPECT_TRUE(Logged("[Error] Failed to get ProgramData environment variable: 0x000000CB\n"));
  EXPECT_EQ(state.symbolCachePath, u"");
}

TEST_F(State, FailsWithProgramDataOf260Characters) {
  machine.system.environment[u"ProgramData"] = std::u16string(260, u'd');
  const AnalysisState state(kProduct);
  EXPECT_FALSE(state.initOk);
  EXPECT_EQ(state.initResult, HrOf(122));
  EXPECT_TRUE(Logged("[Error] ProgramData path too long: requires 262 characters, buffer size is 260\n"));
}

TEST_F(State, TakesProgramDataOf259Characters) {
  machine.system.environment[u"ProgramData"] = std::u16string(259, u'd');
  const AnalysisState state(kProduct);
  EXPECT_TRUE(state.initOk);
}

TEST_F(State, FailsWithoutTheHostsPath) {
  plan.Fail("GetModuleFileNameW", 5);
  const AnalysisState state(kProduct);
  EXPECT_FALSE(state.initOk);
  EXPECT_EQ(state.initResult, HrOf(5));
  EXPECT_TRUE(Logged("[Error] Failed to get module file name: 0x00000005\n"));
}

TEST_F(State, TakesAHostsPathOf259Characters) {
  machine.system.host_path = u"C:\\" + std::u16string(250, u'h') + u"\\a.exe";
  ASSERT_EQ(machine.system.host_path.size(), 259u);
  const AnalysisState state(kProduct);
  EXPECT_TRUE(state.initOk);
  EXPECT_EQ(state.symbolCachePath, u"C:\\" + std::u16string(250, u'h') + u"\\sym");
}

TEST_F(State, TakesAHostInTheRootOfItsDriveAndCutsAtNoSlash) {
  machine.system.host_path = u"D:\\a/b.exe";
  const AnalysisState state(kProduct);
  EXPECT_TRUE(state.initOk);
  EXPECT_EQ(state.symbolCachePath, u"D:\\sym");
}

TEST_F(State, FailsWithAHostsPathOf260Characters) {
  machine.system.host_path = u"C:\\" + std::u16string(251, u'h') + u"\\a.exe";
  ASSERT_EQ(machine.system.host_path.size(), 260u);
  const AnalysisState state(kProduct);
  EXPECT_FALSE(state.initOk);
  EXPECT_EQ(state.initResult, HrOf(122));
  EXPECT_TRUE(Logged("[Error] Module file path too long (truncated)\n"));
}

TEST_F(State, FailsWithAHostsPathWithoutAFolder) {
  machine.system.host_path = u"wardlet.exe";
  const AnalysisState state(kProduct);
  EXPECT_FALSE(state.initOk);
  EXPECT_EQ(state.initResult, kEFail);
  EXPECT_TRUE(Logged("[Error] Invalid module file path: no directory separator found\n"));
  EXPECT_EQ(state.markerNameNoSymbol, u"");
}

}  // namespace
}  // namespace varnel

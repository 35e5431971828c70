// What an analyzer does before its first run; see bsod_analyzer_object.h.
#include <gtest/gtest.h>

#include "analyzer/bsod_analyzer_object.h"
#include "tests/analyzer/run_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class Prepare : public RunFixture {
 protected:
  std::int32_t Ask() { return PrepareBsodAnalyzer(&state, kProduct); }
  void SaveUnfinished(bool no_symbol, const TextList& dumps) {
    CrashDumpConfigManager manager;
    ASSERT_EQ(manager.SaveFirstRunFileList(kProduct, no_symbol, dumps), 0);
  }

  AnalysisState state{kProduct};
};

TEST_F(Prepare, BeginsTheFirstRunOfBothKindsOnANewMachine) {
  AddDumps(2);
  EXPECT_EQ(Ask(), 0);
  EXPECT_TRUE(state.firstRunNoSymbol);
  EXPECT_TRUE(state.firstRunWithSymbol);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
  EXPECT_EQ(Marker(kMarkerWithSymbol), MarkerBytes({}));
}

TEST_F(Prepare, HasNoFirstRunOnAMachineWithoutDumps) {
  EXPECT_EQ(Ask(), 0);
  EXPECT_FALSE(state.firstRunNoSymbol);
  EXPECT_FALSE(state.firstRunWithSymbol);
}

TEST_F(Prepare, LeavesBothFlagsWhenMarkersStandAndNothingIsRecorded) {
  PutMarker(kMarkerNoSymbol, {});
  PutMarker(kMarkerWithSymbol, {});
  EXPECT_EQ(Ask(), 0);
  EXPECT_FALSE(state.firstRunNoSymbol);
  EXPECT_FALSE(state.firstRunWithSymbol);
}

TEST_F(Prepare, TakesUpUnfinishedFirstRuns) {
  const TextList dumps = AddDumps(2);
  PutMarker(kMarkerNoSymbol, {});
  PutMarker(kMarkerWithSymbol, {});
  SaveUnfinished(false, dumps);
  EXPECT_EQ(Ask(), 0);
  EXPECT_FALSE(state.firstRunNoSymbol);
  EXPECT_TRUE(state.firstRunWithSymbol);
  SaveUnfinished(true, dumps);
  EXPECT_EQ(Ask(), 0);
  EXPECT_TRUE(state.firstRunNoSymbol);
}

TEST_F(Prepare, LeavesAFinishedFirstRunAlone) {
  const TextList dumps = AddDumps(1);
  PutMarker(kMarkerNoSymbol, {});
  PutMarker(kMarkerWithSymbol, {});
  SaveUnfinished(true, dumps);
  CrashDumpConfigManager manager;
  ASSERT_EQ(manager.MarkFirstRunDumpCompleted(kProduct, true, dumps[0]), 0);
  EXPECT_EQ(Ask(), 0);
  EXPECT_FALSE(state.firstRunNoSymbol);
}

TEST_F(Prepare, DoesNotTakeUpOneKindBesideTheFirstRunOfTheOther) {
  const TextList dumps = AddDumps(2);
  PutMarker(kMarkerWithSymbol, {});
  SaveUnfinished(false, dumps);
  EXPECT_EQ(Ask(), 0);
  EXPECT_TRUE(state.firstRunNoSymbol);
  EXPECT_FALSE(state.firstRunWithSymbol);
}

TEST_F(Prepare, LeavesAFinishedFirstRunWithSymbolsAlone) {
  const TextList dumps = AddDumps(1);
  PutMarker(kMarkerNoSymbol, {});
  PutMarker(kMarkerWithSymbol, {});
  SaveUnfinished(true, dumps);
  SaveUnfinished(false, dumps);
  CrashDumpConfigManager manager;
  ASSERT_EQ(manager.MarkFirstRunDumpCompleted(kProduct, false, dumps[0]), 0);
  EXPECT_EQ(Ask(), 0);
  EXPECT_TRUE(state.firstRunNoSymbol);
  EXPECT_FALSE(state.firstRunWithSymbol);
}

TEST_F(Prepare, DoesNotTakeUpTheOneWithoutSymbolsBesideTheFirstRunWithThem) {
  const TextList dumps = AddDumps(2);
  PutMarker(kMarkerNoSymbol, {});
  SaveUnfinished(true, dumps);
  EXPECT_EQ(Ask(), 0);
  EXPECT_FALSE(state.firstRunNoSymbol);
  EXPECT_TRUE(state.firstRunWithSymbol);
  EXPECT_EQ(Marker(kMarkerWithSymbol), MarkerBytes({}));
}

TEST_F(Prepare, AProductsKeyThatCannotBeOpenedStopsNothing) {
  machine.registry.MakeKey(kProductKey);
  state.installConfigFound = 1;
  plan.Fail("RegOpenKeyExW", 5);
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(state.installConfigFound, 0);
  EXPECT_EQ(Lines(), 0u);
}

TEST_F(Prepare, SeesWhetherTheProductsKeyIsThere) {
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(state.installConfigFound, 0);
  machine.registry.MakeKey(kProductKey);
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(state.installConfigFound, 1);
  EXPECT_EQ(machine.registry.open_keys(), 0u);
}

TEST_F(Prepare, EmptiesTheSymbolCache) {
  machine.files.AddFile(kHostFolder + u"\\sym\\old.pdb", "old");
  EXPECT_EQ(Ask(), 0);
  EXPECT_TRUE(machine.files.IsFolder(kHostFolder + u"\\sym"));
  EXPECT_FALSE(machine.files.Exists(kHostFolder + u"\\sym\\old.pdb"));
}

TEST_F(Prepare, MakesTheSymbolCacheAndRemovesNothingWhereThereWasNone) {
  EXPECT_EQ(Ask(), 0);
  EXPECT_TRUE(machine.files.IsFolder(kHostFolder + u"\\sym"));
  EXPECT_EQ(plan.CountOf("RemoveFolders"), 0u);
}

TEST_F(Prepare, PutsTheCacheInThePlaceOfAFileOfItsName) {
  machine.files.AddFile(kHostFolder + u"\\sym", "a file");
  EXPECT_EQ(Ask(), 0);
  EXPECT_TRUE(machine.files.IsFolder(kHostFolder + u"\\sym"));
}

TEST_F(Prepare, TellsBothOfACacheThatCanNeitherBeEmptiedNorMade) {
  machine.files.AddFile(kHostFolder + u"\\sym\\old.pdb", "old");
  plan.Fail("RemoveFolders", 32);
  plan.Fail("CreateFolders", 5);
  EXPECT_EQ(Ask(), HrOf(5));
  EXPECT_TRUE(Logged("[Warning] Failed to clear symbol cache directory: error code 32\n"));
  EXPECT_TRUE(Logged("[Error] Failed to create symbol cache directory: error code 5\n"));
  EXPECT_EQ(Lines(), 2u);
  EXPECT_EQ(Marker(kMarkerNoSymbol), "absent") << "the first run was not begun";
}

TEST_F(Prepare, GoesOnWithACacheThatCannotBeEmptied) {
  machine.files.AddFile(kHostFolder + u"\\sym\\old.pdb", "old");
  plan.Fail("RemoveFolders", 32);
  EXPECT_EQ(Ask(), 0);
  EXPECT_TRUE(Logged("[Warning] Failed to clear symbol cache directory: error code 32\n"));
}

TEST_F(Prepare, FailsWhenTheCacheCannotBeAskedForOrMade) {
  plan.Fail("GetFileAttributesW", 5);
  EXPECT_EQ(Ask(), HrOf(5));
  EXPECT_EQ(plan.CountOf("RemoveFolders") + plan.CountOf("CreateFolders"), 0u);
  EXPECT_TRUE(Logged("[Error] Failed to check symbol cache directory: error code 5\n"));
  plan.Fail("CreateFolders", 112);
  EXPECT_EQ(Ask(), HrOf(112));
  EXPECT_TRUE(Logged("[Error] Failed to create symbol cache directory: error code 112\n"));
}

TEST_F(Prepare, NeedsNoCacheWithoutAPlaceForIt) {
  state.symbolCachePath.clear();
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(plan.CountOf("RemoveFolders"), 0u);
}

TEST_F(Prepare, FailsWhenTheHostsFolderIsNotKnownBeforeAnythingElseIsTouched) {
  machine.files.AddFile(kHostFolder + u"\\sym\\old.pdb", "old");
  machine.registry.MakeKey(kProductKey);
  plan.Fail("GetModuleFileNameW", 5);
  EXPECT_EQ(Ask(), HrOf(5));
  EXPECT_EQ(state.installConfigFound, 1) << "that was looked at first";
  EXPECT_TRUE(machine.files.Exists(kHostFolder + u"\\sym\\old.pdb"));
  EXPECT_EQ(Marker(kMarkerNoSymbol), "absent");
  EXPECT_TRUE(Logged("[Error] StaticInitialize failed: 0x80070005\n"));
}

TEST_F(Prepare, FailsWhenTheFirstRunCannotBegin) {
  machine.files.AddFolder(MarkerPath(kMarkerNoSymbol));  // in the marker's place
  EXPECT_LT(Ask(), 0);
  EXPECT_TRUE(Logged("[Error] Failed to mark existing dumps (no symbol): 0x8007"));
  EXPECT_EQ(Marker(kMarkerWithSymbol), "absent") << "the other kind is not begun";
  machine.files.Remove(MarkerPath(kMarkerNoSymbol));
  machine.files.AddFolder(MarkerPath(kMarkerWithSymbol));
  EXPECT_LT(Ask(), 0);
  EXPECT_TRUE(Logged("[Error] Failed to mark existing dumps (with symbol): 0x8007"));
}

}  // namespace
}  // namespace varnel

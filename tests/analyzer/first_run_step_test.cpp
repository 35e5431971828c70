#include "analyzer/crash_dump_config_manager.h"
#include "base/log.h"
#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class FirstRunStep : public AnalyzerTest {
 protected:
  FirstRunStep() { plan.Clear(); }

  std::int32_t Step() {
    started = true;
    const std::int32_t result = manager.MarkAllExistingDumpsAsAnalyzedNoSymbol(kProduct, kMarkerNoSymbol, &started);
    ExpectNothingHeld();
    return result;
  }
  /// The identities of the saved batch, in their order; empty when none is saved.
  TextList Batch(const std::u16string& prefix = u"NoSymbol_") const {
    TextList list;
    const auto value = machine.registry.Get(kProductKey, prefix + u"FirstRunFileList");
    if (!value) return list;
    const auto* text = reinterpret_cast<const char16_t*>(value->data.data());
    for (; *text != 0; text += list.back().size() + 1) list.emplace_back(text);
    return list;
  }
  TextList IdentitiesOf(const TextList& paths) const {
    TextList identities;
    for (const std::u16string& path : paths) identities.push_back(Identity(path));
    return identities;
  }

  CrashDumpConfigManager manager;
  bool started = false;
};

TEST_F(FirstRunStep, OfSixDumpsOneGoesToTheMarkerAndTheNewestFiveToTheBatch) {
  const TextList dumps = AddDumps(6);
  EXPECT_EQ(Step(), 0);
  EXPECT_TRUE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({Identity(dumps[0])}));
  EXPECT_EQ(Batch(), IdentitiesOf({dumps[5], dumps[4], dumps[3], dumps[2], dumps[1]}));
}

TEST_F(FirstRunStep, OfFiveDumpsNoneGoesToTheMarkerWhichIsEmpty) {
  const TextList dumps = AddDumps(5);
  EXPECT_EQ(Step(), 0);
  EXPECT_TRUE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
  EXPECT_EQ(Batch(), IdentitiesOf(dumps)) << "as found, not sorted";
  EXPECT_EQ(plan.CountOf("GetFileAttributesExW"), 0u);
}

TEST_F(FirstRunStep, OldDumpsAreRecordedBeforeTheBatchIsSavedAndAnEmptyMarkerIsWrittenBehindIt) {
  const TextList dumps = AddDumps(6);
  std::string kept = "no batch";
  const auto look = [&] { kept = Marker(kMarkerNoSymbol); };
  plan.After("RegCreateKeyExW", 1, look);
  EXPECT_EQ(Step(), 0);
  EXPECT_EQ(kept, MarkerBytes({Identity(dumps[0])}));
  machine.files.Remove(MarkerPath(kMarkerNoSymbol));
  machine.files.Remove(dumps[0]);
  plan.After("RegCreateKeyExW", 1, look);
  EXPECT_EQ(Step(), 0);
  EXPECT_EQ(kept, "absent");
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
}

TEST_F(FirstRunStep, OfOneDumpMakesABatchOfOne) {
  const TextList dumps = AddDumps(1);
  EXPECT_EQ(Step(), 0);
  EXPECT_TRUE(started);
  EXPECT_EQ(Batch(), IdentitiesOf(dumps));
}

TEST_F(FirstRunStep, OfManyDumpsWritesOffTheOldOnesNewestFirst) {
  const TextList dumps = AddDumps(12);
  EXPECT_EQ(Step(), 0);
  EXPECT_EQ(Marker(kMarkerNoSymbol),
            MarkerBytes(IdentitiesOf({dumps[6], dumps[5], dumps[4], dumps[3], dumps[2], dumps[1], dumps[0]})));
  TextList offered;
  EXPECT_EQ(manager.GetUnanalyzedDumpsNoSymbol(kProduct, kMarkerNoSymbol, &offered), 0);
  EXPECT_EQ(offered, (TextList{dumps[11], dumps[10], dumps[9], dumps[8], dumps[7]}));
}

TEST_F(FirstRunStep, WithoutDumpsWritesAnEmptyMarkerAndNoBatch) {
  EXPECT_EQ(Step(), 0);
  EXPECT_FALSE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
  EXPECT_FALSE(machine.registry.HasKey(kProductKey));
}

TEST_F(FirstRunStep, IsDoneOnce) {
  AddDumps(6);
  PutMarker(kMarkerNoSymbol, {});
  EXPECT_EQ(Step(), 0);
  EXPECT_FALSE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
  EXPECT_TRUE(Batch().empty());
}

TEST_F(FirstRunStep, IsDoneAgainWhenItsMarkerIsDeleted) {
  AddDumps(1);
  EXPECT_EQ(Step(), 0);
  machine.files.Remove(MarkerPath(kMarkerNoSymbol));
  EXPECT_EQ(Step(), 0);
  EXPECT_TRUE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
}

TEST_F(FirstRunStep, OfTheTwoKindsKeepTheirOwnMarkersAndBatches) {
  const TextList dumps = AddDumps(2);
  EXPECT_EQ(manager.MarkAllExistingDumpsAsAnalyzedWithSymbol(kProduct, kMarkerWithSymbol, &started), 0);
  EXPECT_TRUE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), "absent");
  EXPECT_EQ(Marker(kMarkerWithSymbol), MarkerBytes({}));
  EXPECT_TRUE(Batch().empty());
  EXPECT_EQ(Batch(u"WithSymbol_"), IdentitiesOf(dumps));
}

TEST_F(FirstRunStep, WithDumpsDisabledWritesAnEmptyMarkerSoThatLaterDumpsAreAllTold) {
  SetLogLevels(LOG_DETAIL);
  SetControl(u"CrashDumpEnabled", 0);
  EXPECT_EQ(Step(), 0);
  EXPECT_FALSE(started);
  EXPECT_TRUE(Logged("[Info] BSOD dump is disabled, saving empty marker for NoSymbol\n"));
  EXPECT_EQ(manager.MarkAllExistingDumpsAsAnalyzedWithSymbol(kProduct, kMarkerWithSymbol, nullptr), 0);
  EXPECT_TRUE(Logged("[Info] BSOD dump is disabled, saving empty marker for WithSymbol\n"));
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
  AddDumps(9);
  SetControl(u"CrashDumpEnabled", 3);
  EXPECT_EQ(Step(), 0);
  EXPECT_FALSE(started);
  TextList offered;
  EXPECT_EQ(manager.GetUnanalyzedDumpsNoSymbol(kProduct, kMarkerNoSymbol, &offered), 0);
  EXPECT_EQ(offered.size(), 9u) << "without a limit";
}

TEST_F(FirstRunStep, WithSettingsThatTellOfNoFolderWritesAnEmptyMarker) {
  AddDumps(6);
  SetControl(u"CrashDumpEnabled", 4);
  EXPECT_EQ(Step(), 0);
  EXPECT_FALSE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
}

TEST_F(FirstRunStep, WithAFolderThatCannotBeSearchedWritesAnEmptyMarkerWhateverTheError) {
  machine.files.Remove(kDumpFolder);
  EXPECT_EQ(Step(), 0);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({})) << "an absent folder";
  machine.files.Remove(MarkerPath(kMarkerNoSymbol));
  AddDumps(6);
  plan.Fail("FindFirstFileW", 5);
  EXPECT_EQ(Step(), 0);
  EXPECT_FALSE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
}

TEST_F(FirstRunStep, WithoutSettingsFailsAndWritesNothing) {
  machine.registry.RemoveKey(kCrashControl);
  CrashDumpConfigManager unavailable;
  started = true;
  EXPECT_EQ(unavailable.MarkAllExistingDumpsAsAnalyzedNoSymbol(kProduct, kMarkerNoSymbol, &started), kEFail);
  EXPECT_FALSE(started);
  EXPECT_TRUE(Logged("[Error] Failed to get BSOD config in MarkAllExistingDumpsAsAnalyzedNoSymbol: 0x80004005\n"));
  EXPECT_EQ(unavailable.MarkAllExistingDumpsAsAnalyzedWithSymbol(kProduct, kMarkerWithSymbol, nullptr), kEFail);
  EXPECT_TRUE(Logged("[Error] Failed to get BSOD config in MarkAllExistingDumpsAsAnalyzedWithSymbol: 0x80004005\n"));
  EXPECT_EQ(Marker(kMarkerNoSymbol), "absent");
}

TEST_F(FirstRunStep, ABatchThatCannotBeSavedIsNoFailureAndNothingHasStarted) {
  AddDumps(6);
  plan.Fail("RegCreateKeyExW", 5);
  EXPECT_EQ(Step(), 0);
  EXPECT_FALSE(started);
  EXPECT_NE(Marker(kMarkerNoSymbol), "absent");
  machine.files.Remove(MarkerPath(kMarkerNoSymbol));
  machine.files.Remove(kDumpFolder + u"\\0.dmp");
  plan.Fail("RegSetValueExW", 112);
  EXPECT_EQ(Step(), 0) << "nor with five dumps";
  EXPECT_FALSE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
}

TEST_F(FirstRunStep, WithDumpsThatAllCannotBeReadStartsNothing) {
  AddDumps(3);
  plan.FailForEver("GetFileSizeEx", 5);
  EXPECT_EQ(Step(), 0);
  EXPECT_FALSE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({}));
}

TEST_F(FirstRunStep, OldDumpsThatCannotBeRecordedAreLeftToTheNextScan) {
  const TextList dumps = AddDumps(8);
  plan.Fail({"GetFileSizeEx", 1, false, 5});  // of the first of the three old ones
  EXPECT_EQ(Step(), 0);
  EXPECT_TRUE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes(IdentitiesOf({dumps[1], dumps[0]})));
}

TEST_F(FirstRunStep, WhoseRecordsAllFailLeavesNoMarkerAndIsDoneAgain) {
  AddDumps(6);
  plan.Fail("GetFileSizeEx", 5);
  EXPECT_EQ(Step(), 0);
  EXPECT_TRUE(started);
  EXPECT_EQ(Marker(kMarkerNoSymbol), "absent");
}

TEST_F(FirstRunStep, TellsAMarkerThatCannotBeWritten) {
  AddDumps(2);
  machine.files.AddFolder(MarkerPath(kMarkerNoSymbol));
  EXPECT_EQ(Step(), kEAccessDenied);
  EXPECT_TRUE(started) << "the batch was saved before";
  machine.files.Remove(kDumpFolder);
  EXPECT_EQ(Step(), kEAccessDenied);
  SetControl(u"CrashDumpEnabled", 0);
  EXPECT_EQ(Step(), kEAccessDenied);
  SetControl(u"CrashDumpEnabled", 4);
  EXPECT_EQ(Step(), kEAccessDenied);
  EXPECT_FALSE(started);
}

TEST_F(FirstRunStep, NeedsNoPlaceForItsAnswer) {
  AddDumps(7);
  EXPECT_EQ(manager.MarkAllExistingDumpsAsAnalyzedNoSymbol(kProduct, kMarkerNoSymbol, nullptr), 0);
  EXPECT_EQ(Batch().size(), 5u);
}

}  // namespace
}  // namespace varnel

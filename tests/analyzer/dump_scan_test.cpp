#include "analyzer/crash_dump_config_manager.h"
#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class DumpScan : public AnalyzerTest {
 protected:
  DumpScan() { plan.Clear(); }

  std::int32_t Scan() {
    paths = {u"of an earlier call"};
    const std::int32_t result = manager.GetUnanalyzedDumpsNoSymbol(kProduct, kMarkerNoSymbol, &paths);
    ExpectNothingHeld();
    return result;
  }
  std::int32_t List(const std::u16string& folder) {
    paths = {u"of an earlier call"};
    return manager.ListDumpFiles(folder, &paths);
  }

  CrashDumpConfigManager manager;
  TextList paths;
};

TEST_F(DumpScan, AListStandsNewestFirst) {
  const TextList dumps = AddDumps(3);
  EXPECT_EQ(List(kDumpFolder), 0);
  EXPECT_EQ(paths, (TextList{dumps[2], dumps[1], dumps[0]}));
}

TEST_F(DumpScan, AListEndsWithWhatHasNoTime) {
  const TextList dumps = AddDumps(3);
  plan.Fail({"GetFileAttributesExW", 3, false, 5});  // of the newest
  EXPECT_EQ(List(kDumpFolder), 0);
  EXPECT_EQ(paths, (TextList{dumps[1], dumps[0], dumps[2]}));
}

TEST_F(DumpScan, AListOfAFolderWithoutDumpsIsEmptyAndOfAnAbsentFolderItsError) {
  EXPECT_EQ(List(kDumpFolder), 0);
  EXPECT_TRUE(paths.empty());
  EXPECT_EQ(List(u"C:\\None"), HrOf(3));
  EXPECT_TRUE(paths.empty());
  plan.Fail("FindFirstFileW", 5);
  EXPECT_EQ(List(kDumpFolder), kEAccessDenied);
}

TEST_F(DumpScan, OffersWhatTheMarkerDoesNotListNewestFirst) {
  const TextList dumps = AddDumps(4);
  PutMarker(kMarkerNoSymbol, {Identity(dumps[2]), u"0123456789ABCDEF0123456789ABCDEF", Identity(dumps[0])});
  EXPECT_EQ(Scan(), 0);
  EXPECT_EQ(paths, (TextList{dumps[3], dumps[1]}));
}

TEST_F(DumpScan, WithoutAMarkerOffersAll) {
  AddDumps(3);
  EXPECT_EQ(Scan(), 0);
  EXPECT_EQ(paths.size(), 3u);
}

TEST_F(DumpScan, TheTwoKindsReadTheirOwnMarkers) {
  const TextList dumps = AddDumps(2);
  PutMarker(kMarkerNoSymbol, {Identity(dumps[0])});
  PutMarker(kMarkerWithSymbol, {Identity(dumps[1])});
  EXPECT_EQ(Scan(), 0);
  EXPECT_EQ(paths, TextList{dumps[1]});
  EXPECT_EQ(manager.GetUnanalyzedDumpsWithSymbol(kProduct, kMarkerWithSymbol, &paths), 0);
  EXPECT_EQ(paths, TextList{dumps[0]});
}

TEST_F(DumpScan, ReadsTheMarkerOnceAndEachLargeDumpTwice) {
  for (unsigned i = 0; i < 10; ++i)
    AddDump(u"d" + std::u16string(i + 1, u'x') + u".dmp", std::string(200000 + i, 'x'), i);
  PutMarker(kMarkerNoSymbol, {});
  EXPECT_EQ(Scan(), 0);
  EXPECT_EQ(plan.CountOf("ReadFile"), 1u + 2 * 10);
}

TEST_F(DumpScan, WithDumpsDisabledHasNothingToDo) {
  AddDumps(2);
  SetControl(u"CrashDumpEnabled", 0);
  EXPECT_EQ(Scan(), 1);
  EXPECT_TRUE(paths.empty());
}

TEST_F(DumpScan, SettingsThatCannotBeReadOrTellOfNoFolderFail) {
  AddDumps(1);
  SetControl(u"CrashDumpEnabled", 4);
  EXPECT_EQ(Scan(), kEFail);
  EXPECT_TRUE(paths.empty());
  machine.registry.RemoveKey(kCrashControl);
  const CrashDumpConfigManager unavailable;
  EXPECT_EQ(unavailable.GetUnanalyzedDumpsNoSymbol(kProduct, kMarkerNoSymbol, &paths), kEFail);
}

TEST_F(DumpScan, TheFolderOfTheDumpFileIsSearchedForAllDumps) {
  machine.files.AddFile(u"C:\\Windows\\MEMORY.DMP", "full");
  machine.files.AddFile(u"C:\\Windows\\old.dmp", "old");
  AddDumps(1);
  SetControl(u"CrashDumpEnabled", 7);
  EXPECT_EQ(Scan(), 0);
  EXPECT_EQ(paths.size(), 2u) << "and not what stands below it";
}

TEST_F(DumpScan, AFolderThatIsNotThereFailsTheScan) {
  machine.files.Remove(kDumpFolder);
  EXPECT_EQ(Scan(), HrOf(3));
}

TEST_F(DumpScan, AnEmptyFolderAsksForNoMarker) {
  machine.files.AddFolder(MarkerPath(kMarkerNoSymbol));  // it could not be read
  EXPECT_EQ(Scan(), 0);
  EXPECT_TRUE(paths.empty());
}

TEST_F(DumpScan, AMarkerThatCannotBeReadStopsTheScan) {
  AddDumps(2);
  machine.files.AddFolder(MarkerPath(kMarkerNoSymbol));
  EXPECT_EQ(Scan(), kEAccessDenied);
  EXPECT_TRUE(paths.empty());
}

TEST_F(DumpScan, ADumpThatCannotBeOpenedIsLeftOutAndOfferedNextTime) {
  const TextList dumps = AddDumps(3);
  const auto writer =
      machine.files.CreateFileW(dumps[1].c_str(), platform::kGenericWrite, 7, platform::kOpenExisting, 0);
  paths.clear();
  EXPECT_EQ(manager.GetUnanalyzedDumpsNoSymbol(kProduct, kMarkerNoSymbol, &paths), 0);
  EXPECT_EQ(paths, (TextList{dumps[2], dumps[0]}));
  EXPECT_EQ(Lines(), 1u) << "of the open alone";
  machine.system.CloseHandle(writer);
  EXPECT_EQ(Scan(), 0);
  EXPECT_EQ(paths.size(), 3u);
}

TEST_F(DumpScan, ADumpOfNoBytesIsOfferedEachTime) {
  const std::u16string empty = AddDump(u"empty.dmp", "", 1);
  EXPECT_EQ(Scan(), 0);
  EXPECT_EQ(paths, TextList{empty});
  EXPECT_EQ(manager.AddAnalyzedDump(empty, kProduct, kMarkerNoSymbol), 0);
  EXPECT_EQ(Scan(), 0);
  EXPECT_EQ(paths, TextList{empty}) << "its empty line counts for nothing";
}

TEST_F(DumpScan, ATouchedDumpIsNewAgain) {
  const TextList dumps = AddDumps(1);
  PutMarker(kMarkerNoSymbol, {Identity(dumps[0])});
  EXPECT_EQ(Scan(), 0);
  EXPECT_TRUE(paths.empty());
  machine.files.SetTimes(dumps[0], 1, kWritten + 1);
  EXPECT_EQ(Scan(), 0);
  EXPECT_EQ(paths, dumps);
}

}  // namespace
}  // namespace varnel

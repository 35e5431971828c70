#include "analyzer/crash_dump_config_manager.h"
#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class FirstRunProgress : public AnalyzerTest {
 protected:
  FirstRunProgress() : dumps(AddDumps(3)) { plan.Clear(); }

  std::int32_t Save(const TextList& paths, bool isNoSymbol = true) {
    return Held(manager.SaveFirstRunFileList(kProduct, isNoSymbol, paths));
  }
  std::int32_t MarkDone(const std::u16string& path) {
    return Held(manager.MarkFirstRunDumpCompleted(kProduct, true, path));
  }
  std::int32_t Query(bool isNoSymbol = true) {
    status = 99;
    return Held(manager.QueryFirstRunStatus(kProduct, isNoSymbol, nullptr, &status));
  }
  std::int32_t Query(const std::u16string& path) {
    status = 99;
    return Held(manager.QueryFirstRunStatus(kProduct, true, &path, &status));
  }
  std::int32_t Complete(bool isNoSymbol = true) { return Held(manager.CompleteFirstRun(kProduct, isNoSymbol)); }

  std::int32_t Held(std::int32_t result) {
    ExpectNothingHeld();
    return result;
  }
  std::optional<std::uint32_t> Count(const std::u16string& name) const {
    return machine.registry.GetDword(kProductKey, name);
  }
  /// A stored list as it stands, zeros included.
  std::u16string Stored(const std::u16string& name) const {
    const auto value = machine.registry.Get(kProductKey, name);
    if (!value) return u"absent";
    EXPECT_EQ(value->type, platform::kRegMultiSz);
    return {reinterpret_cast<const char16_t*>(value->data.data()), value->data.size() / 2};
  }
  void PutList(const std::u16string& name, const std::u16string& stored) {
    machine.registry.Set(kProductKey, name, platform::kRegMultiSz, stored.data(), stored.size() * 2);
  }
  void Forget(const std::u16string& name) {
    platform::HKEY key = nullptr;
    machine.registry.RegOpenKeyExW(platform::kHkeyLocalMachine, kProductKey.c_str(), 0, platform::kKeyWrite, &key);
    EXPECT_EQ(machine.registry.RegDeleteValueW(key, name.c_str()), 0u);
    machine.registry.RegCloseKey(key);
  }

  const std::u16string zero = std::u16string(1, u'\0');
  const TextList dumps;
  CrashDumpConfigManager manager;
  std::uint32_t status = 99;
};

TEST_F(FirstRunProgress, StandsUnderTheProductsKey) {
  EXPECT_EQ(manager.GetFirstRunRegistryPath(kProduct), kProductKey);
}

TEST_F(FirstRunProgress, ABatchIsSavedAsCountsAndListsOfIdentities) {
  EXPECT_EQ(Save(dumps), 0);
  EXPECT_EQ(Count(u"NoSymbol_FirstRunTotalCount"), 3u);
  EXPECT_EQ(Count(u"NoSymbol_FirstRunCompletedCount"), 0u);
  EXPECT_EQ(Stored(u"NoSymbol_FirstRunFileList"),
            Identity(dumps[0]) + zero + Identity(dumps[1]) + zero + Identity(dumps[2]) + zero + zero);
  EXPECT_EQ(Stored(u"NoSymbol_FirstRunCompletedList"), zero);
  TextList names;
  for (const auto& value : machine.registry.Values(kProductKey)) names.push_back(value.name);
  EXPECT_EQ(names, (TextList{u"NoSymbol_FirstRunTotalCount", u"NoSymbol_FirstRunCompletedCount",
                             u"NoSymbol_FirstRunFileList", u"NoSymbol_FirstRunCompletedList"}));
}

TEST_F(FirstRunProgress, TheTwoKindsHaveTheirOwnNames) {
  EXPECT_EQ(Save({dumps[0]}, false), 0);
  EXPECT_EQ(Count(u"WithSymbol_FirstRunTotalCount"), 1u);
  EXPECT_FALSE(Count(u"NoSymbol_FirstRunTotalCount").has_value());
  EXPECT_EQ(Query(true), 1);
  EXPECT_EQ(Query(false), 0);
}

TEST_F(FirstRunProgress, NothingToSaveTouchesNothing) {
  EXPECT_EQ(Save({}), 1);
  EXPECT_TRUE(plan.Calls().empty());
}

TEST_F(FirstRunProgress, DumpsThatCannotBeReadShrinkTheBatch) {
  const std::u16string empty = AddDump(u"empty.dmp", "", 1);
  EXPECT_EQ(Save({kDumpFolder + u"\\none.dmp", dumps[1], empty}), 0);
  EXPECT_EQ(Count(u"NoSymbol_FirstRunTotalCount"), 1u);
  EXPECT_EQ(Stored(u"NoSymbol_FirstRunFileList"), Identity(dumps[1]) + zero + zero);
}

TEST_F(FirstRunProgress, ABatchOfWhichNothingCanBeReadFailsAndWritesNothing) {
  EXPECT_EQ(Save({kDumpFolder + u"\\none.dmp", kDumpFolder + u"\\neither.dmp"}), kEFail);
  EXPECT_TRUE(machine.registry.HasKey(kProductKey)) << "the key is made first";
  EXPECT_TRUE(machine.registry.Values(kProductKey).empty());
}

TEST_F(FirstRunProgress, ASaveEndsAtItsFirstFailure) {
  plan.Fail("RegCreateKeyExW", 5);
  EXPECT_EQ(Save(dumps), kEAccessDenied);
  for (unsigned nth = 1; nth <= 4; ++nth) {
    machine.registry.RemoveKey(kProductKey);
    plan.Clear();
    plan.Fail({"RegSetValueExW", nth, false, 112});
    EXPECT_EQ(Save(dumps), HrOf(112)) << nth;
    EXPECT_EQ(machine.registry.Values(kProductKey).size(), nth - 1);
    EXPECT_EQ(plan.CountOf("RegSetValueExW"), nth);
  }
}

TEST_F(FirstRunProgress, ADumpThatIsDoneIsCountedOnce) {
  Save(dumps);
  EXPECT_EQ(MarkDone(dumps[1]), 0);
  EXPECT_EQ(Count(u"NoSymbol_FirstRunCompletedCount"), 1u);
  EXPECT_EQ(MarkDone(dumps[1]), 1);
  EXPECT_EQ(Count(u"NoSymbol_FirstRunCompletedCount"), 1u);
  EXPECT_EQ(MarkDone(dumps[0]), 0);
  EXPECT_EQ(Count(u"NoSymbol_FirstRunCompletedCount"), 2u);
  EXPECT_EQ(Stored(u"NoSymbol_FirstRunCompletedList"), Identity(dumps[1]) + zero + Identity(dumps[0]) + zero + zero)
      << "in the order of completion";
}

TEST_F(FirstRunProgress, ADumpCannotBeDoneWithoutTheKeyOrUnread) {
  EXPECT_EQ(MarkDone(dumps[0]), 1);
  Save(dumps);
  plan.Clear();
  plan.Fail("RegOpenKeyExW", 5);
  EXPECT_EQ(MarkDone(dumps[0]), 1) << "whatever the open failed with";
  EXPECT_EQ(MarkDone(kDumpFolder + u"\\none.dmp"), kEFail);
  EXPECT_EQ(MarkDone(AddDump(u"empty.dmp", "", 1)), kEFail);
  EXPECT_EQ(Count(u"NoSymbol_FirstRunCompletedCount"), 0u);
}

TEST_F(FirstRunProgress, AMissingListOfDoneDumpsCountsAsEmpty) {
  Save(dumps);
  Forget(u"NoSymbol_FirstRunCompletedList");
  EXPECT_EQ(MarkDone(dumps[0]), 0);
  EXPECT_EQ(Stored(u"NoSymbol_FirstRunCompletedList"), Identity(dumps[0]) + zero + zero);
  EXPECT_EQ(Count(u"NoSymbol_FirstRunCompletedCount"), 1u);
}

TEST_F(FirstRunProgress, AListOfDoneDumpsThatCannotBeReadCountsAsEmptyToo) {
  Save(dumps);
  MarkDone(dumps[0]);
  plan.Clear();
  plan.Fail("RegQueryValueExW", 5);
  EXPECT_EQ(MarkDone(dumps[1]), 0);
  EXPECT_EQ(Stored(u"NoSymbol_FirstRunCompletedList"), Identity(dumps[1]) + zero + zero) << "and is written anew";
  EXPECT_EQ(Count(u"NoSymbol_FirstRunCompletedCount"), 2u);
}

TEST_F(FirstRunProgress, TwoDumpsOfOneIdentityAreCountedAsTwoAndDoneAsOne) {
  const std::u16string copy = AddDump(u"copy.dmp", machine.files.Contents(dumps[0]), 5);
  EXPECT_EQ(Save({dumps[0], copy}), 0);
  EXPECT_EQ(Count(u"NoSymbol_FirstRunTotalCount"), 2u);
  EXPECT_EQ(MarkDone(dumps[0]), 0);
  EXPECT_EQ(MarkDone(copy), 1);
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 0u) << "and never finished";
}

TEST_F(FirstRunProgress, AMissingCountIsLeftAlone) {
  Save(dumps);
  Forget(u"NoSymbol_FirstRunCompletedCount");
  EXPECT_EQ(MarkDone(dumps[0]), 0);
  EXPECT_FALSE(Count(u"NoSymbol_FirstRunCompletedCount").has_value());
}

TEST_F(FirstRunProgress, AListOrACountThatCannotBeWrittenFails) {
  Save(dumps);
  plan.Clear();
  plan.Fail("RegSetValueExW", 112);
  EXPECT_EQ(MarkDone(dumps[0]), HrOf(112));
  EXPECT_EQ(Stored(u"NoSymbol_FirstRunCompletedList"), zero);
  plan.Fail({"RegSetValueExW", 2, false, 5});
  EXPECT_EQ(MarkDone(dumps[0]), kEAccessDenied);
  EXPECT_EQ(Stored(u"NoSymbol_FirstRunCompletedList"), Identity(dumps[0]) + zero + zero) << "the list is written first";
}

TEST_F(FirstRunProgress, AQueryOnAMachineWithoutTheKeyFindsNothing) {
  EXPECT_EQ(Query(), 1);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(Query(dumps[0]), 1);
  EXPECT_EQ(status, 0u);
  Save(dumps);
  plan.Fail("RegOpenKeyExW", 5);
  EXPECT_EQ(Query(), 1) << "nor where the key cannot be opened";
  EXPECT_EQ(status, 0u);
}

TEST_F(FirstRunProgress, AQueryWithoutAPlaceForItsAnswerIsAPointerError) {
  EXPECT_EQ(manager.QueryFirstRunStatus(kProduct, true, nullptr, nullptr), kEPointer);
}

TEST_F(FirstRunProgress, AFinishedRunHasNoDumpsToDo) {
  Save(dumps);
  machine.registry.SetDword(kProductKey, u"NoSymbol_Completed", 1);
  EXPECT_EQ(Query(dumps[0]), 0);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 1u);
  machine.registry.SetDword(kProductKey, u"NoSymbol_Completed", 0);
  EXPECT_EQ(Query(dumps[0]), 0);
  EXPECT_EQ(status, 1u) << "0 is not finished";
}

TEST_F(FirstRunProgress, AFinishedRunDoesNotLookAtTheDump) {
  machine.registry.SetDword(kProductKey, u"NoSymbol_Completed", 1);
  EXPECT_EQ(Query(kDumpFolder + u"\\none.dmp"), 0);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(plan.CountOf("CreateFileW"), 0u);
}

TEST_F(FirstRunProgress, ARunOfWhichItCannotBeReadWhetherItIsFinishedIsNot) {
  Save(dumps);
  machine.registry.SetDword(kProductKey, u"NoSymbol_Completed", 1);
  plan.Fail("RegQueryValueExW", 5);
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 0u);
  plan.Fail("RegQueryValueExW", 5);
  EXPECT_EQ(Query(dumps[0]), 0);
  EXPECT_EQ(status, 1u);
}

TEST_F(FirstRunProgress, ADumpOfTheBatchIsToDoUntilItIsDoneAndOneOutsideNever) {
  Save({dumps[0], dumps[1]});
  EXPECT_EQ(Query(dumps[0]), 0);
  EXPECT_EQ(status, 1u);
  EXPECT_EQ(Query(dumps[2]), 0);
  EXPECT_EQ(status, 0u);
  MarkDone(dumps[0]);
  EXPECT_EQ(Query(dumps[0]), 0);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(Query(dumps[1]), 0);
  EXPECT_EQ(status, 1u);
}

TEST_F(FirstRunProgress, ADumpStaysInTheBatchUnderAnotherName) {
  Save({dumps[0]});
  EXPECT_EQ(Query(AddDump(u"renamed.dmp", machine.files.Contents(dumps[0]), 5)), 0);
  EXPECT_EQ(status, 1u);
}

TEST_F(FirstRunProgress, WithoutAListOfDoneDumpsOneOfTheBatchIsToDo) {
  Save(dumps);
  Forget(u"NoSymbol_FirstRunCompletedList");
  EXPECT_EQ(Query(dumps[0]), 0);
  EXPECT_EQ(status, 1u);
  MarkDone(dumps[0]);
  plan.Clear();
  plan.Fail({"RegQueryValueExW", 4, false, 5});  // behind Completed and the batch, whose size is asked for first
  EXPECT_EQ(Query(dumps[0]), 0);
  EXPECT_EQ(status, 1u) << "nor can it be read";
}

TEST_F(FirstRunProgress, WithoutABatchOrWithAnUnreadableDumpAQueryTellsSo) {
  machine.registry.MakeKey(kProductKey);
  EXPECT_EQ(Query(dumps[0]), 1);
  EXPECT_EQ(status, 0u);
  Save(dumps);
  EXPECT_EQ(Query(kDumpFolder + u"\\none.dmp"), kEFail);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(Query(AddDump(u"empty.dmp", "", 1)), kEFail);
  plan.Clear();
  plan.Fail({"RegQueryValueExW", 2, false, 5});
  EXPECT_EQ(Query(dumps[0]), kEAccessDenied);
  plan.Clear();
  plan.Fail({"RegQueryValueExW", 3, false, 1450});
  EXPECT_EQ(Query(dumps[0]), HrOf(1450));
  EXPECT_EQ(status, 0u);
}

TEST_F(FirstRunProgress, ABatchIsFinishedWhenAsManyAreDoneAsItHas) {
  Save({dumps[0], dumps[1]});
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 0u);
  MarkDone(dumps[0]);
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 0u);
  MarkDone(dumps[1]);
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 1u);
  machine.registry.SetDword(kProductKey, u"NoSymbol_FirstRunCompletedCount", 9);
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 1u);
}

TEST_F(FirstRunProgress, WithoutOneOfItsCountsThereIsNoBatch) {
  Save(dumps);
  Forget(u"NoSymbol_FirstRunCompletedCount");
  EXPECT_EQ(Query(), 1);
  EXPECT_EQ(status, 0u);
  Save(dumps);
  Forget(u"NoSymbol_FirstRunTotalCount");
  EXPECT_EQ(Query(), 1);
  EXPECT_EQ(status, 0u);
}

TEST_F(FirstRunProgress, CompletionLeavesOnlyThatItIsFinished) {
  Save(dumps);
  Save(dumps, false);
  EXPECT_EQ(Complete(), 0);
  TextList names;
  for (const auto& value : machine.registry.Values(kProductKey)) names.push_back(value.name);
  EXPECT_EQ(names.size(), 5u);
  EXPECT_EQ(Count(u"NoSymbol_Completed"), 1u);
  EXPECT_EQ(Count(u"WithSymbol_FirstRunTotalCount"), 3u) << "the other kind's record stays";
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 1u);
}

TEST_F(FirstRunProgress, CompletionIsWrittenBeforeTheRecordGoesCountsFirst) {
  Save(dumps);
  std::vector<TextList> left;
  const auto look = [&] {
    left.emplace_back();
    for (const auto& value : machine.registry.Values(kProductKey)) left.back().push_back(value.name);
  };
  plan.After("RegSetValueExW", 1, look);
  for (unsigned nth = 1; nth <= 4; ++nth) plan.After("RegDeleteValueW", nth, look);
  EXPECT_EQ(Complete(), 0);
  const TextList all = {u"NoSymbol_FirstRunTotalCount", u"NoSymbol_FirstRunCompletedCount",
                        u"NoSymbol_FirstRunFileList", u"NoSymbol_FirstRunCompletedList", u"NoSymbol_Completed"};
  ASSERT_EQ(left.size(), 5u);
  for (std::size_t i = 0; i < 5; ++i)
    EXPECT_EQ(left[i], TextList(all.begin() + static_cast<std::ptrdiff_t>(i), all.end()));
}

TEST_F(FirstRunProgress, CompletionWithoutTheKeyFindsNothing) {
  EXPECT_EQ(Complete(), 1);
  Save(dumps);
  plan.Fail("RegOpenKeyExW", 5);
  EXPECT_EQ(Complete(), 1);
}

TEST_F(FirstRunProgress, CompletionThatCannotBeWrittenDeletesNothingAndDeletionsMayFail) {
  Save(dumps);
  plan.Fail("RegSetValueExW", 112);
  EXPECT_EQ(Complete(), HrOf(112));
  EXPECT_EQ(machine.registry.Values(kProductKey).size(), 4u);
  plan.FailForEver("RegDeleteValueW", 5);
  EXPECT_EQ(Complete(), 0);
  EXPECT_EQ(plan.CountOf("RegDeleteValueW"), 4u);
  EXPECT_EQ(Count(u"NoSymbol_Completed"), 1u);
}

TEST_F(FirstRunProgress, ABatchSavedBehindACompletedOneIsFinishedFromTheStart) {
  Save(dumps);
  Complete();
  EXPECT_EQ(Save({dumps[0]}), 0);
  EXPECT_EQ(Count(u"NoSymbol_Completed"), 1u) << "never cleared";
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 1u);
  EXPECT_EQ(Query(dumps[0]), 0);
  EXPECT_EQ(status, 0u);
}

TEST_F(FirstRunProgress, AListEndsAtItsFirstEmptyTextAndNeedsNoZeros) {
  Save({dumps[2]});
  PutList(u"NoSymbol_FirstRunFileList", Identity(dumps[0]) + zero + zero + Identity(dumps[1]) + zero + zero);
  EXPECT_EQ(Query(dumps[0]), 0);
  EXPECT_EQ(status, 1u);
  EXPECT_EQ(Query(dumps[1]), 0);
  EXPECT_EQ(status, 0u);
  PutList(u"NoSymbol_FirstRunFileList", Identity(dumps[0]));
  EXPECT_EQ(Query(dumps[0]), 0);
  EXPECT_EQ(status, 1u);
  PutList(u"NoSymbol_FirstRunFileList", u"");
  EXPECT_EQ(Query(dumps[0]), 0) << "of no bytes is an empty list";
  EXPECT_EQ(status, 0u);
}

TEST_F(FirstRunProgress, AListOfAnOddNumberOfBytesCannotBeRead) {
  Save(dumps);
  const std::u16string stored = Stored(u"NoSymbol_FirstRunFileList");
  for (const std::size_t size : {std::size_t{1}, std::size_t{67}}) {
    machine.registry.Set(kProductKey, u"NoSymbol_FirstRunFileList", platform::kRegMultiSz, stored.data(), size);
    EXPECT_EQ(Query(dumps[0]), HrOf(platform::kErrorMoreData)) << size;
    EXPECT_EQ(status, 0u);
  }
}

TEST_F(FirstRunProgress, ARunGoesFromItsBatchToItsEnd) {
  EXPECT_EQ(Query(), 1);
  Save({dumps[0], dumps[1]});
  for (const std::u16string& dump : {dumps[1], dumps[0]}) {
    EXPECT_EQ(Query(dump), 0);
    EXPECT_EQ(status, 1u);
    EXPECT_EQ(manager.AddAnalyzedDump(dump, kProduct, kMarkerNoSymbol), 0);
    EXPECT_EQ(MarkDone(dump), 0);
  }
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 1u);
  EXPECT_EQ(Complete(), 0);
}

TEST_F(FirstRunProgress, ARunThatEndsBetweenMarkerAndRecordNeverFinishes) {
  Save({dumps[0], dumps[1]});
  manager.AddAnalyzedDump(dumps[0], kProduct, kMarkerNoSymbol);  // and the process ends
  TextList offered;
  EXPECT_EQ(manager.GetUnanalyzedDumpsNoSymbol(kProduct, kMarkerNoSymbol, &offered), 0);
  for (const std::u16string& dump : offered) {
    Query(dump);
    manager.AddAnalyzedDump(dump, kProduct, kMarkerNoSymbol);
    if (status != 0) MarkDone(dump);
  }
  EXPECT_EQ(Query(), 0);
  EXPECT_EQ(status, 0u) << "one dump is told and never recorded";
}

}  // namespace
}  // namespace varnel

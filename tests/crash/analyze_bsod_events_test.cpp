#include "crash/analyze_bsod_events.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/log.h"
#include "tests/crash/crash_fixture.h"
#include "tests/support/cjson_faults.h"

namespace varnel {
namespace {

using testing::At;
using ::testing::ElementsAre;
using testing::Hex16;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr char kNone[] = "0x0000000000000000";

class AnalyzeBsodEventsTest : public testing::CrashTest {
 protected:
  static std::uint32_t Analyze() { return AnalyzeBSODEvents(&g_ConsumerTable); }

  /// This boot, the crash's boot and the one before, of the n-th text.
  std::vector<std::string> BootTimes(std::size_t nth) const {
    return {Fact(nth, "ThisBootTime"), Fact(nth, "CurrentBootTime"), Fact(nth, "PreviousBootTime")};
  }
  bool SentOneEmptyReport() const { return texts_.size() == 1 && Top(0, "AdditionalMsgAnsi") == "null"; }
};

TEST_F(AnalyzeBsodEventsTest, WithoutACallbackItGives87AndReadsAndFlushesNothing) {
  AddCrash(At(5));
  EXPECT_EQ(AnalyzeBSODEvents(nullptr), 87u);
  g_ConsumerTable.pfnEventCallback = nullptr;
  EXPECT_EQ(Analyze(), 87u);
  EXPECT_THAT(machine_.event_log.Queries(), IsEmpty());
  EXPECT_EQ(machine_.registry.flush_count(), 0u);
  EXPECT_EQ(StoredMark(), std::nullopt);
}

TEST_F(AnalyzeBsodEventsTest, AnEmptyLogSendsOneEmptyReportInABootThatHasNotYetRun) {
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_TRUE(SentOneEmptyReport());
  EXPECT_EQ(StoredMark(), 0u);
  ExpectNothingOpen();
}

TEST_F(AnalyzeBsodEventsTest, ALogWithBootsOnlySendsTheSameAndTheMarkMovesToTheNewestBoot) {
  AddBoot(At(6));
  AddBoot(At(4));
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_TRUE(SentOneEmptyReport());
  EXPECT_EQ(StoredMark(), At(6));
}

TEST_F(AnalyzeBsodEventsTest, InABootThatHasRunNothingIsSentWithoutACrash) {
  g_ConsumerTable.bThisBootHasExecute = 1;
  AddBoot(At(6));
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_THAT(texts_, IsEmpty());
}

TEST_F(AnalyzeBsodEventsTest, ACrashBehindTheNewestBootHasThatBootAsItsOwn) {
  AddCrash(At(5));
  AddBoot(At(4));
  AddBoot(At(2));
  EXPECT_EQ(Analyze(), 0u);
  ASSERT_EQ(texts_.size(), 1u);
  EXPECT_THAT(BootTimes(0), ElementsAre(Hex16(At(4)), Hex16(At(4)), Hex16(At(2))));
  EXPECT_EQ(Fact(0, "importance"), "TRUE");
  EXPECT_EQ(StoredMark(), At(5));
}

TEST_F(AnalyzeBsodEventsTest, ACrashTwoBehindLeavesThePreviousBootUnknown) {
  AddBoot(At(6));
  AddCrash(At(5));
  AddBoot(At(4));
  AddCrash(At(3));
  EXPECT_EQ(Analyze(), 0u);
  ASSERT_EQ(texts_.size(), 2u);
  EXPECT_THAT(BootTimes(0), ElementsAre(Hex16(At(6)), Hex16(At(4)), kNone));
  EXPECT_THAT(BootTimes(1), ElementsAre(Hex16(At(6)), kNone, kNone));
  EXPECT_EQ(Fact(0, "importance"), "FALSE");
  EXPECT_EQ(Fact(1, "importance"), "FALSE");
}

TEST_F(AnalyzeBsodEventsTest, ACrashThatIsTheLastRecordHasNoNeighbours) {
  AddBoot(At(6));
  AddCrash(At(5));
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_THAT(BootTimes(0), ElementsAre(Hex16(At(6)), kNone, kNone));
}

TEST_F(AnalyzeBsodEventsTest, ACrashDirectlyBehindLeavesTheOwnBootUnknownAndTheOneBeforeIsStillLookedAt) {
  AddCrash(At(6));
  AddCrash(At(5));
  AddBoot(At(4));
  EXPECT_EQ(Analyze(), 0u);
  ASSERT_EQ(texts_.size(), 2u);
  EXPECT_THAT(BootTimes(0), ElementsAre(Hex16(At(4)), kNone, Hex16(At(4))));
  EXPECT_THAT(BootTimes(1), ElementsAre(Hex16(At(4)), Hex16(At(4)), kNone));
}

TEST_F(AnalyzeBsodEventsTest, WithoutAnyBootAllTimesAreUnknown) {
  AddCrash(At(5));
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_THAT(BootTimes(0), ElementsAre(kNone, kNone, kNone));
  EXPECT_EQ(Fact(0, "ThisBootTimeStr"), "");
  EXPECT_EQ(Fact(0, "importance"), "TRUE");
}

TEST_F(AnalyzeBsodEventsTest, CrashesAreToldNewestFirst) {
  AddCrash(At(7), 7);
  AddBoot(At(6));
  AddCrash(At(5), 5);
  AddBoot(At(4));
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_EQ(Fact(0, "BugcheckCode"), Hex16(7));
  EXPECT_EQ(Fact(1, "BugcheckCode"), Hex16(5));
}

TEST_F(AnalyzeBsodEventsTest, ASecondRunInTheSameBootTellsNothing) {
  AddCrash(At(5));
  AddBoot(At(4));
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_EQ(texts_.size(), 1u);
  g_ConsumerTable.bThisBootHasExecute = 1;
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_EQ(texts_.size(), 1u);
}

TEST_F(AnalyzeBsodEventsTest, ACrashThatCameMeanwhileIsToldByTheNextRunAlone) {
  AddCrash(At(5), 5);
  AddBoot(At(4));
  EXPECT_EQ(Analyze(), 0u);
  machine_.event_log.ClearEvents();
  AddCrash(At(9), 9);
  AddBoot(At(8));
  AddCrash(At(5), 5);
  AddBoot(At(4));
  EXPECT_EQ(Analyze(), 0u);
  ASSERT_EQ(texts_.size(), 2u);
  EXPECT_EQ(Fact(1, "BugcheckCode"), Hex16(9));
  EXPECT_THAT(BootTimes(1), ElementsAre(Hex16(At(8)), Hex16(At(8)), Hex16(At(4))))
      << "the old crash is no record any more, so the boot before stands two behind";
}

TEST_F(AnalyzeBsodEventsTest, TheMarkReachesTheDiskBehindTheReports) {
  class Watched : public testing::FaultyRegistry {
   public:
    using FaultyRegistry::FaultyRegistry;
    std::function<void()> before_flush;
    std::uint32_t RegFlushKey(platform::HKEY key) override {
      before_flush();
      return FaultyRegistry::RegFlushKey(key);
    }
  };
  Watched registry(&machine_.registry, &faults_);
  std::vector<std::pair<std::size_t, std::optional<std::uint64_t>>> at_flushes;  // texts by then, and the mark
  registry.before_flush = [&] { at_flushes.emplace_back(texts_.size(), StoredMark()); };
  platform::Platform ports = platform::CurrentPlatform();
  ports.registry = &registry;
  const platform::ScopedPlatform in_force(&ports);
  AddCrash(At(5));
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_THAT(at_flushes, ElementsAre(Pair(1, At(5)), Pair(1, At(5)))) << "both hives";
}

TEST_F(AnalyzeBsodEventsTest, TheMarkIsWrittenBeforeAnyReportIsSent) {
  struct Seen {
    testing::ScriptedPlatform* machine;
    std::optional<std::uint64_t> mark;
  } seen{&machine_, {}};
  g_ConsumerTable.pCallbackContext = &seen;
  g_ConsumerTable.pfnEventCallback = [](void* context, const char*) -> std::uint32_t {
    auto* const at = static_cast<Seen*>(context);
    at->mark = at->machine->registry.GetQword(testing::kMarkKey, testing::kMarkValue);
    return 0;
  };
  AddCrash(At(5));
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_EQ(seen.mark, At(5));
}

TEST_F(AnalyzeBsodEventsTest, AMarkThatCannotBeMadeGivesItsCodeReportsNothingAndStillFlushes) {
  AddCrash(At(5));
  faults_.FailForEver("RegCreateKeyExW", 5);
  EXPECT_EQ(Analyze(), 5u);
  EXPECT_THAT(texts_, IsEmpty());
  EXPECT_THAT(machine_.event_log.Queries(), IsEmpty());
  EXPECT_EQ(machine_.registry.flush_count(), 2u);
}

TEST_F(AnalyzeBsodEventsTest, AFailedQueryGivesItsCodeAndReportsNothing) {
  faults_.Fail("EvtQuery", 15007);
  EXPECT_EQ(Analyze(), 15007u);
  EXPECT_THAT(texts_, IsEmpty());
  EXPECT_EQ(machine_.registry.flush_count(), 2u);
}

TEST_F(AnalyzeBsodEventsTest, AFailedNextEventDropsTheRecordsAndTheNextRunTellsThem) {
  AddCrash(At(5));
  AddBoot(At(4));
  faults_.Fail({"EvtNext", 3, false, 1734});
  EXPECT_EQ(Analyze(), 1734u);
  EXPECT_THAT(texts_, IsEmpty());
  EXPECT_EQ(StoredMark(), 0u);
  ExpectNothingOpen();
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_EQ(texts_.size(), 1u);
}

TEST_F(AnalyzeBsodEventsTest, AReportThatCannotBeBuiltDropsTheLaterOnesForEver) {
  AddCrash(At(7));
  AddCrash(At(5));
  {
    const testing::CJsonAllocationFaults no_memory(1);
    EXPECT_EQ(Analyze(), 14u);
  }
  EXPECT_THAT(texts_, IsEmpty());
  EXPECT_EQ(StoredMark(), At(7));
  EXPECT_EQ(machine_.registry.flush_count(), 2u);
  ExpectNothingOpen();
  g_ConsumerTable.bThisBootHasExecute = 1;
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_THAT(texts_, IsEmpty()) << "the mark was written before them";
}

TEST_F(AnalyzeBsodEventsTest, AnEmptyReportThatCannotBeBuiltGivesItsCode) {
  const testing::CJsonAllocationFaults no_memory(1);
  EXPECT_EQ(Analyze(), 14u);
}

TEST_F(AnalyzeBsodEventsTest, AMissingSessionAndMissingProvidersAreToldAndStopNothing) {
  WrapLogInit(LOG_INFO, nullptr);
  AddCrash(At(5));
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_EQ(texts_.size(), 1u);
  EXPECT_TRUE(Logged("AnalyzeBSODEvents func check session(EventLog-System) not exist.\r\n"));
  EXPECT_TRUE(
      Logged("AnalyzeBSODEvents func check provider {A68CA8B7-004F-D7B6-A698-07E2DE0F1F5D} (Kernel-General) not exist "
             "in session(EventLog-System).\r\n"));
  EXPECT_TRUE(
      Logged("AnalyzeBSODEvents func check provider {331C3B3A-2005-44C2-AC5E-77220C37D6B4} (Kernel-Power) not exist in "
             "session(EventLog-System).\r\n"));
}

TEST_F(AnalyzeBsodEventsTest, ASessionWithBothProvidersIsNotWorthALine) {
  machine_.trace.EnableEveryProviderIn(machine_.trace.AddSession(u"EventLog-System", u""));
  EXPECT_EQ(Analyze(), 0u);
  EXPECT_FALSE(Logged("not exist"));
}

}  // namespace
}  // namespace varnel

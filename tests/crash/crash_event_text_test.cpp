#include "crash/crash_event_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "base/log.h"
#include "tests/crash/crash_fixture.h"
#include "tests/support/cjson_faults.h"

namespace varnel {
namespace {

using testing::At;
using ::testing::ElementsAre;
using testing::Hex16;
using ::testing::IsEmpty;

CrashEventRecord Crash(std::uint64_t time) {
  CrashEventRecord record{};
  record.EventId = kCrashEventId;
  record.TimeStamp = time;
  record.BugcheckCode = 0x9F;
  record.BugcheckParameter1 = 3;
  record.BugcheckParameter2 = 0xFFFFA00B12345678;
  record.BugcheckParameter4 = 1;
  return record;
}

class CrashEventTextTest : public testing::CrashTest {
 protected:
  static std::uint32_t Build(const CrashEventRecord* record, std::uint64_t this_boot = 0) {
    return BuildBsodEventJsonAndInvokeCB(record, this_boot, 0, 0, &g_ConsumerTable);
  }
};

TEST_F(CrashEventTextTest, ACrashIsTheEnvelopeWithItsTimeAndAnObjectOfTexts) {
  WrapLogInit(LOG_INFO, nullptr);
  const CrashEventRecord crash = Crash(At(5));
  EXPECT_EQ(BuildBsodEventJsonAndInvokeCB(&crash, At(6), At(4), 0, &g_ConsumerTable), 0u);
  ASSERT_EQ(texts_.size(), 1u);
  EXPECT_THAT(KeysOf(texts_[0]),
              ElementsAre("WardletVersion", "TimeStamp", "TimeStampString", "ProviderGUID", "Mod", "ProcessId",
                          "ThreadId", "Function", "CodeLine", "status", "AdditionalMsgAnsi"));
  EXPECT_EQ(Top(0, "TimeStamp"), "0x1DC94C9F2F8C800");
  EXPECT_EQ(Top(0, "TimeStampString"), "2026-02-03T13:00:00");
  EXPECT_EQ(Top(0, "Function"), "AnalyzeBSODEvents");
  const std::size_t facts = texts_[0].find("\"AdditionalMsgAnsi\":");
  EXPECT_EQ(texts_[0].substr(facts),
            "\"AdditionalMsgAnsi\":{\"BugcheckCode\":\"0x000000000000009F\","
            "\"BugcheckParameter1\":\"0x0000000000000003\",\"BugcheckParameter2\":\"0xFFFFA00B12345678\","
            "\"BugcheckParameter3\":\"0x0000000000000000\",\"BugcheckParameter4\":\"0x0000000000000001\","
            "\"ThisBootTime\":\"" +
                Hex16(At(6)) + "\",\"CurrentBootTime\":\"" + Hex16(At(4)) +
                "\",\"PreviousBootTime\":\"0x0000000000000000\",\"ThisBootTimeStr\":\"2026-02-03T14:00:00\","
                "\"CurrentBootTimeStr\":\"2026-02-03T12:00:00\",\"PreviousBootTimeStr\":\"\","
                "\"importance\":\"FALSE\"}}");
  EXPECT_TRUE(Logged("BuildBsodEventJsonAndInvokeCB func send BSOD Event time stamp(2026-02-03T13:00:00)\r\n"));
}

TEST_F(CrashEventTextTest, ACrashLoggedBehindTheNewestBootIsImportant) {
  const CrashEventRecord crash = Crash(At(5));
  Build(&crash, At(5) - 1);
  Build(&crash, At(5));
  Build(&crash, At(6));
  Build(&crash, 0);
  EXPECT_EQ(Fact(0, "importance"), "TRUE");
  EXPECT_EQ(Fact(1, "importance"), "FALSE") << "its time equals that of the boot";
  EXPECT_EQ(Fact(2, "importance"), "FALSE");
  EXPECT_EQ(Fact(3, "importance"), "TRUE") << "a log without boots";
}

TEST_F(CrashEventTextTest, WithoutACrashThereIsTheTimeOfNowAndANull) {
  WrapLogInit(LOG_INFO, nullptr);
  machine_.system.SetTime(At(9));
  EXPECT_EQ(Build(nullptr), 0u);
  ASSERT_EQ(texts_.size(), 1u);
  EXPECT_EQ(Top(0, "TimeStampString"), "2026-02-03T17:00:00");
  EXPECT_EQ(Top(0, "Function"), "AnalyzeBSODEvents");
  EXPECT_EQ(KeysOf(texts_[0]).back(), "AdditionalMsgAnsi");
  EXPECT_EQ(Top(0, "AdditionalMsgAnsi"), "null");
  EXPECT_TRUE(Logged("BuildBsodEventJsonAndInvokeCB func send NULL Event time stamp(2026-02-03T17:00:00)\r\n"));
}

TEST_F(CrashEventTextTest, TheHostsAnswerChangesNothing) {
  host_answer_ = 5;
  const CrashEventRecord crash = Crash(At(5));
  EXPECT_EQ(Build(&crash), 0u);
}

TEST_F(CrashEventTextTest, WithoutATableOrACallbackItGives87AndPrintsNothing) {
  const CrashEventRecord crash = Crash(At(5));
  EXPECT_EQ(BuildBsodEventJsonAndInvokeCB(&crash, 0, 0, 0, nullptr), 87u);
  g_ConsumerTable.pfnEventCallback = nullptr;
  EXPECT_EQ(Build(&crash), 87u);
  EXPECT_EQ(Build(nullptr), 87u);
  EXPECT_THAT(machine_.system.DebugLines(), IsEmpty());
}

TEST_F(CrashEventTextTest, WithoutMemoryForAnObjectItGives14AndSendsNothing) {
  const CrashEventRecord crash = Crash(At(5));
  const long blocks = testing::CJsonBlocks();
  {
    const testing::CJsonAllocationFaults inner(1);
    EXPECT_EQ(Build(&crash), 14u);
  }
  {
    const testing::CJsonAllocationFaults outer(1);
    EXPECT_EQ(Build(nullptr), 14u);
  }
  unsigned facts = 0;
  {
    // What the object within takes: two blocks for each key's item and text, one for its name, and one for itself.
    const testing::CJsonAllocationFaults outer(12 * 3 + 2);
    EXPECT_EQ(Build(&crash), 14u);
    facts = outer.allocations();
  }
  EXPECT_EQ(facts, 38u);
  EXPECT_THAT(texts_, IsEmpty());
  EXPECT_EQ(testing::CJsonBlocks(), blocks);
}

TEST_F(CrashEventTextTest, AFailureToPrintSendsNothingAndGives0WithItsLine) {
  const CrashEventRecord crash = Crash(At(5));
  unsigned whole = 0;
  {
    const testing::CJsonAllocationFaults none(0);
    EXPECT_EQ(Build(&crash), 0u);
    whole = none.allocations();
  }
  texts_.clear();
  machine_.system.ClearDebug();
  {
    // The last blocks are those of the print.
    const testing::CJsonAllocationFaults print(whole, true);
    EXPECT_EQ(Build(&crash), 0u);
    EXPECT_TRUE(print.failed());
  }
  EXPECT_THAT(texts_, IsEmpty());
  EXPECT_TRUE(Logged("BuildBsodEventJsonAndInvokeCB func send BSOD Event time stamp(2026-02-03T13:00:00)\r\n"));
}

TEST_F(CrashEventTextTest, EachAllocationThatFailsCostsAKeyOrTheTextAndLeaksNothing) {
  const CrashEventRecord crash = Crash(At(5));
  for (const bool persistent : {false, true}) {
    for (unsigned nth = 1;; ++nth) {
      const long blocks = testing::CJsonBlocks();
      bool failed = false;
      std::uint32_t result = 0;
      {
        const testing::CJsonAllocationFaults faults(nth, persistent);
        result = Build(&crash);
        failed = faults.failed();
      }
      EXPECT_EQ(testing::CJsonBlocks(), blocks) << nth;
      EXPECT_TRUE(result == 0 || result == 14) << nth;
      if (!failed) break;
    }
  }
  ExpectNothingOpen();
}

}  // namespace
}  // namespace varnel

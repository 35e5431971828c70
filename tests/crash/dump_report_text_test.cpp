#include "crash/dump_report_text.h"

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
using ::testing::IsEmpty;

constexpr char kReport[] = R"({"DumpFile":"C:\\Windows\\MEMORY.DMP","Modules":[{"Name":"nt"}],"importance":"TRUE"})";
void* const kNoSymbolPass = nullptr;
void* const kWithSymbolPass = reinterpret_cast<void*>(std::uintptr_t{1});

class DumpReportTextTest : public testing::CrashTest {
 protected:
  bool IsDone(platform::HANDLE event) { return machine_.threads.WaitForSingleObject(event, 0) == 0; }
};

TEST_F(DumpReportTextTest, AReportIsWrappedByTheEnvelopeWithTheTimeOfNow) {
  machine_.system.SetTime(At(9));
  BuildBsodDumpJsonAndInvokeCB(kReport, 1);
  ASSERT_EQ(texts_.size(), 1u);
  EXPECT_THAT(KeysOf(texts_[0]),
              ElementsAre("WardletVersion", "TimeStamp", "TimeStampString", "ProviderGUID", "Mod", "ProcessId",
                          "ThreadId", "Function", "CodeLine", "status", "AdditionalMsgJson"));
  EXPECT_EQ(Top(0, "TimeStampString"), "2026-02-03T17:00:00");
  EXPECT_THAT(texts_[0], ::testing::EndsWith(std::string("\"AdditionalMsgJson\":") + kReport + "}"));
}

TEST_F(DumpReportTextTest, TheFunctionTellsThePass) {
  BuildBsodDumpJsonAndInvokeCB(kReport, 0);
  BuildBsodDumpJsonAndInvokeCB(kReport, 1);
  EXPECT_EQ(Top(0, "Function"), "BsodDumpCallBackNoSymbol");
  EXPECT_EQ(Top(1, "Function"), "BsodDumpCallBackWithSymbol");
}

TEST_F(DumpReportTextTest, AnAbsentOrEmptyReportGivesNullAndNoLine) {
  BuildBsodDumpJsonAndInvokeCB(nullptr, 0);
  BuildBsodDumpJsonAndInvokeCB("", 0);
  EXPECT_EQ(Top(0, "AdditionalMsgJson"), "null");
  EXPECT_EQ(Top(1, "AdditionalMsgJson"), "null");
  EXPECT_THAT(machine_.system.DebugLines(), IsEmpty());
}

TEST_F(DumpReportTextTest, AReportThatIsNoJsonIsLoggedAndSentAsNull) {
  WrapLogInit(LOG_ERROR, nullptr);
  BuildBsodDumpJsonAndInvokeCB("{\"cut\":", 0);
  ASSERT_EQ(texts_.size(), 1u);
  EXPECT_EQ(Top(0, "AdditionalMsgJson"), "null");
  EXPECT_TRUE(Logged("BuildBsodDumpJsonAndInvokeCB func cJSON_Parse failed:{\"cut\":\r\n"));
}

TEST_F(DumpReportTextTest, WithoutACallbackTheTextGoesToTheDebuggerOutput) {
  g_ConsumerTable.pfnEventCallback = nullptr;
  BuildBsodDumpJsonAndInvokeCB(kReport, 0);
  ASSERT_EQ(machine_.system.DebugLines().size(), 2u);
  EXPECT_THAT(machine_.system.DebugLines()[0], ::testing::HasSubstr(kReport));
  EXPECT_EQ(machine_.system.DebugLines()[1], "\r\n");
}

TEST_F(DumpReportTextTest, OutsideOfARunOfTheToolTheTextGoesToTheDebuggerOutput) {
  g_ConsumerTable.bHasCallInit = 0;
  BuildBsodDumpJsonAndInvokeCB(nullptr, 0);
  EXPECT_THAT(texts_, IsEmpty());
  EXPECT_EQ(machine_.system.DebugLines().size(), 2u);
}

TEST_F(DumpReportTextTest, EachAllocationThatFailsCostsAKeyOrTheTextAndLeaksNothing) {
  for (const bool persistent : {false, true}) {
    for (unsigned nth = 1;; ++nth) {
      const long blocks = testing::CJsonBlocks();
      bool failed = false;
      texts_.clear();
      {
        const testing::CJsonAllocationFaults faults(nth, persistent);
        BuildBsodDumpJsonAndInvokeCB(kReport, 0);
        failed = faults.failed();
      }
      EXPECT_EQ(testing::CJsonBlocks(), blocks) << nth;
      if (nth == 1) {
        EXPECT_THAT(texts_, IsEmpty()) << "no object, no text";
      }
      if (!failed) break;
    }
  }
}

TEST_F(DumpReportTextTest, ASuccessSendsTheReportAndSignalsItsPass) {
  WrapLogInit(LOG_INFO, nullptr);
  BsodDumpCallBack(1, kReport, "not looked at", kNoSymbolPass);
  ASSERT_EQ(texts_.size(), 1u);
  EXPECT_EQ(Top(0, "Function"), "BsodDumpCallBackNoSymbol");
  EXPECT_TRUE(Logged("BSODCheckThread func has send BsodDumpJson no symbol.\r\n"));
  EXPECT_TRUE(IsDone(g_ConsumerTable.NoSymbolDoneEvent));
  EXPECT_FALSE(IsDone(g_ConsumerTable.WithSymbolDoneEvent));
}

TEST_F(DumpReportTextTest, APassOtherThan0IsTheOneWithSymbols) {
  WrapLogInit(LOG_INFO, nullptr);
  BsodDumpCallBack(1, kReport, "", kWithSymbolPass);
  EXPECT_EQ(Top(0, "Function"), "BsodDumpCallBackWithSymbol");
  EXPECT_TRUE(Logged("BSODCheckThread func has send BsodDumpJson with symbol.\r\n"));
  EXPECT_FALSE(IsDone(g_ConsumerTable.NoSymbolDoneEvent));
  EXPECT_TRUE(IsDone(g_ConsumerTable.WithSymbolDoneEvent));
}

TEST_F(DumpReportTextTest, AFailureSendsNothingAndSignalsItsPassAllTheSame) {
  WrapLogInit(LOG_ERROR, nullptr);
  BsodDumpCallBack(0, kReport, "no memory", kNoSymbolPass);
  EXPECT_THAT(texts_, IsEmpty());
  EXPECT_TRUE(Logged("BsodDumpCallBack func check success is zero(failed.)\r\n"));
  EXPECT_TRUE(IsDone(g_ConsumerTable.NoSymbolDoneEvent));
  EXPECT_FALSE(IsDone(g_ConsumerTable.WithSymbolDoneEvent));
  BsodDumpCallBack(0, "", "", kWithSymbolPass);
  EXPECT_TRUE(IsDone(g_ConsumerTable.WithSymbolDoneEvent));
}

}  // namespace
}  // namespace varnel

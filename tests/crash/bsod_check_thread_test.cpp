#include "crash/bsod_check_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "base/status.h"
#include "tests/crash/crash_fixture.h"
#include "tests/support/scripted_analyzer.h"

namespace varnel {
namespace {

using testing::Analyzer;
using testing::AnalyzerScript;
using testing::At;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class BsodCheckThreadTest : public testing::CrashTest {
 protected:
  BsodCheckThreadTest() { Analyzer() = {}; }
  ~BsodCheckThreadTest() override { Analyzer() = {}; }

  static std::uint32_t Run() { return BSODCheckThread(&g_ConsumerTable); }
  bool NoSymbolDone() { return machine_.threads.WaitForSingleObject(g_ConsumerTable.NoSymbolDoneEvent, 0) == 0; }
  bool WithSymbolDone() { return machine_.threads.WaitForSingleObject(g_ConsumerTable.WithSymbolDoneEvent, 0) == 0; }
  std::vector<std::string> Functions() const {
    std::vector<std::string> functions;
    for (std::size_t i = 0; i < texts_.size(); ++i) functions.push_back(Top(i, "Function"));
    return functions;
  }
  /// Each pass that was asked for calls back with this.
  static void CallBackWith(std::uint8_t success, const std::string& report) {
    Analyzer().on_start = [success, report](const AnalyzerScript::Run& run) {
      if (run.no_symbol != nullptr) run.no_symbol(success, report, "", run.no_symbol_context);
      if (run.with_symbol != nullptr) run.with_symbol(success, report, "", run.with_symbol_context);
      return 0;
    };
  }
};

TEST_F(BsodCheckThreadTest, ANullParameterEndsWith87AndItsLine) {
  WrapLogInit(LOG_ERROR, nullptr);
  EXPECT_EQ(BSODCheckThread(nullptr), 87u);
  EXPECT_TRUE(Logged("BSODCheckThread func check lpParam is NULL\r\n"));
  EXPECT_THAT(Analyzer().calls, IsEmpty());
}

TEST_F(BsodCheckThreadTest, TellsCrashEventsThenDrivesTheAnalyzer) {
  AddCrash(At(5));
  CallBackWith(1, "{}");
  EXPECT_EQ(Run(), 0u);
  EXPECT_THAT(Functions(), ElementsAre("AnalyzeBSODEvents", "BsodDumpCallBackNoSymbol", "BsodDumpCallBackWithSymbol"));
  EXPECT_THAT(Analyzer().calls, ElementsAre("init", "start", "uninit"));
  EXPECT_EQ(Analyzer().product_guid, u"{4A234956-2B7D-4221-BADF-12593BD342A8}");
  EXPECT_TRUE(NoSymbolDone());
  EXPECT_TRUE(WithSymbolDone());
}

TEST_F(BsodCheckThreadTest, ThePassesGetTheContexts0And1) {
  AnalyzerScript::Run seen;
  Analyzer().on_start = [&](const AnalyzerScript::Run& run) {
    seen = run;
    return 0;
  };
  EXPECT_EQ(Run(), 0u);
  EXPECT_NE(seen.no_symbol, nullptr);
  EXPECT_EQ(seen.no_symbol_context, nullptr);
  EXPECT_EQ(seen.with_symbol, seen.no_symbol);
  EXPECT_EQ(seen.with_symbol_context, reinterpret_cast<void*>(std::uintptr_t{1}));
}

TEST_F(BsodCheckThreadTest, CrashEventsThatCannotBeReadCostNoDumpReport) {
  WrapLogInit(LOG_ERROR, nullptr);
  AddCrash(At(5));
  faults_.Fail("EvtQuery", 15007);
  CallBackWith(1, "{}");
  EXPECT_EQ(Run(), 0u);
  EXPECT_THAT(Functions(), ElementsAre("BsodDumpCallBackNoSymbol", "BsodDumpCallBackWithSymbol"));
  EXPECT_TRUE(Logged("BSODCheckThread func call AnalyzeBSODEvents failed(0x3a9f)\r\n"));
}

TEST_F(BsodCheckThreadTest, AnAnalyzerThatCannotBeInitialisedEndsTheThreadWithNoDumpReport) {
  struct Case {
    std::uint32_t result;
    std::uint32_t exit_code;
    const char* line;
  };
  for (const Case& each :
       {Case{0x80070057, 87, "failed(0x80070057)\r\n"}, Case{0x8007000E, 14, "failed(0x8007000E)\r\n"},
        Case{0x80004005, 31, "failed(0x80004005)\r\n"}}) {
    Analyzer() = {};
    Analyzer().init_result = static_cast<std::int32_t>(each.result);
    EXPECT_EQ(Run(), each.exit_code);
    EXPECT_TRUE(Logged(std::string("BSODCheckThread func call InitBsodAnalyzer ") + each.line));
    EXPECT_THAT(Analyzer().calls, ElementsAre("init"));
  }
  EXPECT_FALSE(NoSymbolDone());
  EXPECT_FALSE(WithSymbolDone());
  EXPECT_THAT(Functions(), ElementsAre("AnalyzeBSODEvents", "AnalyzeBSODEvents", "AnalyzeBSODEvents"));
}

TEST_F(BsodCheckThreadTest, AnAnalyzerThatIsThereAlreadyIsUsed) {
  Analyzer().init_result = 1;
  EXPECT_EQ(Run(), 0u);
  EXPECT_THAT(Analyzer().calls, ElementsAre("init", "start", "uninit"));
}

TEST_F(BsodCheckThreadTest, AnAnalyzerThatCannotBeStartedEndsTheThreadWith31) {
  Analyzer().on_start = [](const AnalyzerScript::Run&) { return static_cast<std::int32_t>(kStatusFail); };
  EXPECT_EQ(Run(), 31u);
  EXPECT_TRUE(Logged("BSODCheckThread func call StartBsodAnalyzer failed(0x80004005)\r\n"));
  EXPECT_THAT(Analyzer().calls, ElementsAre("init", "start"));
  EXPECT_THAT(Functions(), ElementsAre("AnalyzeBSODEvents"));
  EXPECT_FALSE(NoSymbolDone());
  EXPECT_FALSE(WithSymbolDone());
}

TEST_F(BsodCheckThreadTest, AnAnalysisThatWasStoppedEndsTheThreadWith1223) {
  Analyzer().on_start = [](const AnalyzerScript::Run& run) {
    run.no_symbol(1, "{}", "", run.no_symbol_context);
    return static_cast<std::int32_t>(0x800704C7);
  };
  EXPECT_EQ(Run(), 1223u);
  EXPECT_TRUE(Logged("BSODCheckThread func call StartBsodAnalyzer failed(0x800704C7)\r\n"));
  EXPECT_TRUE(NoSymbolDone());
  EXPECT_FALSE(WithSymbolDone());
}

TEST_F(BsodCheckThreadTest, AnAnalyzerThatCallsNobodyBackGivesOneEmptyReportForEachPass) {
  EXPECT_EQ(Run(), 0u);
  EXPECT_THAT(Functions(), ElementsAre("AnalyzeBSODEvents", "BsodDumpCallBackNoSymbol", "BsodDumpCallBackWithSymbol"));
  EXPECT_EQ(Top(1, "AdditionalMsgJson"), "null");
  EXPECT_EQ(Top(2, "AdditionalMsgJson"), "null");
  EXPECT_TRUE(Logged("BSODCheckThread func has send empty BsodDumpJson no symbol.\r\n"));
  EXPECT_TRUE(Logged("BSODCheckThread func has send empty BsodDumpJson with symbol.\r\n"));
  EXPECT_TRUE(NoSymbolDone());
  EXPECT_TRUE(WithSymbolDone());
}

TEST_F(BsodCheckThreadTest, InABootThatWasHandledNoEmptyReportIsSentAndThePassesAreDone) {
  g_ConsumerTable.bThisBootHasExecute = 1;
  EXPECT_EQ(Run(), 0u);
  EXPECT_THAT(texts_, IsEmpty());
  EXPECT_FALSE(Logged("has send empty"));
  EXPECT_TRUE(NoSymbolDone());
  EXPECT_TRUE(WithSymbolDone());
}

TEST_F(BsodCheckThreadTest, AnAnalyzerThatCallsBackWithFailureCountsAsAnswered) {
  CallBackWith(0, "");
  EXPECT_EQ(Run(), 0u);
  EXPECT_THAT(Functions(), ElementsAre("AnalyzeBSODEvents"));
  EXPECT_TRUE(NoSymbolDone());
  EXPECT_TRUE(WithSymbolDone());
}

TEST_F(BsodCheckThreadTest, AReportThatIsNoJsonIsStillSent) {
  CallBackWith(1, "no JSON");
  EXPECT_EQ(Run(), 0u);
  EXPECT_EQ(texts_.size(), 3u);
  EXPECT_EQ(Top(1, "AdditionalMsgJson"), "null");
}

TEST_F(BsodCheckThreadTest, SeveralDumpsGiveSeveralReportsOfAPass) {
  Analyzer().on_start = [](const AnalyzerScript::Run& run) {
    for (const char* report : {"{\"n\":1}", "{\"n\":2}"}) run.no_symbol(1, report, "", run.no_symbol_context);
    return 0;
  };
  EXPECT_EQ(Run(), 0u);
  EXPECT_THAT(Functions(), ElementsAre("AnalyzeBSODEvents", "BsodDumpCallBackNoSymbol", "BsodDumpCallBackNoSymbol",
                                       "BsodDumpCallBackWithSymbol"));
  EXPECT_EQ(Top(3, "AdditionalMsgJson"), "null") << "the pass that was not answered";
}

TEST_F(BsodCheckThreadTest, WithTheFirstFlagAloneThePassWithSymbolsIsDoneAtOnceWithoutAReport) {
  g_ConsumerTable.dwFlags = 1;
  bool done_at_start = false;
  Analyzer().on_start = [&](const AnalyzerScript::Run& run) {
    EXPECT_EQ(run.with_symbol, nullptr);
    done_at_start = WithSymbolDone() && !NoSymbolDone();
    return 0;
  };
  EXPECT_EQ(Run(), 0u);
  EXPECT_TRUE(done_at_start);
  EXPECT_THAT(Functions(), ElementsAre("AnalyzeBSODEvents", "BsodDumpCallBackNoSymbol"));
}

TEST_F(BsodCheckThreadTest, WithTheSecondFlagAloneThePassWithoutSymbolsIsDoneAtOnceWithoutAReport) {
  g_ConsumerTable.dwFlags = 2;
  Analyzer().on_start = [&](const AnalyzerScript::Run& run) {
    EXPECT_EQ(run.no_symbol, nullptr);
    EXPECT_TRUE(NoSymbolDone());
    return 0;
  };
  EXPECT_EQ(Run(), 0u);
  EXPECT_THAT(Functions(), ElementsAre("AnalyzeBSODEvents", "BsodDumpCallBackWithSymbol"));
}

TEST_F(BsodCheckThreadTest, WithoutFlagsCrashEventsAreToldAndTheStartFails) {
  g_ConsumerTable.dwFlags = 0;
  AddCrash(At(5));
  Analyzer().on_start = [](const AnalyzerScript::Run& run) {
    return run.no_symbol == nullptr && run.with_symbol == nullptr ? static_cast<std::int32_t>(kStatusFail) : 0;
  };
  EXPECT_EQ(Run(), 31u);
  EXPECT_THAT(Functions(), ElementsAre("AnalyzeBSODEvents"));
  EXPECT_TRUE(Logged("BSODCheckThread func call StartBsodAnalyzer failed(0x80004005)\r\n"));
  EXPECT_TRUE(NoSymbolDone());
  EXPECT_TRUE(WithSymbolDone());
}

TEST_F(BsodCheckThreadTest, OtherFlagsThanTheTwoMeanNothing) {
  AnalyzerScript::Run seen;
  Analyzer().on_start = [&](const AnalyzerScript::Run& run) {
    seen = run;
    return 0;
  };
  g_ConsumerTable.dwFlags = 0xFFFFFFFE;
  EXPECT_EQ(Run(), 0u);
  EXPECT_EQ(seen.no_symbol, nullptr);
  EXPECT_NE(seen.with_symbol, nullptr);
  g_ConsumerTable.dwFlags = 0xFFFFFFFC;
  EXPECT_EQ(Run(), 0u);
  EXPECT_EQ(seen.no_symbol, nullptr);
  EXPECT_EQ(seen.with_symbol, nullptr);
}

TEST_F(BsodCheckThreadTest, WhatTheAnalyzerRefusesIsAnErrorAndAnEmptyReportIsNone) {
  WrapLogInit(LOG_ERROR, nullptr);
  const auto lines = [this] {
    machine_.system.ClearDebug();
    Run();
    return machine_.system.DebugLines();
  };
  EXPECT_THAT(lines(), IsEmpty()) << "the empty reports are no errors";
  Analyzer().init_result = static_cast<std::int32_t>(kStatusFail);
  EXPECT_THAT(lines(), ElementsAre(HasSubstr("InitBsodAnalyzer failed(0x80004005)\r\n")));
  Analyzer() = {};
  Analyzer().on_start = [](const AnalyzerScript::Run&) { return static_cast<std::int32_t>(kStatusFail); };
  EXPECT_THAT(lines(), ElementsAre(HasSubstr("StartBsodAnalyzer failed(0x80004005)\r\n")));
  Analyzer() = {};
  Analyzer().uninit_result = static_cast<std::int32_t>(0x800705B4);
  EXPECT_THAT(lines(),
              ElementsAre(HasSubstr("EtwConsumerStop func call UninitBsodAnalyzer(0x800705b4) is not S_OK\r\n")));
}

TEST_F(BsodCheckThreadTest, EmptyReportsAreToldAsNews) {
  WrapLogInit(LOG_INFO, nullptr);
  Run();
  EXPECT_TRUE(Logged("BSODCheckThread func has send empty BsodDumpJson no symbol.\r\n"));
  EXPECT_TRUE(Logged("BSODCheckThread func has send empty BsodDumpJson with symbol.\r\n"));
}

TEST_F(BsodCheckThreadTest, AnUninitThatIsNotCleanIsLoggedUnderItsOldNameAndChangesNothing) {
  Analyzer().uninit_result = 1;
  EXPECT_EQ(Run(), 0u);
  EXPECT_TRUE(Logged("EtwConsumerStop func call UninitBsodAnalyzer(0x1) is not S_OK\r\n"));
  EXPECT_EQ(texts_.size(), 3u);
}

}  // namespace
}  // namespace varnel

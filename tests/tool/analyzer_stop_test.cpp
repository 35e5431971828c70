// What a stop asks of the dump analyzer, with an analyzer by script.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <optional>

#include "base/log.h"
#include "pipeline/consumer_table.h"
#include "tests/support/scripted_analyzer.h"
#include "tests/tool/tool_fixture.h"

namespace varnel {
namespace {

using testing::Analyzer;
using testing::AnalyzerScript;

class AnalyzerStopTest : public testing::ToolTest {
 protected:
  AnalyzerStopTest() { Analyzer() = {}; }
};

TEST_F(AnalyzerStopTest, AStopAsksTheAnalyzerToEndWithoutALimitAndTellsNothingWhenItHas) {
  Analyzer().stop_result = 0;
  ASSERT_EQ(Start(), 0u);
  Settle();
  EXPECT_EQ(Stop(), 0u);
  EXPECT_THAT(Analyzer().calls, ::testing::ElementsAre("init", "start", "uninit", "stop"));
  EXPECT_EQ(Analyzer().stop_timeout_ms, 0xFFFFFFFFu);
  EXPECT_FALSE(Logged("StopBsodAnalyzer"));
}

TEST_F(AnalyzerStopTest, AnyOtherAnswerIsALineAndTheStopGoesOn) {
  for (const std::uint32_t answer : {1u, 2u, 3u, 4u}) {
    Analyzer().stop_result = answer;
    ASSERT_EQ(Start(), 0u);
    EXPECT_EQ(Stop(), 0u);
    const std::string line =
        "EtwConsumerStop func call StopBsodAnalyzer(0x" + std::to_string(answer) + ") is not Success\r\n";
    EXPECT_TRUE(Logged(line)) << line;
  }
}

TEST_F(AnalyzerStopTest, AStopWaits2000MillisecondsForTheReportWithoutSymbolsAndThenForTheThread) {
  bool stopped = false;
  Analyzer().on_start = [&](const AnalyzerScript::Run&) {
    const std::uint64_t begin = platform_.time.now_ms();
    platform::ThreadsPort().Sleep(5000);
    stopped = platform_.time.now_ms() - begin >= 5000;
    return static_cast<std::int32_t>(0x800704C7);
  };
  std::uint64_t asked_to_stop = 0;
  Analyzer().on_stop = [&] { asked_to_stop = platform_.time.now_ms(); };
  ASSERT_EQ(Start(), 0u);
  Settle();
  const std::uint64_t before = platform_.time.now_ms();
  EXPECT_EQ(Stop(), 0u);
  EXPECT_EQ(asked_to_stop - before, 2000u);
  EXPECT_TRUE(stopped) << "the thread was waited for";
  EXPECT_TRUE(Logged("BSODCheckThread func call StartBsodAnalyzer failed(0x800704C7)\r\n"));
  EXPECT_EQ(g_ConsumerTable.hBSODCheckThread, nullptr);
}

TEST_F(AnalyzerStopTest, AStopBehindTheReportWithoutSymbolsAsksTheAnalyzerAtOnce) {
  std::atomic<bool> told{false};
  Analyzer().on_start = [&](const AnalyzerScript::Run& run) {
    run.no_symbol(0, "", "", run.no_symbol_context);
    told = true;
    platform::ThreadsPort().Sleep(5000);
    return 0;
  };
  std::uint64_t asked_to_stop = 0;
  Analyzer().on_stop = [&] { asked_to_stop = platform_.time.now_ms(); };
  ASSERT_EQ(Start(), 0u);
  ASSERT_TRUE(platform_.time.RunUntil([&] { return told.load(); }));
  const std::uint64_t before = platform_.time.now_ms();
  EXPECT_EQ(Stop(), 0u);
  EXPECT_EQ(asked_to_stop, before);
}

TEST_F(AnalyzerStopTest, ASecondStartClosesTheDoneEventsBeforeItsStopSoThatNoReportIsWaitedFor) {
  Analyzer().on_start = [](const AnalyzerScript::Run&) {
    platform::ThreadsPort().Sleep(5000);
    return 0;
  };
  std::optional<std::uint64_t> asked_to_stop;
  Analyzer().on_stop = [&] { asked_to_stop = platform_.time.now_ms(); };
  ASSERT_EQ(Start(), 0u);
  Settle();
  const std::uint64_t before = platform_.time.now_ms();
  EXPECT_EQ(Start(), 0x90000000u);
  EXPECT_EQ(asked_to_stop, before);
  EXPECT_EQ(platform_.handles.open_count(), 0u);
}

TEST_F(AnalyzerStopTest, AnAnswerOfTheAnalyzerThatIsNo0IsAnError) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.system.ClearDebug();
  Analyzer().stop_result = 2;
  EXPECT_EQ(Stop(), 0u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
  EXPECT_TRUE(Logged("EtwConsumerStop func call StopBsodAnalyzer(0x2) is not Success\r\n"));
}

TEST_F(AnalyzerStopTest, TheTextsOfTheCrashThreadReachTheHostOfTheTool) {
  // The least that a report has.
  static constexpr char kReport[] =
      R"({"analysis_info":{"dump_file":"C:\\a.dmp","analysis_time":"2026-11-21T20:15:04","dump_type":"Unknown",)"
      R"("analyzer_version":"1.0.0","symbol_mode":"no_symbol","symbol_loaded":false,"importance":"TRUE"},)"
      R"("system_info":{"os_version":"","machine_type":"x64","processor_count":0,"system_uptime_ms":0,)"
      R"("crash_time":""}})";
  Analyzer().on_start = [](const AnalyzerScript::Run& run) {
    run.no_symbol(1, kReport, "", run.no_symbol_context);
    return 0;
  };
  ASSERT_EQ(Start(1), 0u);
  Settle();
  EXPECT_EQ(Stop(), 0u);
  ASSERT_EQ(host_.CrashTexts().size(), 2u);
  EXPECT_THAT(host_.CrashTexts()[0], ::testing::HasSubstr("\"AdditionalMsgAnsi\":null}"));
  EXPECT_THAT(host_.CrashTexts()[1], ::testing::EndsWith(std::string("\"AdditionalMsgJson\":") + kReport + "}"));
}

TEST_F(AnalyzerStopTest, TheEmptyTextsComeOnceABoot) {
  ASSERT_EQ(Start(), 0u);
  Settle();
  ASSERT_EQ(Stop(), 0u);
  EXPECT_EQ(host_.CrashTexts().size(), 3u);
  ASSERT_EQ(Start(), 0u);
  Settle();
  ASSERT_EQ(Stop(), 0u);
  EXPECT_EQ(host_.CrashTexts().size(), 3u);
}

}  // namespace
}  // namespace varnel

#include "base/log.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/civil_time.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::FaultPlan;
using testing::FaultyPlatform;
using testing::ScriptedPlatform;

constexpr GUID kTool = {0x4A234956, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
constexpr char16_t kFolder[] = u"C:\\ProgramData\\KelvoVarnels\\Log";
constexpr char16_t kFile[] = u"C:\\ProgramData\\KelvoVarnels\\Log\\{4A234956-2B7D-4221-BADF-12593BD342A8}.txt";
constexpr std::size_t kLargestKept = 15'728'640;

/// A machine of its own for each test; the log is closed before the machine goes.
class Log : public ::testing::Test {
 protected:
  Log() { machine.system.SetTime(testing::FileTimeOf(2026, 2, 4, 1, 5, 7, 123)); }
  ~Log() override { WrapLogClose(); }

  void Start() { WrapLogInitByGuid(3, &kTool); }
  std::string File() const { return machine.files.Contents(kFile); }

  ScriptedPlatform machine;
};

using LogDeathTest = Log;

TEST_F(LogDeathTest, ALineBeforeStartUpWritesNothingAndDoesNotFail) {
  // In a fresh process: in this one another test may have started the log.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        WrapLogPrint(LOG_ERROR, u"too early\r\n");
        std::_Exit(machine.system.DebugLines().empty() && machine.files.List().empty() ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(Log, StandsOnTheSystemDriveUnderTheModulesGuid) {
  Start();
  EXPECT_TRUE(machine.files.IsFolder(kFolder));
  EXPECT_TRUE(machine.files.Exists(kFile));
}

TEST_F(Log, FollowsTheDriveLetterOfTheSystemFolder) {
  machine.system.system_directory = u"D:\\Windows\\System32";
  machine.files.AddFolder(u"D:\\ProgramData");
  Start();
  EXPECT_TRUE(machine.files.Exists(u"D:\\ProgramData\\KelvoVarnels\\Log\\{4A234956-2B7D-4221-BADF-12593BD342A8}.txt"));
}

TEST_F(Log, MakesOneFolderLevelAtATimeAndTakesTheParentForGranted) {
  machine.files.Remove(u"C:\\ProgramData");
  Start();
  EXPECT_FALSE(machine.files.Exists(kFolder));
  WrapLogPrint(LOG_ERROR, u"still heard\r\n");
  EXPECT_TRUE(machine.system.Logged("still heard")) << "without a file lines still reach the debugger output";
}

TEST_F(Log, LeavesFoldersThatAreThereAlone) {
  machine.files.AddFolder(kFolder);
  FaultPlan plan;
  {
    const FaultyPlatform watched(machine.ports, &plan);
    Start();
  }
  EXPECT_EQ(plan.CountOf("CreateDirectoryW"), 0u);
}

TEST_F(Log, ALineGoesToTheDebuggerAndToTheFileWithAPrefixAtUtcPlusEight) {
  Start();
  WrapLogPrint(LOG_ERROR, u"EtwConsumerStart func In Flags(0x%x).\r\n", 3u);
  const std::string line = "[20260204-09:05:07.123] EtwConsumerStart func In Flags(0x3).\r\n";
  EXPECT_EQ(machine.system.DebugText(), line);
  EXPECT_EQ(File(), line);
}

TEST_F(Log, MillisecondsHaveAWidthOfAtLeastTwo) {
  Start();
  for (const std::uint16_t milliseconds : {5, 50, 123}) {
    machine.system.SetTime(testing::FileTimeOf(2026, 2, 4, 1, 5, 7, milliseconds));
    WrapLogPrint(LOG_ERROR, u"\n");
  }
  EXPECT_EQ(File(), "[20260204-09:05:07.05] \n[20260204-09:05:07.50] \n[20260204-09:05:07.123] \n");
}

TEST_F(Log, TheMachinesOwnZoneIsNeverRead) {
  Start();
  machine.system.SetTime(testing::FileTimeOf(2026, 7, 1, 20, 0, 0, 0));
  WrapLogPrint(LOG_ERROR, u"summer\n");
  EXPECT_EQ(File(), "[20260702-04:00:00.00] summer\n") << "no daylight time, at any date";
}

TEST_F(Log, WithoutATimeFunctionThePrefixIsAllZero) {
  machine.system.procedures.clear();
  Start();
  WrapLogPrint(LOG_INFO, u"zero\r\n");
  EXPECT_EQ(File(), "[000000-00:00:00.00] zero\r\n");
}

TEST_F(Log, WithoutTheLibraryOfTheTimeFunctionThePrefixIsAllZero) {
  machine.system.libraries.clear();
  Start();
  WrapLogPrint(LOG_INFO, u"zero\r\n");
  EXPECT_EQ(File(), "[000000-00:00:00.00] zero\r\n");
}

TEST_F(Log, ADetailLineReachesNeitherTheDebuggerNorTheFile) {
  Start();
  FaultPlan plan;
  {
    const FaultyPlatform watched(machine.ports, &plan);
    WrapLogPrint(LOG_DETAIL, u"chatter %d\r\n", 1);
  }
  EXPECT_EQ(machine.system.DebugText(), "");
  EXPECT_EQ(File(), "");
  EXPECT_TRUE(plan.Calls().empty()) << "a dropped line asks for nothing, not even the time";
}

TEST_F(Log, ErrorAndInfoLinesAreWritten) {
  Start();
  WrapLogPrint(LOG_ERROR, u"one\n");
  WrapLogPrint(LOG_INFO, u"two\n");
  EXPECT_EQ(machine.system.DebugLines().size(), 2u);
}

TEST_F(Log, AddsNoLineEndOfItsOwn) {
  Start();
  WrapLogPrint(LOG_ERROR, u"a");
  WrapLogPrint(LOG_ERROR, u"b\n");
  EXPECT_EQ(File(), "[20260204-09:05:07.123] a[20260204-09:05:07.123] b\n");
}

TEST_F(Log, AFormatWithoutConversionsPrintsAsItStandsWhateverIsPassed) {
  Start();
  WrapLogPrint(LOG_ERROR, Unchecked(u"nothing to fill in\n"), 1, u"two");
  EXPECT_EQ(File(), "[20260204-09:05:07.123] nothing to fill in\n");
}

TEST_F(Log, ALineShortOfAnArgumentShowsTheFiller) {
  Start();
  WrapLogPrint(LOG_ERROR, Unchecked(u"Session(%s) failed(0x%x)\n"), u"Name");
  EXPECT_EQ(File(), "[20260204-09:05:07.123] Session(Name) failed(0x?)\n");
}

TEST_F(Log, AMessageOf199CharactersTakesNoHeapBlockForFormatting) {
  Start();
  FaultPlan plan;
  const FaultyPlatform watched(machine.ports, &plan);
  WrapLogPrint(LOG_ERROR, u"%s", std::u16string(199, u'x').c_str());
  EXPECT_EQ(plan.CountOf("HeapAlloc"), 1u) << "only the conversion for the file";
  EXPECT_EQ(File(), "[20260204-09:05:07.123] " + std::string(199, 'x'));
}

TEST_F(Log, AMessageOf200CharactersTakesTheHeapPath) {
  Start();
  FaultPlan plan;
  const FaultyPlatform watched(machine.ports, &plan);
  WrapLogPrint(LOG_ERROR, u"%s", std::u16string(200, u'x').c_str());
  EXPECT_EQ(plan.CountOf("HeapAlloc"), 2u);
  EXPECT_EQ(File(), "[20260204-09:05:07.123] " + std::string(200, 'x'));
}

TEST_F(Log, AMessageLongerThanTheCapacityDoublesItOnce) {
  Start();
  const std::u16string long_text(799, u'y');
  FaultPlan plan;
  const FaultyPlatform watched(machine.ports, &plan);
  WrapLogPrint(LOG_ERROR, u"%s", long_text.c_str());
  EXPECT_EQ(plan.CountOf("HeapAlloc"), 3u) << "400, 800, and the conversion";
  plan.Clear();
  WrapLogPrint(LOG_ERROR, u"%s", long_text.c_str());
  EXPECT_EQ(plan.CountOf("HeapAlloc"), 2u) << "the grown capacity stays";
  EXPECT_EQ(machine.system.heap_blocks(), 0);
}

TEST_F(Log, DoublesUntilAVeryLongMessageFits) {
  Start();
  WrapLogPrint(LOG_ERROR, u"%s", std::u16string(10'000, u'z').c_str());
  EXPECT_EQ(File(), "[20260204-09:05:07.123] " + std::string(10'000, 'z'));
  EXPECT_EQ(machine.system.heap_blocks(), 0);
}

TEST_F(Log, AFailedHeapBlockLosesTheLineAndNothingElse) {
  Start();
  const std::u16string long_text(1000, u'y');
  for (unsigned n = 1; n <= 3; ++n) {
    WrapLogInit(3, nullptr);  // the capacity is 400 again
    machine.system.FailAllocation(n);
    WrapLogPrint(LOG_ERROR, u"%s", long_text.c_str());
    EXPECT_EQ(machine.system.DebugText(), "") << "allocation " << n;
    EXPECT_EQ(machine.system.heap_blocks(), 0);
    machine.system.FailAllocation(0);
  }
  WrapLogPrint(LOG_ERROR, u"goes on\n");
  EXPECT_EQ(File(), "[20260204-09:05:07.123] goes on\n");
}

TEST_F(Log, AFailedConversionBlockStillServesTheDebugger) {
  Start();
  machine.system.FailAllocation(1);
  WrapLogPrint(LOG_ERROR, u"heard\n");
  EXPECT_TRUE(machine.system.Logged("heard"));
  EXPECT_EQ(File(), "");
}

TEST_F(Log, AFailedConversionWritesNothingToTheFile) {
  Start();
  FaultPlan plan;
  plan.Fail("WideCharToMultiByte", 1113);
  const FaultyPlatform faulty(machine.ports, &plan);
  WrapLogPrint(LOG_ERROR, u"heard\n");
  EXPECT_TRUE(machine.system.Logged("heard"));
  EXPECT_EQ(plan.CountOf("WriteFile"), 0u);
}

TEST_F(Log, AFailedWriteIsIgnored) {
  Start();
  FaultPlan plan;
  plan.Fail("WriteFile", 112);
  const FaultyPlatform faulty(machine.ports, &plan);
  WrapLogPrint(LOG_ERROR, u"lost\n");
  WrapLogPrint(LOG_ERROR, u"kept\n");
  EXPECT_EQ(File(), "[20260204-09:05:07.123] kept\n");
}

TEST_F(Log, AFileThatCannotBeOpenedLeavesTheDebugger) {
  FaultPlan plan;
  plan.FailForEver("CreateFileW", 5);
  const FaultyPlatform faulty(machine.ports, &plan);
  Start();
  WrapLogPrint(LOG_ERROR, u"heard\n");
  EXPECT_TRUE(machine.system.Logged("heard"));
  EXPECT_FALSE(machine.files.Exists(kFile));
}

TEST_F(Log, AFileOfExactlyFifteenMebibytesIsKeptAndAppendedTo) {
  machine.files.AddFile(kFile, std::string(kLargestKept, 'o'));
  Start();
  WrapLogPrint(LOG_ERROR, u"more\n");
  EXPECT_EQ(File().size(), kLargestKept + std::string("[20260204-09:05:07.123] more\n").size());
}

TEST_F(Log, OneByteMoreAndItIsEmptiedAtStartUp) {
  machine.files.AddFile(kFile, std::string(kLargestKept + 1, 'o'));
  Start();
  EXPECT_EQ(File(), "");
  WrapLogPrint(LOG_ERROR, u"new\n");
  EXPECT_EQ(File(), "[20260204-09:05:07.123] new\n");
}

TEST_F(Log, WhenEmptyingFailsTheHandleStaysInvalid) {
  machine.files.AddFile(kFile, std::string(kLargestKept + 1, 'o'));
  FaultPlan plan;
  plan.Fail({"CreateFileW", 2, false, 5});
  const FaultyPlatform faulty(machine.ports, &plan);
  Start();
  WrapLogPrint(LOG_ERROR, u"heard\n");
  EXPECT_EQ(File().size(), kLargestKept + 1);
  EXPECT_EQ(machine.files.open_files(), 0u);
}

TEST_F(Log, ThePresentFileIsAppendedTo) {
  machine.files.AddFile(kFile, "before\n");
  Start();
  WrapLogPrint(LOG_ERROR, u"after\n");
  EXPECT_EQ(File(), "before\n[20260204-09:05:07.123] after\n");
}

TEST_F(Log, MayBeStartedTwice) {
  Start();
  Start();
  EXPECT_EQ(machine.files.open_files(), 1u);
  WrapLogPrint(LOG_ERROR, u"once\n");
  EXPECT_EQ(File(), "[20260204-09:05:07.123] once\n");
}

TEST_F(Log, WithoutAPathNoFileIsOpened) {
  WrapLogInit(3, nullptr);
  WrapLogPrint(LOG_INFO, u"debugger only\n");
  EXPECT_TRUE(machine.system.Logged("debugger only"));
  EXPECT_EQ(machine.files.open_files(), 0u);
}

TEST_F(Log, AfterTheCloseLinesStillReachTheDebuggerOutput) {
  Start();
  WrapLogClose();
  EXPECT_EQ(machine.files.open_files(), 0u);
  WrapLogPrint(LOG_ERROR, u"late\n");
  EXPECT_TRUE(machine.system.Logged("late"));
  EXPECT_EQ(File(), "");
}

TEST_F(Log, TwoHoldersOfTheFileInterleaveWholeLines) {
  Start();
  // Another process: its own handle on the same file, all sharing allowed.
  const platform::HANDLE other = machine.files.CreateFileW(kFile, platform::kGenericAll, 7, platform::kOpenAlways, 0);
  ASSERT_NE(other, platform::kInvalidHandleValue);
  platform::OVERLAPPED at_the_end{};
  at_the_end.Offset = at_the_end.OffsetHigh = ~0u;
  WrapLogPrint(LOG_ERROR, u"ours\n");
  machine.files.WriteFile(other, "theirs\n", 7, nullptr, &at_the_end);
  WrapLogPrint(LOG_ERROR, u"ours\n");
  EXPECT_EQ(File(), "[20260204-09:05:07.123] ours\ntheirs\n[20260204-09:05:07.123] ours\n");
}

TEST_F(Log, LinesOfManyThreadsStayWhole) {
  Start();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      // Some of them overflow the stack line and the first capacity at the same time.
      const std::u16string text(i % 2 == 0 ? 10 : 900, u'a' + i);
      for (int n = 0; n < 50; ++n) WrapLogPrint(LOG_ERROR, u"%s\n", text.c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  int whole = 0;
  for (const std::string& line : machine.system.DebugLines()) {
    const std::string text = line.substr(24, line.size() - 25);
    const std::size_t expected = (text[0] - 'a') % 2 == 0 ? 10 : 900;
    whole += text == std::string(expected, text[0]) ? 1 : 0;
  }
  EXPECT_EQ(whole, 200);
  EXPECT_EQ(machine.system.heap_blocks(), 0);
}

TEST_F(Log, ANarrowTextIsWrittenAsItStands) {
  Start();
  WrapLogWrite(0, "narrow\n");
  EXPECT_EQ(File(), "narrow\n");
  EXPECT_EQ(machine.system.DebugText(), "narrow\n");
}

TEST_F(Log, TheFileHoldsTheNarrowCodePageWithoutAByteOrderMark) {
  Start();
  WrapLogPrint(LOG_ERROR, u"%s\n", u"\u00E4\u4E2D");
  EXPECT_EQ(File(), "[20260204-09:05:07.123] \xC3\xA4\xE4\xB8\xAD\n");
}

TEST_F(Log, TheFileHoldsTheMachinesOwnNarrowCodePageAndNotAlwaysUtf8) {
  machine.system.narrow_is_latin1 = true;
  Start();
  WrapLogPrint(LOG_ERROR, u"%s\n", u"\u00E4\u4E2D");
  EXPECT_EQ(File(), "[20260204-09:05:07.123] \xE4?\n");
}

}  // namespace
}  // namespace varnel

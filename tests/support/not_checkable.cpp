#include "tests/support/not_checkable.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace varnel::testing {
namespace {

struct Entry {
  std::string_view cases;  // a name, or the beginning of names with a star behind it
  std::string_view reason;
};

// What no case of any program is about, since there is nothing behind it.
constexpr Entry kWholePorts[] = {
    {"trace control (StartTraceW, ControlTraceW, EnableTraceEx2, EnumerateTraceGuidsEx)",
     "starting a session makes none"},
    {"trace consumption (OpenTraceW, ProcessTrace, CloseTrace) and trace files that the system writes",
     "reading answers 120"},
    {"event log (EvtQuery, EvtNext, EvtRender, EvtClose)", "a query finds nothing"},
    {"the system's debugger engine: dumps, symbols, and its rule that an instance is called by the thread that made it",
     "the engine here opens no dump and holds nobody to that rule"},
};

constexpr Entry kEntries[] = {
    {"Tdh.*", "manifests are not read and events not described: the calls answer 0 or end the process"},
    {"Windows/EtlSample.AccountsForEveryByteAndSkipsNone/*",
     "real trace files are packed in XPRESS, which is not implemented"},
    {"Windows/EtlSample.ComesInTheOrderOfAStableSortByStamp/*",
     "real trace files are packed in XPRESS, which is not implemented"},
    {"Windows/EtlSample.GivesEveryEventOfEveryBufferByProvider/*",
     "real trace files are packed in XPRESS, which is not implemented"},
    {"Windows/EtlSample.StandsBetweenItsStartAndItsEnd/*",
     "real trace files are packed in XPRESS, which is not implemented"},
    {"Pairs/EventDecoderSamples.LayoutsCoverTheEventsToTheLastByte/*",
     "real trace files are packed in XPRESS, which is not implemented"},
    {"Traces/SelfDescribingSamples.AreDecodedWholeWithoutAManifest/*",
     "real trace files are packed in XPRESS, which is not implemented"},
    {"TraceInfo.GivesTheFiguresOfAFileThatWindowsPacked",
     "real trace files are packed in XPRESS, which is not implemented"},
    {"FileAttributes.ReadOnlyKeepsAFileFromBeingWrittenAndDeleted", "a privileged user writes read-only files"},
    {"CopiedFile.AReadOnlyTargetIsNotReplaced", "a privileged user writes read-only files"},
    {"FileNames.ADriveThatIsNotThereAnswers3", "a missing drive answers as a missing file does"},
    {"FileTimesTest.CantBeSetThroughAHandleForReading", "the rights of the handle are not asked for times"},
    {"Folders.APathOf248CharactersAnswers206", "folders have no shorter limit than files"},
    {"OpenedFile.WhatItWasNotOpenedForAnswers5", "the end of a file that is open for reading answers 87"},
    {"Sharing.EmptyingAFileCountsAsWriting", "emptying at the opening is not held to the sharing modes"},
    {"Modules.APathThatDoesNotFitIsCutAndAnswers122", "the cut path has no NUL, as on systems before Windows Vista"},
    {"Threads.EndingAThreadThatHasEndedLeavesItsExitCode", "the exit code is written once more"},
    {"Waits.AWaitForAllRefusesAnObjectThatStandsTwiceInItsList", "such a list is taken"},
    {"CtrlBreak/WardletControl.*", "Ctrl-Break is not passed on to a whole console"},
    {"TimeConversion.ADateThatIsNoneIsRefusedWith87", "the 29th of February is taken in every year"},
};

bool RunsUnderWine() {
  return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

bool Matches(std::string_view pattern, std::string_view name) {
  if (!pattern.ends_with('*')) return pattern == name;
  return name.starts_with(pattern.substr(0, pattern.size() - 1));
}

/// Whether this program has any of them.
bool HasCasesOf(const Entry& entry) {
  const ::testing::UnitTest& program = *::testing::UnitTest::GetInstance();
  for (int i = 0; i < program.total_test_suite_count(); ++i) {
    const ::testing::TestSuite& suite = *program.GetTestSuite(i);
    for (int j = 0; j < suite.total_test_count(); ++j) {
      if (Matches(entry.cases, std::string(suite.name()) + '.' + suite.GetTestInfo(j)->name())) return true;
    }
  }
  return false;
}

}  // namespace

void LeaveOutWhatCannotBeChecked() {
  if (!RunsUnderWine()) return;
  std::string filter = GTEST_FLAG_GET(filter);
  filter += filter.find('-') == std::string::npos ? '-' : ':';
  for (const Entry& port : kWholePorts) {
    std::printf("not checkable here: %s: %s\n", port.cases.data(), port.reason.data());
  }
  for (const Entry& entry : kEntries) {
    if (!HasCasesOf(entry)) continue;
    std::printf("not checkable here: %s: %s\n", entry.cases.data(), entry.reason.data());
    filter += entry.cases;
    filter += ':';
  }
  GTEST_FLAG_SET(filter, filter);
}

}  // namespace varnel::testing

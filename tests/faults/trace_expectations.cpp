#include "tests/faults/trace_expectations.h"

#include <algorithm>
#include <array>
#include <climits>
#include <optional>
#include <sstream>
#include <string_view>

#include "tests/faults/registration_lines.h"

namespace varnel::testing {
namespace {

using Lines = TraceExpectation::Lines;
using Mode = SweepPlan::Mode;

constexpr char kTemp = 'T';
constexpr char kAuto = 'A';
constexpr char kAny = '*';
constexpr unsigned kLast = UINT_MAX;

constexpr const char* kAllEvents = "A1 A2 A3 A5 B1 B2 B3";
constexpr const char* kLeftOver = "A1 A2 B1 B2";
constexpr const char* kLive = "A3 A5 B3";

/// A range of call sites.
struct Sites {
  char session;
  const char* caller;
  const char* operation;
  unsigned first = 1;
  unsigned last = kLast;
  unsigned period = 0;     // 0: the range is of the nths themselves; else of their place in each period, from 1
  unsigned until = kLast;  // the last nth

  bool Covers(const TraceFault& fault) const {
    const char kind = fault.session == SessionKind::kTemporary ? kTemp : kAuto;
    if ((session != kAny && session != kind) || fault.site.caller != caller || fault.site.operation != operation) {
      return false;
    }
    const unsigned place = period == 0 ? fault.site.nth : (fault.site.nth - 1) % period + 1;
    return fault.site.nth <= until && first <= place && place <= last;
  }
};

struct ToldLine {
  Sites sites;
  const char* line;
};

// The lines that tell of one failing call.
constexpr ToldLine kToldLines[] = {
    // The session.
    {{kAny, "start", "ControlTraceW"}, "CheckTraceSessionExists func Failed to query Session("},
    {{kTemp, "start", "GetSystemDirectoryW", 2, 2},
     "CreateTempSession func call GenericUniqueTempSessionLogFile failed!"},
    {{kTemp, "start", "HeapAlloc", 2, 2}, "EtwConsumerStart func call CreateTempSession failed(0xe)!"},
    {{kAuto, "start", "HeapAlloc", 1, 1}, "EtwConsumerStart func call CreateTempSession failed("},
    {{kTemp, "start", "StartTraceW"}, "EtwConsumerStart func call CreateTempSession failed(0x5)!"},
    {{kTemp, "start", "EnableTraceEx2"}, "EtwConsumerStart func call CreateTempSession failed(0x5)!"},
    // The seven manifests. Of the conversions of a manifest only those of its file's name and of its text count.
    {{kAny, "start", "WideCharToMultiByte", 3, 3, 3}, "call LoadTargetProviderXmlFile failed(0x1f) for ProviderGuid="},
    {{kAny, "start", "GetTempPathW"}, "call LoadTargetProviderXmlFile failed(0x5) for ProviderGuid="},
    {{kAny, "start", "MultiByteToWideChar", 2, 3, 3}, "call LoadTargetProviderXmlFile failed(0x1f) for ProviderGuid="},
    {{kAny, "start", "OpenNarrow"}, "call LoadTargetProviderXmlFile failed(0x1f) for ProviderGuid="},
    {{kAny, "start", "CreateFileW", 1, 14}, "call LoadTargetProviderXmlFile failed(0x5) for ProviderGuid="},
    {{kAny, "start", "GetFileSize"}, "call LoadTargetProviderXmlFile failed(0x5) for ProviderGuid="},
    {{kTemp, "start", "HeapAlloc", 3}, "call LoadTargetProviderXmlFile failed(0xe) for ProviderGuid="},
    {{kAuto, "start", "HeapAlloc", 2}, "call LoadTargetProviderXmlFile failed(0xe) for ProviderGuid="},
    {{kAny, "start", "ReadFile"}, "call LoadTargetProviderXmlFile failed(0x5) for ProviderGuid="},
    {{kAny, "start", "WriteFile"}, "call LoadTargetProviderXmlFile failed(0x5) for ProviderGuid="},
    {{kAny, "start", "TdhLoadManifest"}, "LoadTargetProviderXmlFile func call TdhLoadManifest("},
    // A file that stays open for reading can't be written anew: a sharing violation.
    {{kAny, "start", "CloseHandle", 1, 1, 2, 14}, "call LoadTargetProviderXmlFile failed(0x20) for ProviderGuid="},
    // The marker and the threads.
    {{kAny, "start", "CreateDirectoryW", 3, 4}, "EtwConsumerStart func call CheckThisBootHasExecute failed(0x0)!"},
    {{kAny, "start", "CreateFileW", 15, 15}, "EtwConsumerStart func call CheckThisBootHasExecute failed(0x0)!"},
    {{kAny, "start", "CreateThread", 1, 1}, "EtwConsumerStart func create BSODCheckThread failed(0x5)!"},
    {{kAny, "start", "CreateThread", 3, 3}, "EtwConsumerStart func create LeakEventCollectThread failed(0x5)!"},
    // The live thread notices a failed open when it reads.
    {{kAny, "live", "OpenTraceW"}, "RealTimeEventCollectThread ProcessTrace failed(0x6)"},
    {{kAny, "live", "ProcessTrace"}, "RealTimeEventCollectThread ProcessTrace failed(0x5)"},
    // The System log. Of its texts the second one is the crash.
    {{kAny, "crash", "HeapAlloc", 1, 1}, "AnalyzeBSODEvents func check session(EventLog-System) not exist."},
    {{kAny, "crash", "HeapAlloc", 2, 2}, "(Kernel-General) not exist in session(EventLog-System)."},
    {{kAny, "crash", "HeapAlloc", 3, 3}, "(Kernel-Power) not exist in session(EventLog-System)."},
    {{kAny, "crash", "HeapAlloc", 7, 9}, "BuildBsodEventJsonAndInvokeCB func send NULL Event time stamp("},
    {{kAny, "crash", "ControlTraceW", 1, 1}, "AnalyzeBSODEvents func check session(EventLog-System) not exist."},
    {{kAny, "crash", "ControlTraceW", 2, 2}, "(Kernel-General) not exist in session(EventLog-System)."},
    {{kAny, "crash", "ControlTraceW", 3, 3}, "(Kernel-Power) not exist in session(EventLog-System)."},
    {{kAny, "crash", "EnumerateTraceGuidsEx", 1, 2}, "(Kernel-General) not exist in session(EventLog-System)."},
    {{kAny, "crash", "EnumerateTraceGuidsEx", 3, 4}, "(Kernel-Power) not exist in session(EventLog-System)."},
    {{kAny, "crash", "RegSetValueExW", 1, 1}, "BSODCheckThread func call AnalyzeBSODEvents failed(0x5)"},
    {{kAny, "crash", "EvtQuery"}, "BSODCheckThread func call AnalyzeBSODEvents failed(0x5)"},
    {{kAny, "crash", "EvtNext"}, "BSODCheckThread func call AnalyzeBSODEvents failed(0x5)"},
    {{kAny, "crash", "EvtRender", 3, 4}, "BuildBsodEventJsonAndInvokeCB func send NULL Event time stamp("},
    {{kAny, "crash", "WideCharToMultiByte", 3, 4}, "BuildBsodEventJsonAndInvokeCB func send NULL Event time stamp("},
    {{kAny, "crash", "SystemTimeToFileTime", 2, 2}, "BuildBsodEventJsonAndInvokeCB func send NULL Event time stamp("},
    {{kAny, "crash", "FileTimeToSystemTime", 3, 3}, "BuildBsodEventJsonAndInvokeCB func send BSOD Event time stamp()"},
    {{kAny, "crash", "SystemTimeToTzSpecificLocalTime", 3, 3},
     "BuildBsodEventJsonAndInvokeCB func send BSOD Event time stamp()"},
    {{kAny, "crash", "RegFlushKey", 1, 1}, "RegFlushKey for HKEY_LOCAL_MACHINE\\SOFTWARE failed(0x5)."},
    {{kAny, "crash", "RegFlushKey", 2, 2}, "RegFlushKey for HKEY_LOCAL_MACHINE\\SYSTEM failed(0x5)."},
    // The left-over files: the folder's walks.
    {{kAny, "leak", "GetSystemDirectoryW", 1, 1},
     "LeakEventCollectThread func call EnumTargetDirFile with  CheckTempSessionLogFile failed(0x57)"},
    {{kTemp, "leak", "GetSystemDirectoryW", 4, 4},
     "CheckIsTargetSessionLogFile func call GenericUniqueTempSessionLogFile failed(0x5)!"},
    {{kAuto, "leak", "GetSystemDirectoryW", 5, 5},
     "CheckIsTargetSessionLogFile func call GenericUniqueTempSessionLogFile failed(0x5)!"},
    {{kAny, "leak", "FindFirstFileW", 1, 1},
     "LeakEventCollectThread func call EnumTargetDirFile with  CheckTempSessionLogFile failed(0x5)"},
    {{kAny, "leak", "FindFirstFileW", 2, 2},
     "LeakEventCollectThread func call EnumTargetDirFile with  CheckAutoSessionLogFile failed(0x5)"},
    {{kTemp, "leak", "FindNextFileW", 1, 4},
     "LeakEventCollectThread func call EnumTargetDirFile with  CheckTempSessionLogFile failed(0x5)"},
    {{kTemp, "leak", "FindNextFileW", 5, 8},
     "LeakEventCollectThread func call EnumTargetDirFile with  CheckAutoSessionLogFile failed(0x5)"},
    {{kAuto, "leak", "FindNextFileW", 1, 5},
     "LeakEventCollectThread func call EnumTargetDirFile with  CheckTempSessionLogFile failed(0x5)"},
    {{kAuto, "leak", "FindNextFileW", 6, 10},
     "LeakEventCollectThread func call EnumTargetDirFile with  CheckAutoSessionLogFile failed(0x5)"},
    {{kAny, "leak", "OpenTraceW"}, "CheckIsTargetSessionLogFile func call OpenTrace with file failed(0x5)."},
    {{kAny, "leak", "ProcessTrace"}, "CheckIsTargetSessionLogFile func call ProcessTrace failed(0x5)."},
    // Their deletion.
    {{kAny, "leak", "HeapAlloc", 35, 35}, "DeleteAllTempSessionLogFiles func call bSessionExist is false."},
    {{kAny, "leak", "HeapAlloc", 36, 36}, "DeleteAllAutoSessionLogFiles func call bSessionExist is false."},
    {{kAny, "leak", "ControlTraceW", 1, 1}, "DeleteAllTempSessionLogFiles func call bSessionExist is false."},
    {{kAny, "leak", "ControlTraceW", 2, 2}, "DeleteAllAutoSessionLogFiles func call bSessionExist is false."},
    {{kTemp, "leak", "GetSystemDirectoryW", 8, 8},
     "LeakEventCollectThread func call DeleteAllTempSessionLogFiles failed(0x5)"},
    {{kTemp, "leak", "GetSystemDirectoryW", 11, 11},
     "DeleteTempSessionLogFiles func call CheckIsOurEtwLogFiles failed(0x5) for file: "},
    {{kAuto, "leak", "GetSystemDirectoryW", 13, 13},
     "DeleteTempSessionLogFiles func call CheckIsOurEtwLogFiles failed(0x5) for file: "},
    {{kTemp, "leak", "DeleteFileW", 1, 1}, "DeleteTempSessionLogFiles func DeleteFileW failed(0x5) for file: "},
    {{kAuto, "leak", "DeleteFileW", 1, 1}, "DeleteTempSessionLogFiles func DeleteFileW failed(0x5) for file: "},
    {{kAuto, "leak", "DeleteFileW", 2, 2}, "DeleteAutoSessionLogFiles func DeleteFileW failed(0x5) for file: "},
    {{kTemp, "leak", "GetSystemDirectoryW", 12, 12},
     "DeleteAllAutoSessionLogFiles func call GetSystemDirectoryW failed(0x5)"},
    {{kAuto, "leak", "GetSystemDirectoryW", 14, 14},
     "DeleteAllAutoSessionLogFiles func call GetSystemDirectoryW failed(0x5)"},
    {{kAuto, "leak", "FindFirstFileW", 4, 4},
     "LeakEventCollectThread func call DeleteAllAutoSessionLogFiles failed(0x5)"},
    {{kAuto, "leak", "FindNextFileW", 16, 19},
     "LeakEventCollectThread func call DeleteAllAutoSessionLogFiles failed(0x5)"},
    {{kAuto, "leak", "StringFromGUID2", 15, 15}, "DeleteAllAutoSessionLogFiles func Current session log file ("},
    {{kAny, "leak", "RegOpenKeyExW"}, "DeleteAllAutoSessionLogFiles func Failed to open session registry key: "},
    {{kAny, "leak", "RegQueryValueExW"},
     "DeleteAllAutoSessionLogFiles func Failed to read FileCounter from registry (0x5), "},
    // Events: a consumer that can't be made, an event that can't be decoded.
    {{kAny, "leak", "HeapAlloc", 1, 1}, "EventRecordCallback call CheckAndCreateTargetConsumerThread failed(0xE)."},
    {{kAny, "leak", "HeapAlloc", 18, 18}, "EventRecordCallback call CheckAndCreateTargetConsumerThread failed(0xE)."},
    {{kAny, "leak", "CreateEventW"}, "EventRecordCallback call CheckAndCreateTargetConsumerThread failed(0x5)."},
    {{kAny, "leak", "CreateThread"}, "EventRecordCallback call CheckAndCreateTargetConsumerThread failed(0x5)."},
    {{kAny, "leak", "HeapAlloc", 2, 3}, "EventRecordCallback call ConvertEtwEventToRawEvent failed(0xE)."},
    {{kAny, "leak", "HeapAlloc", 10, 11}, "EventRecordCallback call ConvertEtwEventToRawEvent failed(0xE)."},
    {{kAny, "leak", "HeapAlloc", 19, 20}, "EventRecordCallback call ConvertEtwEventToRawEvent failed(0xE)."},
    {{kAny, "leak", "HeapAlloc", 27, 28}, "EventRecordCallback call ConvertEtwEventToRawEvent failed(0xE)."},
    {{kAny, "live", "HeapAlloc", 1, 2}, "EventRecordCallback call ConvertEtwEventToRawEvent failed(0xE)."},
    {{kAny, "live", "HeapAlloc", 10, 11}, "EventRecordCallback call ConvertEtwEventToRawEvent failed(0xE)."},
    {{kAny, "live", "HeapAlloc", 20, 21}, "EventRecordCallback call ConvertEtwEventToRawEvent failed(0xE)."},
    {{kAny, "leak", "TdhGetEventInformation", 1, 1, 2}, "first call TdhGetEventInformation failed(0x1F)"},
    {{kAny, "leak", "TdhGetEventInformation", 2, 2, 2}, "second call TdhGetEventInformation failed(0x5)"},
    {{kAny, "live", "TdhGetEventInformation", 1, 1, 2}, "first call TdhGetEventInformation failed(0x1F)"},
    {{kAny, "live", "TdhGetEventInformation", 2, 2, 2}, "second call TdhGetEventInformation failed(0x5)"},
    // A consumer whose position can't be read ends at once; stop works its queue off.
    {{kAny, "consumer 0x80", "RegEnumValueW"}, "func call GetTargetProviderModulesCounter failed(0x"},
    {{kAny, "consumer 0x100", "RegEnumValueW"}, "func call GetTargetProviderModulesCounter failed(0x"},
    {{kAny, "consumer 0x80", "HeapAlloc"}, "func call GetTargetProviderModulesCounter failed(0x"},
    {{kAny, "consumer 0x100", "HeapAlloc"}, "func call GetTargetProviderModulesCounter failed(0x"},
    {{kAny, "consumer 0x80", "WaitForMultipleObjects"}, "RawEventDealThread func wait reason invalid(0xffffffff)!"},
    {{kAny, "consumer 0x100", "WaitForMultipleObjects"}, "RawEventDealThread func wait reason invalid(0xffffffff)!"},
};

// Where all later calls fail as well, a file whose folder can't be told is not the module's, and the checks behind that
// are not reached: the first line comes at the end.
constexpr ToldLine kToldLinesForEver[] = {
    {{kTemp, "leak", "GetSystemDirectoryW", 2, 3},
     "DeleteAllAutoSessionLogFiles func call GetSystemDirectoryW failed(0x5)"},
    {{kTemp, "leak", "GetSystemDirectoryW", 5, 7},
     "DeleteAllAutoSessionLogFiles func call GetSystemDirectoryW failed(0x5)"},
    {{kTemp, "leak", "GetSystemDirectoryW", 9, 10},
     "DeleteAllAutoSessionLogFiles func call GetSystemDirectoryW failed(0x5)"},
    {{kAuto, "leak", "GetSystemDirectoryW", 2, 4},
     "DeleteAllAutoSessionLogFiles func call GetSystemDirectoryW failed(0x5)"},
    {{kAuto, "leak", "GetSystemDirectoryW", 6, 12},
     "DeleteAllAutoSessionLogFiles func call GetSystemDirectoryW failed(0x5)"},
};

// Calls that fail without a line of their own but let other lines say something else: names of files without a GUID,
// texts without a property, a file that is not deleted.
constexpr Sites kOtherLines[] = {
    {kTemp, "start", "StringFromGUID2", 2, 3},
    {kTemp, "start", "CoCreateGuid"},
    {kTemp, "start", "HeapAlloc", 1, 1},
    {kAny, "leak", "HeapAlloc", 4, 34},
    {kAny, "live", "HeapAlloc"},
    {kAny, "leak", "WideCharToMultiByte"},
    {kAny, "live", "WideCharToMultiByte"},
    {kAny, "leak", "TdhGetPropertySize"},
    {kAny, "live", "TdhGetPropertySize"},
    {kAny, "leak", "TdhGetProperty"},
    {kAny, "live", "TdhGetProperty"},
    {kAny, "leak", "FileTimeToSystemTime"},
    {kAny, "live", "FileTimeToSystemTime"},
    {kAny, "leak", "SystemTimeToTzSpecificLocalTime"},
    {kAny, "live", "SystemTimeToTzSpecificLocalTime"},
    {kTemp, "leak", "GetSystemDirectoryW", 10, 10},
    {kTemp, "leak", "StringFromGUID2", 12, 13},
    {kTemp, "leak", "FindFirstFileW", 3, 3},
    {kTemp, "leak", "FindNextFileW", 9, 11},
    {kAuto, "leak", "GetSystemDirectoryW", 12, 12},
    {kAuto, "leak", "GetSystemDirectoryW", 15, 15},
    {kAuto, "leak", "StringFromGUID2", 13, 14},
    {kAuto, "leak", "StringFromGUID2", 16, 16},
    {kAuto, "leak", "FindFirstFileW", 3, 3},
    {kAuto, "leak", "FindNextFileW", 11, 14},
};

struct StartResult {
  Sites sites;
  std::uint32_t result;
};

// Where start does not give 0 after one failing call.
constexpr StartResult kStartResults[] = {
    {{kTemp, "start", "GetSystemDirectoryW", 2, 2}, 0x90000000},  // the name of the session's file
    {{kTemp, "start", "HeapAlloc", 2, 2}, 14},                    // the session's block
    {{kTemp, "start", "StartTraceW"}, kFaultCode},
    {{kTemp, "start", "EnableTraceEx2"}, kFaultCode},
    // A session that can't be seen is started, but it exists.
    {{kAuto, "start", "HeapAlloc", 1, 1}, 183},
    {{kAuto, "start", "ControlTraceW"}, 183},
};

// Where it is another one when all later calls fail as well.
constexpr StartResult kStartResultsForEver[] = {
    // The marker's failure brings the code of the manifests that failed before it.
    {{kAny, "start", "CreateFileW", 1, 14}, kFaultCode},
    {{kAuto, "start", "HeapAlloc", 1, 1}, 14},
};

struct CrashFate {
  Sites sites;
  TraceExpectation::Crash fate;
};

// Where one failing call costs the crash. The mark has gone past an event that was skipped: a later one was kept.
constexpr CrashFate kCrashFates[] = {
    {{kAny, "crash", "HeapAlloc", 7, 9}, TraceExpectation::Crash::kLost},
    {{kAny, "crash", "EvtRender", 3, 4}, TraceExpectation::Crash::kLost},
    {{kAny, "crash", "WideCharToMultiByte", 3, 4}, TraceExpectation::Crash::kLost},
    {{kAny, "crash", "SystemTimeToFileTime", 2, 2}, TraceExpectation::Crash::kLost},
    {{kAny, "crash", "RegSetValueExW", 1, 1}, TraceExpectation::Crash::kToldLater},
    {{kAny, "crash", "EvtQuery"}, TraceExpectation::Crash::kToldLater},
    {{kAny, "crash", "EvtNext"}, TraceExpectation::Crash::kToldLater},
    {{kAny, "crash", "RegSetValueExW", 2, 2}, TraceExpectation::Crash::kToldTwice},
};

struct LostEvents {
  Sites sites;
  const char* events;
};

// Which calls cost which events.
constexpr LostEvents kLostEvents[] = {
    // Without threads nothing is read.
    {{kAny, "start", "CreateDirectoryW", 3, 4}, kAllEvents},
    {{kAny, "start", "CreateFileW", 15, 15}, kAllEvents},
    {{kAny, "start", "CreateThread", 1, 1}, kAllEvents},
    {{kAny, "start", "CreateThread", 3, 3}, kLeftOver},
    {{kAny, "live", "OpenTraceW"}, kLive},
    {{kAny, "live", "ProcessTrace"}, kLive},
    // A left-over file that is not seen or not read goes with the others.
    {{kAny, "leak", "GetSystemDirectoryW", 1, 1}, kLeftOver},
    {{kTemp, "leak", "GetSystemDirectoryW", 3, 4}, "A1 A2"},
    {{kTemp, "leak", "GetSystemDirectoryW", 5, 5}, "B1 B2"},
    {{kTemp, "leak", "StringFromGUID2", 3, 4}, "A1 A2"},
    {{kTemp, "leak", "StringFromGUID2", 5, 5}, "B1 B2"},
    {{kAuto, "leak", "GetSystemDirectoryW", 4, 5}, "A1 A2"},
    {{kAuto, "leak", "GetSystemDirectoryW", 6, 6}, "B1 B2"},
    {{kAuto, "leak", "StringFromGUID2", 4, 5}, "A1 A2"},
    {{kAuto, "leak", "StringFromGUID2", 6, 6}, "B1 B2"},
    {{kAny, "leak", "FindFirstFileW", 1, 1}, kLeftOver},
    {{kAny, "leak", "FindFirstFileW", 2, 2}, "B1 B2"},
    {{kTemp, "leak", "FindNextFileW", 1, 3}, kLeftOver},
    {{kTemp, "leak", "FindNextFileW", 4, 6}, "B1 B2"},
    {{kAuto, "leak", "FindNextFileW", 1, 4}, kLeftOver},
    {{kAuto, "leak", "FindNextFileW", 5, 7}, "B1 B2"},
    {{kAny, "leak", "OpenTraceW", 1, 1}, "A1 A2"},
    {{kAny, "leak", "OpenTraceW", 2, 2}, "B1 B2"},
    {{kAny, "leak", "ProcessTrace", 1, 1}, "A1 A2"},
    {{kAny, "leak", "ProcessTrace", 2, 2}, "B1 B2"},
    // The event during which a consumer can't be made; the next one of its key makes it.
    {{kAny, "leak", "CreateEventW", 1, 1}, "A1"},
    {{kAny, "leak", "CreateEventW", 2, 2}, "B1"},
    {{kAny, "leak", "CreateThread", 1, 1}, "A1"},
    {{kAny, "leak", "CreateThread", 2, 2}, "B1"},
    // The record, the layout and the property "Flags", without which an event is not for the host. The first event of
    // a module allocates its consumer before.
    {{kAny, "leak", "HeapAlloc", 1, 3}, "A1"},
    {{kAny, "leak", "HeapAlloc", 5, 5}, "A1"},
    {{kAny, "leak", "HeapAlloc", 10, 11}, "A2"},
    {{kAny, "leak", "HeapAlloc", 13, 13}, "A2"},
    {{kAny, "leak", "HeapAlloc", 18, 20}, "B1"},
    {{kAny, "leak", "HeapAlloc", 22, 22}, "B1"},
    {{kAny, "leak", "HeapAlloc", 27, 28}, "B2"},
    {{kAny, "leak", "HeapAlloc", 30, 30}, "B2"},
    {{kAny, "live", "HeapAlloc", 1, 2}, "A3"},
    {{kAny, "live", "HeapAlloc", 4, 4}, "A3"},
    {{kAny, "live", "HeapAlloc", 10, 11}, "B3"},
    {{kAny, "live", "HeapAlloc", 13, 13}, "B3"},
    {{kAny, "live", "HeapAlloc", 20, 21}, "A5"},
    {{kAny, "live", "HeapAlloc", 23, 23}, "A5"},
    {{kAny, "leak", "TdhGetEventInformation", 1, 2}, "A1"},
    {{kAny, "leak", "TdhGetEventInformation", 3, 4}, "A2"},
    {{kAny, "leak", "TdhGetEventInformation", 5, 6}, "B1"},
    {{kAny, "leak", "TdhGetEventInformation", 7, 8}, "B2"},
    {{kAny, "live", "TdhGetEventInformation", 1, 2}, "A3"},
    {{kAny, "live", "TdhGetEventInformation", 3, 4}, "B3"},
    {{kAny, "live", "TdhGetEventInformation", 5, 6}, "A5"},
    {{kAny, "leak", "TdhGetPropertySize", 2, 2}, "A1"},
    {{kAny, "leak", "TdhGetPropertySize", 8, 8}, "A2"},
    {{kAny, "leak", "TdhGetPropertySize", 14, 14}, "B1"},
    {{kAny, "leak", "TdhGetPropertySize", 20, 20}, "B2"},
    {{kAny, "live", "TdhGetPropertySize", 2, 2}, "A3"},
    {{kAny, "live", "TdhGetPropertySize", 8, 8}, "B3"},
    {{kAny, "live", "TdhGetPropertySize", 15, 15}, "A5"},
    {{kAny, "leak", "TdhGetProperty", 2, 2}, "A1"},
    {{kAny, "leak", "TdhGetProperty", 8, 8}, "A2"},
    {{kAny, "leak", "TdhGetProperty", 14, 14}, "B1"},
    {{kAny, "leak", "TdhGetProperty", 20, 20}, "B2"},
    {{kAny, "live", "TdhGetProperty", 2, 2}, "A3"},
    {{kAny, "live", "TdhGetProperty", 8, 8}, "B3"},
    {{kAny, "live", "TdhGetProperty", 15, 15}, "A5"},
};

// What is lost beyond the sum of those when all later calls fail as well: no later event makes the consumer either.
constexpr LostEvents kLostForEver[] = {
    {{kAny, "leak", "CreateEventW", 1, 1}, "A1 A2 A3 A5"},
    {{kAny, "leak", "CreateEventW", 2, 2}, "B1 B2 B3"},
    {{kAny, "leak", "CreateThread", 1, 1}, "A1 A2 A3 A5"},
    {{kAny, "leak", "CreateThread", 2, 2}, "B1 B2 B3"},
};

void AddEvents(const char* events, std::set<std::string>* lost) {
  std::istringstream words(events);
  for (std::string word; words >> word;) lost->insert(word);
}

template <typename Rows>
const auto* FindRow(const Rows& rows, const TraceFault& fault) {
  const auto found =
      std::find_if(std::begin(rows), std::end(rows), [&](const auto& row) { return row.sites.Covers(fault); });
  return found == std::end(rows) ? nullptr : &*found;
}

/// By that call alone.
TraceExpectation ExpectOnce(const TraceFault& fault) {
  TraceExpectation expected;
  if (fault.site.caller.ends_with(" log")) {
    if (fault.site.operation == "HeapAlloc") expected.lines = Lines::kFewer;
    return expected;
  }
  if (const StartResult* row = FindRow(kStartResults, fault)) expected.start = row->result;
  if (expected.start != 0) AddEvents(kAllEvents, &expected.lost);
  for (const LostEvents& row : kLostEvents) {
    if (row.sites.Covers(fault)) AddEvents(row.events, &expected.lost);
  }
  if (fault.site.caller == "crash") {
    const CrashFate* const row = FindRow(kCrashFates, fault);
    expected.crash = row != nullptr ? row->fate : TraceExpectation::Crash::kTold;
  }
  const bool other = std::any_of(std::begin(kOtherLines), std::end(kOtherLines),
                                 [&](const Sites& sites) { return sites.Covers(fault); });
  if (other || !expected.lost.empty()) expected.lines = Lines::kOther;
  if (const ToldLine* row = FindRow(kToldLines, fault)) expected.told = {row->line};
  // Start does not look at the registration's result.
  if (fault.site.caller == "start" && expected.told.empty()) expected.told = RegistrationLines(fault.site);
  if (!expected.told.empty()) expected.lines = Lines::kTold;
  return expected;
}

/// What the calls from that one on come to together: the first that has a result or a line of its own settles it.
TraceExpectation ExpectForEver(const TraceFault& fault, const std::vector<CallSite>& order) {
  TraceExpectation expected;
  std::optional<TraceFault> first;
  for (auto at = std::find(order.begin(), order.end(), fault.site); at != order.end(); ++at) {
    if (at->operation != fault.site.operation || at->IsLog()) continue;
    const TraceFault part{fault.session, *at, Mode::kOnce};
    if (!first) first = part;
    const TraceExpectation once = ExpectOnce(part);
    if (expected.start == 0) expected.start = once.start;
    expected.lost.insert(once.lost.begin(), once.lost.end());
    if (const LostEvents* row = FindRow(kLostForEver, part)) AddEvents(row->events, &expected.lost);
    if (expected.lines == Lines::kTold || once.lines == Lines::kSame) continue;
    expected.lines = once.lines;
    expected.told = once.told;
  }
  if (expected.lines == Lines::kSame) expected.lines = ExpectOnce(fault).lines;
  if (!first) return expected;
  if (const StartResult* row = FindRow(kStartResultsForEver, *first)) expected.start = row->result;
  if (const ToldLine* row = FindRow(kToldLinesForEver, *first)) expected.told = {row->line};
  return expected;
}

/// Without a key, a value, or the records that were stored before, no position is stored, or not under its keyword.
bool StoresPositions(const std::string& operation) {
  constexpr std::array<std::string_view, 4> kNeeded = {"RegCreateKeyExW", "RegSetValueExW", "RegEnumValueW",
                                                       "HeapAlloc"};
  return std::find(kNeeded.begin(), kNeeded.end(), operation) == kNeeded.end();
}

unsigned DoneEvents(const TraceFault& fault, const TraceExpectation& expected) {
  if (expected.start != 0) return 0;
  const CallSite& site = fault.site;
  const bool no_marker =
      !expected.told.empty() && expected.told.front().find("CheckThisBootHasExecute") != std::string::npos;
  if (no_marker) return 0;
  if (site.caller != "start" || site.operation != "CreateEventW" || site.nth > 3) return 2;
  if (fault.mode == Mode::kOnce) return site.nth == 1 ? 2 : 1;
  return site.nth == 3 ? 1 : 0;
}

}  // namespace

TraceExpectation ExpectTraces(const TraceFault& fault, const std::vector<CallSite>& order) {
  TraceExpectation expected = fault.mode == Mode::kOnce ? ExpectOnce(fault) : ExpectForEver(fault, order);
  expected.done_events = DoneEvents(fault, expected);
  expected.positions_stored = StoresPositions(fault.site.operation);
  const bool no_mark = fault.mode == Mode::kForEver && fault.site.operation == "RegSetValueExW";
  if (no_mark && fault.site.caller == "crash" && fault.site.nth == 2) {
    expected.crash = TraceExpectation::Crash::kToldTwice;
  }
  return expected;
}

}  // namespace varnel::testing

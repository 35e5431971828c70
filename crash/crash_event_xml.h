// What the module reads out of an event's XML: its head, and the stop error of a crash event. Texts are NUL-terminated
// UTF-16 as the event log renders them; names are matched exactly, case included. No state: any thread may call.
#pragma once

#include <cstdint>

#include "crash/crash_event_record.h"

namespace varnel {

/// The event's number and its time as a FILETIME count in UTC, cut to the millisecond. 1, or 0 when the text is no XML,
/// lacks one of the two, or has a time with fewer than six fields; both outputs are cleared first. A date that is none
/// gives 1 with the time 0.
std::uint32_t ParseEventHeader(const char16_t* xml, std::uint32_t* outEventId, std::uint64_t* outTimeStamp);

/// Fills the record's stop error and its parameters as far as the event's data has them. Every number is read in base
/// 16, whatever it looks like: "159" gives 0x159.
void ParseBugcheckData(const char16_t* xml, CrashEventRecord* record);

}  // namespace varnel

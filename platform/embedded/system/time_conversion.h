// Conversion between counts of 100 ns since 1601 and broken-down times, and from UTC to a zone's local time, by the
// Gregorian calendar. Pure; any thread.
#pragma once

#include "platform/types.h"

namespace varnel::embedded {

/// False for a time above 0x7FFFFFFFFFFFFFFF.
bool BreakDown(std::uint64_t file_time, platform::SYSTEMTIME* result);

/// False for a field out of its range, such as a 31st of April; the day of the week is not looked at. Years from 1601
/// to 30827.
bool Compose(const platform::SYSTEMTIME& time, std::uint64_t* file_time);

/// The zone's local time of a moment in UTC. A zone without both transition dates stands at its bias all year.
bool ToLocal(const platform::TIME_ZONE_INFORMATION& zone, const platform::SYSTEMTIME& universal,
             platform::SYSTEMTIME* local);

}  // namespace varnel::embedded

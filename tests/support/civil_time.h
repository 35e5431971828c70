// Conversion between FILETIME counts and calendar time, for the scripted ports.
#pragma once

#include "platform/types.h"

namespace varnel::testing {

/// False for a time above 0x7FFFFFFFFFFFFFFF.
bool CivilFromFileTime(std::uint64_t time, platform::SYSTEMTIME* out);
/// Whether the fields are a date and a time of day from 1601 on.
bool IsCivilTime(const platform::SYSTEMTIME& civil);
/// Takes the fields as they are; UTC.
std::uint64_t FileTimeFromCivil(const platform::SYSTEMTIME& civil);
inline std::uint64_t FileTimeOf(std::uint16_t year, std::uint16_t month, std::uint16_t day, std::uint16_t hour = 0,
                                std::uint16_t minute = 0, std::uint16_t second = 0, std::uint16_t milliseconds = 0) {
  return FileTimeFromCivil({year, month, 0, day, hour, minute, second, milliseconds});
}

}  // namespace varnel::testing

// Texts of an event's fields: its time and its level. Any thread may call.
#pragma once

#include <cstdint>

namespace varnel {

/// A FILETIME count as "2026-02-04T09:05:07", always UTC plus eight hours, without a zone mark. Empty for the time 0
/// and for one that is no date. Cut to `capacity`.
void FormatFileTimeText(std::uint64_t fileTime, char* text, std::uint32_t capacity);

/// "Critical", "Error", "Warning", "Information", "Verbose" for 1 to 5, "Unknown" for any other. Lives for ever.
const char* EventLevelName(std::uint8_t level);

}  // namespace varnel

#include "base/event_text.h"

#include "base/fixed_time_zone.h"
#include "base/format.h"
#include "platform/platform.h"

namespace varnel {

void FormatFileTimeText(std::uint64_t fileTime, char* text, std::uint32_t capacity) {
  if (text == nullptr || capacity == 0) return;
  text[0] = 0;
  if (fileTime == 0) return;
  const platform::FILETIME time = platform::ToFileTime(fileTime);
  platform::SYSTEMTIME universal{};
  platform::SYSTEMTIME local{};
  if (!platform::SystemPort().FileTimeToSystemTime(&time, &universal)) return;
  if (!platform::SystemPort().SystemTimeToTzSpecificLocalTime(&FixedTimeZone, &universal, &local)) return;
  FormatTo(text, capacity, "%04d-%02d-%02dT%02d:%02d:%02d", local.wYear, local.wMonth, local.wDay, local.wHour,
           local.wMinute, local.wSecond);
}

const char* EventLevelName(std::uint8_t level) {
  switch (level) {
    case 1:
      return "Critical";
    case 2:
      return "Error";
    case 3:
      return "Warning";
    case 4:
      return "Information";
    case 5:
      return "Verbose";
    default:
      return "Unknown";
  }
}

}  // namespace varnel

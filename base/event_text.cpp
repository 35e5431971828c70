#include "base/event_text.h"

#include "base/fixed_time_zone.h"
#include "base/format.h"
#include "platform/platform.h"

namespace varnel {
namespace {

constexpr std::size_t kTextSize = sizeof("2026-02-04T09:05:07");

char* PutDigits(unsigned value, int digits, char* at) {
  for (int i = digits - 1; i >= 0; --i, value /= 10) at[i] = static_cast<char>('0' + value % 10);
  return at + digits;
}

// As "%04d-%02d-%02dT%02d:%02d:%02d" for a year of four digits, without the formatter: every event has such a text.
void PutTime(const platform::SYSTEMTIME& time, char* text) {
  char* at = PutDigits(time.wYear, 4, text);
  *at++ = '-';
  at = PutDigits(time.wMonth, 2, at);
  *at++ = '-';
  at = PutDigits(time.wDay, 2, at);
  *at++ = 'T';
  at = PutDigits(time.wHour, 2, at);
  *at++ = ':';
  at = PutDigits(time.wMinute, 2, at);
  *at++ = ':';
  at = PutDigits(time.wSecond, 2, at);
  *at = '\0';
}

}  // namespace

void FormatFileTimeText(std::uint64_t fileTime, char* text, std::uint32_t capacity) {
  if (text == nullptr || capacity == 0) return;
  text[0] = 0;
  if (fileTime == 0) return;
  const platform::FILETIME time = platform::ToFileTime(fileTime);
  platform::SYSTEMTIME universal{};
  platform::SYSTEMTIME local{};
  if (!platform::SystemPort().FileTimeToSystemTime(&time, &universal)) return;
  if (!platform::SystemPort().SystemTimeToTzSpecificLocalTime(&FixedTimeZone, &universal, &local)) return;
  if (capacity >= kTextSize && local.wYear <= 9999) return PutTime(local, text);
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

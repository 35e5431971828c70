#include "formats/value_text.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace varnel::formats {
namespace {

constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::uint64_t kSecondsPerDay = 86'400;
constexpr std::uint16_t kFamilyIpV4 = 2;
constexpr std::uint16_t kFamilyIpV6 = 23;

template <typename... Args>
std::string Format(const char* format, Args... args) {
  char text[96];
  std::snprintf(text, sizeof text, format, args...);
  return text;
}

unsigned Byte(std::span<const std::byte> bytes, std::size_t at) {
  return std::to_integer<unsigned>(bytes[at]);
}

unsigned Little16(std::span<const std::byte> bytes, std::size_t at) {
  return Byte(bytes, at) | (Byte(bytes, at + 1) << 8);
}

unsigned Big16(std::span<const std::byte> bytes, std::size_t at) {
  return Byte(bytes, at + 1) | (Byte(bytes, at) << 8);
}

struct Date {
  unsigned long long year;
  unsigned month;
  unsigned day;
};

bool IsLeapYear(unsigned long long year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

/// The date `days` days after 1601-01-01. 1601 begins a cycle of 400 years, so that whole cycles, centuries and leap
/// periods can be taken off one after the other.
Date DateOf(std::uint64_t days) {
  const std::uint64_t cycles = days / 146097;
  days %= 146097;
  const std::uint64_t centuries = days == 146096 ? 3 : days / 36524;
  days -= centuries * 36524;
  const std::uint64_t leaps = days / 1461;
  days %= 1461;
  const std::uint64_t years = days == 1460 ? 3 : days / 365;
  days -= years * 365;
  const std::uint64_t year = 1601 + cycles * 400 + centuries * 100 + leaps * 4 + years;
  constexpr std::array<unsigned, 12> kMonthDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  unsigned month = 0;
  while (days >= kMonthDays[month] + (month == 1 && IsLeapYear(year) ? 1 : 0)) {
    days -= kMonthDays[month] + (month == 1 && IsLeapYear(year) ? 1 : 0);
    ++month;
  }
  return {year, month + 1, static_cast<unsigned>(days) + 1};
}

/// The longest run of two or more zero groups, which "::" stands for; of equal ones the first.
struct ZeroRun {
  std::size_t first = 8;
  std::size_t count = 0;
};

ZeroRun LongestZeroRun(std::span<const std::byte> bytes) {
  ZeroRun best;
  ZeroRun run;
  for (std::size_t i = 0; i < 8; ++i) {
    if (Big16(bytes, 2 * i) != 0) {
      run.count = 0;
      continue;
    }
    if (run.count == 0) run.first = i;
    if (++run.count > best.count) best = run;
  }
  return best.count >= 2 ? best : ZeroRun{};
}

template <typename T>
std::string ShortestText(T value) {
  char text[64];
  const auto [end, error] = std::to_chars(text, text + sizeof text, value);
  return error == std::errc{} ? std::string(text, end) : std::string();
}

}  // namespace

std::string HexText(std::uint64_t value) {
  return Format("0x%llX", static_cast<unsigned long long>(value));
}

std::string HexBytesText(std::span<const std::byte> bytes) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string text = "0x";
  text.reserve(2 + 2 * bytes.size());
  for (const std::byte byte : bytes) {
    text.push_back(kDigits[std::to_integer<unsigned>(byte) >> 4]);
    text.push_back(kDigits[std::to_integer<unsigned>(byte) & 15]);
  }
  return text;
}

std::string FileTimeText(std::uint64_t filetime) {
  const std::uint64_t seconds = filetime / kTicksPerSecond;
  const Date date = DateOf(seconds / kSecondsPerDay);
  const unsigned of_day = static_cast<unsigned>(seconds % kSecondsPerDay);
  return Format("%04llu-%02u-%02uT%02u:%02u:%02u.%07uZ", date.year, date.month, date.day, of_day / 3600,
                of_day / 60 % 60, of_day % 60, static_cast<unsigned>(filetime % kTicksPerSecond));
}

std::string SystemTimeText(std::span<const std::byte> bytes) {
  if (bytes.size() < 16) return HexBytesText(bytes);
  return Format("%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", Little16(bytes, 0), Little16(bytes, 2), Little16(bytes, 6),
                Little16(bytes, 8), Little16(bytes, 10), Little16(bytes, 12), Little16(bytes, 14));
}

std::string SidText(std::span<const std::byte> bytes) {
  if (bytes.size() < 8 || bytes.size() < 8 + 4 * std::size_t{Byte(bytes, 1)}) return HexBytesText(bytes);
  unsigned long long authority = 0;
  for (std::size_t i = 2; i < 8; ++i) authority = (authority << 8) | Byte(bytes, i);
  std::string text = Format("S-%u-%llu", Byte(bytes, 0), authority);
  for (std::size_t i = 0; i < Byte(bytes, 1); ++i) {
    text += Format("-%u", Little16(bytes, 8 + 4 * i) | (Little16(bytes, 10 + 4 * i) << 16));
  }
  return text;
}

std::string IpV4Text(std::span<const std::byte> bytes) {
  if (bytes.size() < 4) return HexBytesText(bytes);
  return Format("%u.%u.%u.%u", Byte(bytes, 0), Byte(bytes, 1), Byte(bytes, 2), Byte(bytes, 3));
}

std::string IpV6Text(std::span<const std::byte> bytes) {
  if (bytes.size() != 16) return HexBytesText(bytes);
  const ZeroRun zeros = LongestZeroRun(bytes);
  std::string text;
  for (std::size_t i = 0; i < 8; ++i) {
    if (i == zeros.first) {
      text += "::";
      i += zeros.count - 1;
      continue;
    }
    if (!text.empty() && text.back() != ':') text += ':';
    text += Format("%x", Big16(bytes, 2 * i));
  }
  return text;
}

std::string SocketAddressText(std::span<const std::byte> bytes) {
  if (bytes.size() >= 8 && Little16(bytes, 0) == kFamilyIpV4) {
    return IpV4Text(bytes.subspan(4, 4)) + Format(":%u", Big16(bytes, 2));
  }
  if (bytes.size() >= 24 && Little16(bytes, 0) == kFamilyIpV6) {
    return "[" + IpV6Text(bytes.subspan(8, 16)) + "]" + Format(":%u", Big16(bytes, 2));
  }
  return HexBytesText(bytes);
}

std::string FloatText(float value) {
  return ShortestText(value);
}

std::string DoubleText(double value) {
  return ShortestText(value);
}

}  // namespace varnel::formats

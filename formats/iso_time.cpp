#include "formats/iso_time.h"

#include <array>
#include <cstddef>

namespace varnel::formats {
namespace {

constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::size_t kFractionDigits = 7;

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

/// Takes a number of `least` to `most` digits off the front.
std::optional<unsigned> TakeNumber(std::string_view* text, std::size_t least, std::size_t most) {
  std::size_t digits = 0;
  unsigned value = 0;
  while (digits < most && digits < text->size() && IsDigit((*text)[digits])) {
    value = value * 10 + static_cast<unsigned>((*text)[digits++] - '0');
  }
  if (digits < least) return std::nullopt;
  text->remove_prefix(digits);
  return value;
}

bool TakeChar(std::string_view* text, char c) {
  if (text->empty() || text->front() != c) return false;
  text->remove_prefix(1);
  return true;
}

/// Days from 1601-01-01; a year is counted from March, so that a leap day is its last.
std::uint64_t DaysSince1601(unsigned year, unsigned month, unsigned day) {
  const std::uint64_t shifted_year = month <= 2 ? year - 1 : year;
  const std::uint64_t shifted_month = month <= 2 ? month + 9 : month - 3;
  const std::uint64_t days = shifted_year * 365 + shifted_year / 4 - shifted_year / 100 + shifted_year / 400 +
                             (shifted_month * 153 + 2) / 5 + day - 1;
  constexpr std::uint64_t kDaysTo1601 = 1600ull * 365 + 1600 / 4 - 1600 / 100 + 1600 / 400 + 306;
  return days - kDaysTo1601;
}

bool IsDate(unsigned year, unsigned month, unsigned day) {
  constexpr std::array<unsigned, 12> kMonthDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (year < 1601 || year > 30827 || month < 1 || month > 12) return false;
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return day >= 1 && day <= kMonthDays[month - 1] + (month == 2 && leap ? 1 : 0);
}

/// The digits behind the point, as ticks; those behind the seventh are passed over.
std::optional<std::uint64_t> TakeFraction(std::string_view* text) {
  std::uint64_t ticks = 0;
  std::size_t digits = 0;
  for (; !text->empty() && IsDigit(text->front()); text->remove_prefix(1), ++digits) {
    if (digits < kFractionDigits) ticks = ticks * 10 + static_cast<unsigned>(text->front() - '0');
  }
  if (digits == 0) return std::nullopt;
  for (; digits < kFractionDigits; ++digits) ticks *= 10;
  return ticks;
}

}  // namespace

std::optional<std::uint64_t> ParseIsoTime(std::string_view text) {
  std::array<unsigned, 6> field{};
  constexpr std::array<char, 6> kBehind = {'-', '-', 'T', ':', ':', '\0'};
  for (std::size_t i = 0; i < field.size(); ++i) {
    const auto number = i == 0 ? TakeNumber(&text, 4, 5) : TakeNumber(&text, 2, 2);
    if (!number || (kBehind[i] != '\0' && !TakeChar(&text, kBehind[i]))) return std::nullopt;
    field[i] = *number;
  }
  const auto [year, month, day, hour, minute, second] = field;
  if (!IsDate(year, month, day) || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  std::uint64_t ticks = 0;
  if (TakeChar(&text, '.')) {
    const auto fraction = TakeFraction(&text);
    if (!fraction) return std::nullopt;
    ticks = *fraction;
  }
  TakeChar(&text, 'Z');
  if (!text.empty()) return std::nullopt;
  const std::uint64_t seconds = ((DaysSince1601(year, month, day) * 24 + hour) * 60 + minute) * 60 + second;
  return seconds * kTicksPerSecond + ticks;
}

}  // namespace varnel::formats

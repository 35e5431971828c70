#include "pipeline/wide_number.h"

#include <limits>

namespace varnel {
namespace {

constexpr std::uint32_t kNoDigit = 36;

bool IsSpace(char16_t c) {
  return c == u' ' || (c >= u'\t' && c <= u'\r');
}

std::uint32_t DigitOf(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'z') return c - u'a' + 10;
  if (c >= u'A' && c <= u'Z') return c - u'A' + 10;
  return kNoDigit;
}

// Moves behind the prefix that tells the base. "0x" with no digit behind it is the number 0.
std::uint32_t TakeBase(const char16_t** text) {
  const char16_t* at = *text;
  if (at[0] != u'0') return 10;
  if ((at[1] == u'x' || at[1] == u'X') && DigitOf(at[2]) < 16) {
    *text = at + 2;
    return 16;
  }
  return 8;
}

}  // namespace

std::uint64_t ParseWideUint64(const char16_t* text) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
  while (IsSpace(*text)) ++text;
  const bool negative = *text == u'-';
  if (*text == u'-' || *text == u'+') ++text;
  const std::uint32_t base = TakeBase(&text);
  std::uint64_t value = 0;
  for (; DigitOf(*text) < base; ++text) {
    const std::uint32_t digit = DigitOf(*text);
    if (value > (kMax - digit) / base) return kMax;
    value = value * base + digit;
  }
  return negative ? std::uint64_t{0} - value : value;
}

}  // namespace varnel

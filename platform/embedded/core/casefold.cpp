#include "platform/embedded/core/casefold.h"

#include <algorithm>
#include <iterator>

#include "platform/embedded/core/casefold_table.h"

namespace varnel::embedded {

char16_t FoldUpper(char16_t unit) {
  if (unit < 0x80) return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
  const auto* run = std::upper_bound(std::begin(kCaseRuns), std::end(kCaseRuns), unit,
                                     [](char16_t wanted, const CaseRun& r) { return wanted < r.first; });
  if (run == std::begin(kCaseRuns)) return unit;
  --run;
  if (unit > run->last || (unit - run->first) % run->step != 0) return unit;
  return static_cast<char16_t>(unit + run->delta);
}

std::u16string FoldUpper(std::u16string_view text) {
  std::u16string folded(text);
  for (char16_t& unit : folded) unit = FoldUpper(unit);
  return folded;
}

bool EqualFolded(std::u16string_view a, std::u16string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char16_t x, char16_t y) { return FoldUpper(x) == FoldUpper(y); });
}

int CompareFolded(std::u16string_view a, std::u16string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const int difference = static_cast<int>(FoldUpper(a[i])) - static_cast<int>(FoldUpper(b[i]));
    if (difference != 0) return difference;
  }
  return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

}  // namespace varnel::embedded

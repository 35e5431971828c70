// Names of the scripted ports: compared without regard to the case of ASCII and Latin-1 letters.
#pragma once

#include <string>
#include <string_view>

namespace varnel::testing {

inline std::u16string Folded(std::u16string_view name) {
  std::u16string folded(name);
  for (char16_t& c : folded) {
    const bool lower_latin1 = c >= 0xE0 && c <= 0xFE && c != 0xF7;
    if ((c >= u'a' && c <= u'z') || lower_latin1) c = static_cast<char16_t>(c - 32);
  }
  return folded;
}

template <typename Map>
auto FindByName(Map& map, std::u16string_view name) {
  auto at = map.begin();
  while (at != map.end() && Folded(at->first) != Folded(name)) ++at;
  return at;
}

}  // namespace varnel::testing

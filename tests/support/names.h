// Names of the scripted ports: compared without regard to the case of ASCII letters.
#pragma once

#include <string>
#include <string_view>

namespace varnel::testing {

inline std::u16string Folded(std::u16string_view name) {
  std::u16string folded(name);
  for (char16_t& c : folded) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
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

// Crossing from the ports' types to the system's own. Both describe the same bytes (border_layout.cpp asserts each
// field), so that nothing is copied: text, records and numbers are looked at under the other name.
#pragma once

// The standard library's headers come first: they keep the system's own from defining min and max.
#include <cstdint>
#include <type_traits>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace varnel::windows {

static_assert(sizeof(wchar_t) == sizeof(char16_t));
static_assert(sizeof(DWORD) == sizeof(std::uint32_t));

inline wchar_t* Wide(char16_t* text) {
  return reinterpret_cast<wchar_t*>(text);
}
inline const wchar_t* Wide(const char16_t* text) {
  return reinterpret_cast<const wchar_t*>(text);
}

/// The same record, or the same number, as the system's type. Null stays null.
template <class To, class From>
To* Across(From* from) {
  static_assert(sizeof(To) == sizeof(From) && alignof(To) == alignof(From));
  return reinterpret_cast<To*>(from);
}
template <class To, class From>
const To* Across(const From* from) {
  static_assert(sizeof(To) == sizeof(From) && alignof(To) == alignof(From));
  return reinterpret_cast<const To*>(from);
}

inline HKEY Key(void* key) {
  return static_cast<HKEY>(key);
}

/// A function of one signature as one of another; the calling convention is the same for all of them here.
template <class To, class From>
To AsFunction(From function) {
  static_assert(std::is_pointer_v<To> && std::is_pointer_v<From>);
  return reinterpret_cast<To>(reinterpret_cast<void*>(function));
}

}  // namespace varnel::windows

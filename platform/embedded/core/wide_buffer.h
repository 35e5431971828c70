// How the platform's calls hand a text to a caller's buffer. Pure; any thread.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace varnel::embedded {

/// Copies `text` with a NUL. The number of characters without the NUL; the number needed with it, and nothing copied,
/// when `capacity` is too small or `buffer` is null.
inline std::uint32_t CopyOrTellSize(std::u16string_view text, char16_t* buffer, std::uint32_t capacity) {
  const auto size = static_cast<std::uint32_t>(text.size());
  if (buffer == nullptr || capacity <= size) return size + 1;
  std::copy(text.begin(), text.end(), buffer);
  buffer[size] = u'\0';
  return size;
}

/// A NUL-terminated text that may be null, as a view.
inline std::u16string_view ViewOf(const char16_t* text) {
  return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

}  // namespace varnel::embedded

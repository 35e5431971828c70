// How the engine hands values and texts to its caller. An output may be null: then it is not wanted. Pure; any thread.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/embedded/debugger/results.h"

namespace varnel::embedded {

template <typename T, typename U>
void Put(T* out, const U& value) {
  if (out != nullptr) *out = static_cast<T>(value);
}

/// A value that the dump may lack.
template <typename T, typename U>
platform::HRESULT Give(const std::optional<U>& value, T* out) {
  if (!value) return results::kFail;
  Put(out, *value);
  return results::kOk;
}

/// The size in characters with the NUL, and as much of the text as there is room for, always with a NUL. A null buffer
/// asks for the size alone; kCut when the text did not fit.
template <typename Character>
platform::HRESULT GiveText(std::basic_string_view<Character> text, Character* buffer, std::uint32_t capacity,
                           std::uint32_t* size) {
  Put(size, text.size() + 1);
  if (buffer == nullptr) return results::kOk;
  if (capacity == 0) return results::kCut;
  const std::size_t length = std::min<std::size_t>(text.size(), capacity - 1);
  std::copy_n(text.data(), length, buffer);
  buffer[length] = 0;
  return length < text.size() ? results::kCut : results::kOk;
}

}  // namespace varnel::embedded

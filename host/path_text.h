// Paths as the program takes and shows them: UTF-8, on every system. The standard library reads plain chars in the
// system's own code page, where it has one.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace varnel::host {

inline std::filesystem::path PathOf(std::string_view text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

inline std::string TextOf(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

}  // namespace varnel::host

#include "analyzer/text_conversion.h"

#include "platform/platform.h"

namespace varnel {

std::string WideToUtf8(std::u16string_view text) {
  if (text.empty()) return {};
  platform::System& system = platform::SystemPort();
  const auto length = static_cast<std::int32_t>(text.size());
  const std::int32_t size = system.WideCharToMultiByte(platform::kCpUtf8, 0, text.data(), length, nullptr, 0);
  if (size <= 0) return {};
  std::string narrow(static_cast<std::size_t>(size), '\0');
  if (system.WideCharToMultiByte(platform::kCpUtf8, 0, text.data(), length, narrow.data(), size) <= 0) return {};
  return narrow;
}

std::u16string WideFromNarrow(std::uint32_t code_page, const char* text) {
  platform::System& system = platform::SystemPort();
  const std::int32_t size = system.MultiByteToWideChar(code_page, 0, text, -1, nullptr, 0);
  if (size <= 1) return {};
  std::u16string wide(static_cast<std::size_t>(size), u'\0');
  if (system.MultiByteToWideChar(code_page, 0, text, -1, wide.data(), size) <= 0) return {};
  wide.pop_back();  // the NUL
  return wide;
}

}  // namespace varnel

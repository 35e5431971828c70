#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <string_view>

#include "formats/text_encoding.h"
#include "host/error_text.h"

namespace varnel::host {

std::string ErrorText(const std::error_code& error) {
  // The C library's own numbers have English texts.
  if (error.category() != std::system_category()) return error.message();
  wchar_t text[1024];
  const DWORD length =
      ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                       nullptr, static_cast<DWORD>(error.value()), 0, text, 1024, nullptr);
  std::u16string_view line(reinterpret_cast<const char16_t*>(text), length);
  while (!line.empty() && (line.back() <= u' ' || line.back() == u'.')) line.remove_suffix(1);
  return line.empty() ? "error " + std::to_string(error.value()) : formats::Utf16ToUtf8(line);
}

}  // namespace varnel::host

// Text between code pages, as the analyzer's strings. Any thread may call.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace varnel {

/// UTF-8. Empty for an empty text, and when the conversion fails.
std::string WideToUtf8(std::u16string_view text);

/// From a NUL-terminated text in the given code page. Empty for an empty text, and when the conversion fails.
std::u16string WideFromNarrow(std::uint32_t code_page, const char* text);

}  // namespace varnel

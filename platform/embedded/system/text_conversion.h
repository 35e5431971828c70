// Conversion of text between UTF-8 and UTF-16 as the platform's two calls do it: lengths counted or NUL-terminated, a
// capacity of 0 to ask for the size, and what is not valid replaced by U+FFFD or refused. The machine's narrow code
// page is 65001, so that every code page name that means "the system's" means UTF-8. Pure but for the thread's last
// error; any thread.
#pragma once

#include <cstdint>

namespace varnel::embedded {

inline constexpr std::uint32_t kMbErrInvalidChars = 0x8;
inline constexpr std::uint32_t kWcErrInvalidChars = 0x80;

/// Units written, or needed with a capacity of 0; 0 on failure with the last error 87 (arguments), 122 (no room; what
/// fits is written), 1004 (flags) or 1113 (text that is not valid, with kMbErrInvalidChars).
std::int32_t Utf8ToWide(std::uint32_t code_page, std::uint32_t flags, const char* text, std::int32_t length,
                        char16_t* buffer, std::int32_t capacity);

/// Likewise, with kWcErrInvalidChars.
std::int32_t WideToUtf8(std::uint32_t code_page, std::uint32_t flags, const char16_t* text, std::int32_t length,
                        char* buffer, std::int32_t capacity);

}  // namespace varnel::embedded

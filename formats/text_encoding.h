// Conversions between the two encodings of text that files and events hold: UTF-8 and UTF-16. What is not valid becomes
// U+FFFD, so that every result is valid text. Pure; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace varnel::formats {

enum class ByteOrder : std::uint8_t { kLittle, kBig };

/// Lone surrogates become U+FFFD.
std::string Utf16ToUtf8(std::u16string_view text);

/// The same from bytes in the given order, at any alignment; an odd last byte becomes one U+FFFD.
std::string Utf16BytesToUtf8(std::span<const std::byte> bytes, ByteOrder order = ByteOrder::kLittle);

/// Each byte that is no part of a valid sequence becomes U+FFFD.
std::u16string Utf8ToUtf16(std::string_view text);

/// The text with each byte that is no part of a valid sequence replaced by U+FFFD.
std::string ToValidUtf8(std::string_view text);

}  // namespace varnel::formats

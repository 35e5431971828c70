// The bytes of a marker file: a byte-order mark and one line for each dump, in UTF-16 with the low byte first. No
// state: any thread may call.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varnel {

inline constexpr char16_t kByteOrderMark = 0xFEFF;

/// Adds the file's texts to a list. CR, LF or both end a line; empty lines, zeros and byte-order marks anywhere count
/// for nothing, and the last line needs no end. Whether a line is an identity is not looked at.
void ParseMarkerText(std::u16string_view text, std::vector<std::u16string>* identities);

/// One entry as it stands in the file.
std::u16string MarkerLine(const std::u16string& identity);

}  // namespace varnel

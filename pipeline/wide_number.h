// Numbers written as wide text.
#pragma once

#include <cstdint>

namespace varnel {

/// Reads an unsigned number as the C library does with base 0: leading white space, a sign, "0x" for hexadecimal, "0"
/// for octal, else decimal; it ends at the first character that does not belong to it. 0 when there is no number, all
/// ones when it is too large; a minus sign negates. Pure.
std::uint64_t ParseWideUint64(const char16_t* text);

}  // namespace varnel

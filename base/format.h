// Formatted text by the conventions of the Windows wide-string functions: in a wide format %s is a wide text and %S a
// narrow one (in a narrow format the other way round); %hd, %ld, %I64X, %llX, widths, precision, zero fill, %%. No
// locale. A null text prints as "(null)", an argument that is not there as "?". Types are checked at compile time.
// All functions are pure: any thread may call.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "base/format_argument.h"
#include "base/status.h"

namespace varnel {

/// A format that is not checked against its arguments. For the lines that are short of an argument on purpose, and for
/// formats that a caller hands in.
template <typename CharT>
struct UncheckedFormat {
  const CharT* text;
};

/// The marked way around the check at compile time.
template <typename CharT>
constexpr UncheckedFormat<CharT> Unchecked(const CharT* text) {
  return {text};
}

/// Never defined: a call during constant evaluation is the compile error that shows a wrong format.
void FormatAndArgumentsDisagree();

/// A format text that fits Args: a literal, checked while it compiles, or an UncheckedFormat.
template <typename CharT, typename... Args>
class CheckedFormat {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): stands in place of a plain text parameter.
  consteval CheckedFormat(const CharT* text) : text_(text) {
    constexpr std::array<FormatArgumentClass, sizeof...(Args) + 1> kClasses{ClassOfFormatArgument<Args>()...};
    constexpr std::array<std::size_t, sizeof...(Args) + 1> kSizes{sizeof(Args)...};
    std::size_t used = 0;
    for (const CharT* at = text; *at != 0;) {
      if (*at++ != '%') continue;
      FormatConversion conversion;
      at = ParseFormatConversion(at, &conversion);
      if (conversion.type == '%') continue;
      if (conversion.type == 0 || used == sizeof...(Args)) FormatAndArgumentsDisagree();
      if (!ConversionTakes<CharT>(conversion, kClasses[used], kSizes[used])) FormatAndArgumentsDisagree();
      ++used;
    }
    if (used != sizeof...(Args)) FormatAndArgumentsDisagree();
  }
  // NOLINTNEXTLINE(google-explicit-constructor)
  constexpr CheckedFormat(UncheckedFormat<CharT> unchecked) : text_(unchecked.text) {}

  constexpr const CharT* text() const { return text_; }

 private:
  const CharT* text_;
};

template <typename... Args>
using WideFormat = std::type_identity_t<CheckedFormat<char16_t, Args...>>;
template <typename... Args>
using NarrowFormat = std::type_identity_t<CheckedFormat<char, Args...>>;

struct FormatArguments {
  const FormatArgument* first = nullptr;  // null with count 0: no argument list at all
  std::size_t count = 0;
};

/// Writes the text with its NUL into `capacity` characters. 0; 0x8007007A when it did not fit, with the cut text in
/// place; 0x80070057 for a capacity of 0 or above 0x7FFFFFFF, with the buffer untouched. `length`, if not null, takes
/// the characters written without the NUL.
std::uint32_t FormatArgumentsTo(char16_t* buffer, std::size_t capacity, const char16_t* format,
                                FormatArguments arguments, std::size_t* length = nullptr);
std::uint32_t FormatArgumentsTo(char* buffer, std::size_t capacity, const char* format, FormatArguments arguments,
                                std::size_t* length = nullptr);

/// The same with the arguments written out: FormatTo(key, 512, u"SOFTWARE\\%s", name).
template <typename... Args>
std::uint32_t FormatTo(char16_t* buffer, std::size_t capacity, WideFormat<Args...> format, const Args&... args) {
  const std::array<FormatArgument, sizeof...(Args) + 1> erased{EraseFormatArgument(args)...};
  return FormatArgumentsTo(buffer, capacity, format.text(), {erased.data(), sizeof...(Args)});
}
template <typename... Args>
std::uint32_t FormatTo(char* buffer, std::size_t capacity, NarrowFormat<Args...> format, const Args&... args) {
  const std::array<FormatArgument, sizeof...(Args) + 1> erased{EraseFormatArgument(args)...};
  return FormatArgumentsTo(buffer, capacity, format.text(), {erased.data(), sizeof...(Args)});
}

}  // namespace varnel

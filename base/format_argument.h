// One argument of a formatted text with its type erased, and the grammar of a conversion, shared by the check at
// compile time and the formatter at run time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace varnel {

struct FormatArgument {
  enum class Kind : std::uint8_t { kInteger, kDouble, kWideText, kNarrowText, kPointer };
  Kind kind = Kind::kInteger;
  std::uint8_t size = 0;      // of an integer, in bytes
  bool is_signed = false;     // of an integer
  std::uint64_t integer = 0;  // sign-extended
  double number = 0;
  const void* pointer = nullptr;  // borrowed for the call
};

enum class FormatArgumentClass : std::uint8_t { kUnknown, kInteger, kDouble, kWideText, kNarrowText, kPointer };

template <typename T>
constexpr FormatArgumentClass ClassOfFormatArgument() {
  using Plain = std::decay_t<T>;
  if constexpr (std::is_floating_point_v<Plain>) {
    return FormatArgumentClass::kDouble;
  } else if constexpr (std::is_integral_v<Plain> || std::is_enum_v<Plain>) {
    return FormatArgumentClass::kInteger;
  } else if constexpr (std::is_same_v<Plain, const char16_t*> || std::is_same_v<Plain, char16_t*>) {
    return FormatArgumentClass::kWideText;
  } else if constexpr (std::is_same_v<Plain, const char*> || std::is_same_v<Plain, char*>) {
    return FormatArgumentClass::kNarrowText;
  } else if constexpr (std::is_pointer_v<Plain>) {
    return FormatArgumentClass::kPointer;
  } else {
    return FormatArgumentClass::kUnknown;
  }
}

template <typename T>
FormatArgument EraseFormatArgument(const T& value) {
  FormatArgument erased;
  if constexpr (ClassOfFormatArgument<T>() == FormatArgumentClass::kDouble) {
    erased.kind = FormatArgument::Kind::kDouble;
    erased.number = static_cast<double>(value);
  } else if constexpr (ClassOfFormatArgument<T>() == FormatArgumentClass::kInteger) {
    erased.size = sizeof(T);
    erased.is_signed = std::is_signed_v<T>;
    erased.integer = static_cast<std::uint64_t>(value);
  } else {
    static_assert(ClassOfFormatArgument<T>() != FormatArgumentClass::kUnknown, "no conversion prints this type");
    constexpr auto kClass = ClassOfFormatArgument<T>();
    erased.kind = kClass == FormatArgumentClass::kWideText     ? FormatArgument::Kind::kWideText
                  : kClass == FormatArgumentClass::kNarrowText ? FormatArgument::Kind::kNarrowText
                                                               : FormatArgument::Kind::kPointer;
    erased.pointer = value;
  }
  return erased;
}

/// One conversion: %[flags][width][.precision][length]type. Lengths: h 16 bits, l and none 32, ll and I64 64.
struct FormatConversion {
  char type = 0;  // 0: not a conversion that we know
  bool left = false, zero = false, plus = false, blank = false, alternate = false;
  bool prefixed_h = false, prefixed_l = false;
  std::uint8_t integer_size = 4;
  int width = 0;
  int precision = -1;  // -1: none
};

/// Reads what follows a '%'. Gives the place behind the conversion.
template <typename CharT>
constexpr const CharT* ParseFormatConversion(const CharT* at, FormatConversion* out) {
  for (;; ++at) {
    if (*at == '-') {
      out->left = true;
    } else if (*at == '0') {
      out->zero = true;
    } else if (*at == '+') {
      out->plus = true;
    } else if (*at == ' ') {
      out->blank = true;
    } else if (*at == '#') {
      out->alternate = true;
    } else {
      break;
    }
  }
  for (; *at >= '0' && *at <= '9'; ++at) out->width = out->width * 10 + (*at - '0');
  if (*at == '.') {
    out->precision = 0;
    for (++at; *at >= '0' && *at <= '9'; ++at) out->precision = out->precision * 10 + (*at - '0');
  }
  if (*at == 'h') {
    out->prefixed_h = true;
    out->integer_size = 2;
    ++at;
  } else if (at[0] == 'l' && at[1] == 'l') {
    out->integer_size = 8;
    at += 2;
  } else if (*at == 'l') {
    out->prefixed_l = true;
    ++at;
  } else if (at[0] == 'I' && at[1] == '6' && at[2] == '4') {
    out->integer_size = 8;
    at += 3;
  }
  for (const char* known = "diuxXcsSpfFeEgG%"; *known != 0; ++known) {
    if (*at == static_cast<CharT>(*known)) {
      out->type = *known;
      return at + 1;
    }
  }
  out->type = 0;
  return at;
}

/// Which text a %s or %S takes in a format of CharT.
template <typename CharT>
constexpr bool TakesWideText(const FormatConversion& conversion) {
  if (conversion.prefixed_h) return false;
  if (conversion.prefixed_l) return true;
  return (sizeof(CharT) == 2) == (conversion.type == 's');
}

/// Whether a conversion prints an argument of this class and size. A 64-bit value needs %I64 or %ll, and they need one.
template <typename CharT>
constexpr bool ConversionTakes(const FormatConversion& conversion, FormatArgumentClass argument, std::size_t size) {
  switch (conversion.type) {
    case 's':
    case 'S':
      return argument ==
             (TakesWideText<CharT>(conversion) ? FormatArgumentClass::kWideText : FormatArgumentClass::kNarrowText);
    case 'p':
      return argument == FormatArgumentClass::kPointer || argument == FormatArgumentClass::kWideText ||
             argument == FormatArgumentClass::kNarrowText;
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
      return argument == FormatArgumentClass::kDouble;
    case 'c':
      return argument == FormatArgumentClass::kInteger && size <= 4;
    default:
      return argument == FormatArgumentClass::kInteger && (size == 8) == (conversion.integer_size == 8);
  }
}

}  // namespace varnel

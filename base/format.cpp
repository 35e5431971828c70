#include "base/format.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace varnel {
namespace {

constexpr std::size_t kLargestCapacity = 0x7FFFFFFF;

/// A bounded buffer that remembers whether something did not fit. One character is kept back for the NUL.
template <typename CharT>
class Sink {
 public:
  Sink(CharT* buffer, std::size_t capacity) : begin_(buffer), at_(buffer), end_(buffer + capacity - 1) {}

  void Put(CharT c) {
    if (at_ == end_) {
      cut_ = true;
    } else {
      *at_++ = c;
    }
  }
  void Fill(CharT c, std::size_t count) {
    for (; count > 0 && !cut_; --count) Put(c);
  }
  /// Characters of another width are taken over one by one; what the narrow side lacks becomes '?'.
  template <typename FromT>
  void PutRange(const FromT* text, std::size_t length) {
    const std::size_t fits = std::min<std::size_t>(length, end_ - at_);
    if constexpr (sizeof(FromT) == sizeof(CharT)) {
      std::memcpy(at_, text, fits * sizeof(CharT));
    } else {
      for (std::size_t i = 0; i < fits; ++i) at_[i] = Converted(text[i]);
    }
    at_ += fits;
    if (fits < length) cut_ = true;
  }
  std::size_t Finish() {
    *at_ = 0;
    return at_ - begin_;
  }
  bool cut() const { return cut_; }

 private:
  template <typename FromT>
  static CharT Converted(FromT c) {
    if constexpr (sizeof(FromT) > sizeof(CharT)) return c > 0xFF ? '?' : static_cast<CharT>(c);
    return static_cast<CharT>(static_cast<unsigned char>(c));
  }

  CharT* begin_;
  CharT* at_;
  CharT* end_;
  bool cut_ = false;
};

/// A piece of text with its sign or prefix, put into its field.
template <typename CharT, typename FromT>
void PutField(Sink<CharT>* sink, const FormatConversion& conversion, bool zero_fill, const char* sign,
              std::size_t sign_length, const FromT* body, std::size_t length) {
  const std::size_t width = static_cast<std::size_t>(conversion.width);
  const std::size_t fill = width > sign_length + length ? width - sign_length - length : 0;
  if (!conversion.left && !zero_fill) sink->Fill(' ', fill);
  sink->PutRange(sign, sign_length);
  if (!conversion.left && zero_fill) sink->Fill('0', fill);
  sink->PutRange(body, length);
  if (conversion.left) sink->Fill(' ', fill);
}

std::uint64_t Narrowed(std::uint64_t value, unsigned size, bool sign_extend) {
  if (size >= 8) return value;
  const unsigned bits = size * 8;
  const std::uint64_t kept = value & ((std::uint64_t{1} << bits) - 1);
  const bool negative = sign_extend && ((kept >> (bits - 1)) & 1) != 0;
  return negative ? kept | (~std::uint64_t{0} << bits) : kept;
}

/// Writes the digits so that they end at `end`; gives their start.
char* PutDecimalBefore(char* end, std::uint64_t value) {
  do {
    *--end = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  return end;
}

char* PutHexBefore(char* end, std::uint64_t value, bool upper) {
  const char* const digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  do {
    *--end = digits[value & 0xF];
    value >>= 4;
  } while (value != 0);
  return end;
}

template <typename CharT>
void PutInteger(Sink<CharT>* sink, const FormatConversion& conversion, const FormatArgument& argument) {
  const bool is_signed = conversion.type == 'd' || conversion.type == 'i';
  const bool is_hex = conversion.type == 'x' || conversion.type == 'X';
  std::uint64_t value = Narrowed(argument.integer, conversion.integer_size, is_signed);
  const bool negative = is_signed && static_cast<std::int64_t>(value) < 0;
  if (negative) value = 0 - value;

  // The longest precision that takes part; above it, no format of ours goes.
  char room[96];
  char* const end = room + sizeof room;
  char* begin = is_hex ? PutHexBefore(end, value, conversion.type == 'X') : PutDecimalBefore(end, value);
  if (conversion.precision == 0 && value == 0) begin = end;
  const auto wanted = static_cast<std::ptrdiff_t>(std::min(conversion.precision, 90));
  while (end - begin < wanted) *--begin = '0';

  char sign[2];
  std::size_t sign_length = 0;
  if (negative) {
    sign[sign_length++] = '-';
  } else if (is_signed && (conversion.plus || conversion.blank)) {
    sign[sign_length++] = conversion.plus ? '+' : ' ';
  } else if (is_hex && conversion.alternate && value != 0) {
    sign[sign_length++] = '0';
    sign[sign_length++] = conversion.type;
  }
  PutField(sink, conversion, conversion.zero && conversion.precision < 0, sign, sign_length, begin, end - begin);
}

template <typename CharT>
void PutDouble(Sink<CharT>* sink, const FormatConversion& conversion, double value) {
  const bool negative = value < 0 || (value == 0 && 1 / value < 0);
  if (negative) value = -value;
  const char kind = static_cast<char>(conversion.type | 0x20);
  const auto shape = kind == 'f'   ? std::chars_format::fixed
                     : kind == 'e' ? std::chars_format::scientific
                                   : std::chars_format::general;
  const int precision = std::min(conversion.precision < 0 ? 6 : conversion.precision, 60);
  char room[400];  // the greatest double has 309 digits before its point
  const auto written = std::to_chars(room, room + sizeof room, value, shape, precision);
  const bool finite = value - value == 0;
  const char sign = negative ? '-' : conversion.plus ? '+' : ' ';
  const std::size_t sign_length = negative || conversion.plus || conversion.blank ? 1 : 0;
  PutField(sink, conversion, conversion.zero && finite, &sign, sign_length, room, written.ptr - room);
}

template <typename CharT, typename FromT>
void PutText(Sink<CharT>* sink, const FormatConversion& conversion, const FromT* text) {
  const std::size_t most = conversion.precision < 0 ? SIZE_MAX : static_cast<std::size_t>(conversion.precision);
  if (text == nullptr) {
    PutField(sink, conversion, false, "", 0, "(null)", std::min<std::size_t>(6, most));
    return;
  }
  std::size_t length = 0;
  while (length < most && text[length] != 0) ++length;
  PutField(sink, conversion, false, "", 0, text, length);
}

/// Whether the argument is of the kind that the conversion reads; only an unchecked format can disagree.
template <typename CharT>
bool Agrees(const FormatConversion& conversion, const FormatArgument& argument) {
  constexpr FormatArgumentClass kClasses[] = {FormatArgumentClass::kInteger, FormatArgumentClass::kDouble,
                                              FormatArgumentClass::kWideText, FormatArgumentClass::kNarrowText,
                                              FormatArgumentClass::kPointer};
  const auto argument_class = kClasses[static_cast<std::size_t>(argument.kind)];
  if (argument_class == FormatArgumentClass::kInteger) {
    return ConversionTakes<CharT>(conversion, argument_class, conversion.integer_size);
  }
  return ConversionTakes<CharT>(conversion, argument_class, argument.size);
}

template <typename CharT>
void PutArgument(Sink<CharT>* sink, const FormatConversion& conversion, const FormatArgument& argument) {
  switch (conversion.type) {
    case 's':
    case 'S':
      if (TakesWideText<CharT>(conversion)) {
        PutText(sink, conversion, static_cast<const char16_t*>(argument.pointer));
      } else {
        PutText(sink, conversion, static_cast<const char*>(argument.pointer));
      }
      return;
    case 'c': {
      const CharT c = static_cast<CharT>(argument.integer);
      PutField(sink, conversion, false, "", 0, &c, 1);
      return;
    }
    case 'p': {
      FormatConversion hex = conversion;
      hex.type = 'X';
      hex.integer_size = 8;
      hex.precision = 16;
      FormatArgument address;
      address.integer = reinterpret_cast<std::uintptr_t>(argument.pointer);
      PutInteger(sink, hex, address);
      return;
    }
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
      PutDouble(sink, conversion, argument.number);
      return;
    default:
      PutInteger(sink, conversion, argument);
  }
}

template <typename CharT>
std::uint32_t Format(CharT* buffer, std::size_t capacity, const CharT* format, FormatArguments arguments,
                     std::size_t* length) {
  if (capacity == 0 || capacity > kLargestCapacity) return kStatusInvalidArgument;
  Sink<CharT> sink(buffer, capacity);
  std::size_t used = 0;
  while (*format != 0 && !sink.cut()) {
    const CharT* literal = format;
    while (*format != 0 && *format != '%') ++format;
    sink.PutRange(literal, format - literal);
    if (*format == 0) break;

    const CharT* const percent = format++;
    FormatConversion conversion;
    format = ParseFormatConversion(format, &conversion);
    if (conversion.type == '%') {
      sink.Put('%');
    } else if (conversion.type == 0) {
      sink.PutRange(percent, format - percent);
    } else if (used < arguments.count && Agrees<CharT>(conversion, arguments.first[used])) {
      PutArgument(&sink, conversion, arguments.first[used++]);
    } else {
      ++used;
      sink.Put('?');
    }
  }
  const std::size_t written = sink.Finish();
  if (length != nullptr) *length = written;
  return sink.cut() ? kStatusInsufficientBuffer : kStatusOk;
}

}  // namespace

std::uint32_t FormatArgumentsTo(char16_t* buffer, std::size_t capacity, const char16_t* format,
                                FormatArguments arguments, std::size_t* length) {
  return Format(buffer, capacity, format, arguments, length);
}

std::uint32_t FormatArgumentsTo(char* buffer, std::size_t capacity, const char* format, FormatArguments arguments,
                                std::size_t* length) {
  return Format(buffer, capacity, format, arguments, length);
}

}  // namespace varnel

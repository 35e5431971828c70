#include "platform/embedded/system/text_conversion.h"

#include <string_view>

#include "platform/embedded/core/handle_table.h"

namespace varnel::embedded {
namespace {

constexpr std::uint32_t kErrorInvalidFlags = 1004;
constexpr char32_t kNotValid = ~char32_t{0};
constexpr char32_t kReplacement = 0xFFFD;

bool MeansUtf8(std::uint32_t code_page) {
  // The system's narrow page, its console page, its Macintosh page, the thread's own, and UTF-8 by name.
  return code_page <= 3 || code_page == 65001;
}

/// The code that starts at `*at`. What is not valid gives kNotValid and is passed up to the first byte that could not
/// go on with it, so that a sequence cut short counts once.
char32_t NextUtf8(std::string_view text, std::size_t* at) {
  const auto first = static_cast<unsigned char>(text[(*at)++]);
  if (first < 0x80) return first;
  if (first < 0xC2 || first > 0xF4) return kNotValid;
  const int more = first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
  char32_t code = first & (0x3F >> more);
  // The second byte's range excludes overlong forms, surrogates and codes above U+10FFFF.
  unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  for (int i = 0; i < more; ++i) {
    if (*at == text.size()) return kNotValid;
    const auto byte = static_cast<unsigned char>(text[*at]);
    if (byte < low || byte > high) return kNotValid;
    code = (code << 6) | (byte & 0x3F);
    ++*at;
    low = 0x80;
    high = 0xBF;
  }
  return code;
}

char32_t NextUtf16(std::u16string_view text, std::size_t* at) {
  const char16_t unit = text[(*at)++];
  if (unit < 0xD800 || unit > 0xDFFF) return unit;
  const bool pair = unit < 0xDC00 && *at < text.size() && text[*at] >= 0xDC00 && text[*at] <= 0xDFFF;
  if (!pair) return kNotValid;
  return 0x10000 + ((char32_t{unit} - 0xD800) << 10) + (text[(*at)++] - 0xDC00);
}

/// Counts what is written and stops writing where the room ends.
template <typename Unit>
class Room {
 public:
  Room(Unit* buffer, std::int32_t capacity) : buffer_(buffer), capacity_(capacity) {}

  /// All of one character or nothing of it.
  bool Put(const Unit* units, std::int32_t count) {
    if (capacity_ != 0) {
      if (capacity_ - used_ < count) return false;
      for (std::int32_t i = 0; i < count; ++i) buffer_[used_ + i] = units[i];
    }
    used_ += count;
    return true;
  }
  std::int32_t used() const { return used_; }

 private:
  Unit* const buffer_;
  const std::int32_t capacity_;
  std::int32_t used_ = 0;
};

bool PutCode(char32_t code, Room<char16_t>* room) {
  if (code < 0x10000) {
    const auto unit = static_cast<char16_t>(code);
    return room->Put(&unit, 1);
  }
  const char16_t pair[] = {static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)),
                           static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF))};
  return room->Put(pair, 2);
}

bool PutCode(char32_t code, Room<char>* room) {
  const int more = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  if (more == 0) {
    const char byte = static_cast<char>(code);
    return room->Put(&byte, 1);
  }
  char bytes[4];
  bytes[0] = static_cast<char>((0xFF00 >> (more + 1)) | (code >> (6 * more)));
  for (int i = 1; i <= more; ++i) bytes[i] = static_cast<char>(0x80 | ((code >> (6 * (more - i))) & 0x3F));
  return room->Put(bytes, more + 1);
}

std::int32_t Refuse(std::uint32_t error) {
  SetLastError(error);
  return 0;
}

/// The arguments that both directions refuse alike; 0 when they are good.
std::uint32_t Judge(std::uint32_t code_page, std::uint32_t flags, std::uint32_t known_flags, const void* text,
                    std::int32_t length, const void* buffer, std::int32_t capacity) {
  if (text == nullptr || length == 0 || length < -1 || capacity < 0 || (capacity > 0 && buffer == nullptr) ||
      text == buffer || !MeansUtf8(code_page)) {
    return platform::kErrorInvalidParameter;
  }
  return (flags & ~known_flags) != 0 ? kErrorInvalidFlags : platform::kErrorSuccess;
}

template <typename In, typename Out, typename Next>
std::int32_t Convert(std::basic_string_view<In> text, bool strict, Next next, Out* buffer, std::int32_t capacity) {
  Room<Out> room(buffer, capacity);
  for (std::size_t at = 0; at < text.size();) {
    char32_t code = next(text, &at);
    if (code == kNotValid) {
      if (strict) return Refuse(platform::kErrorNoUnicodeTranslation);
      code = kReplacement;
    }
    if (!PutCode(code, &room)) return Refuse(platform::kErrorInsufficientBuffer);
  }
  return room.used();
}

template <typename Unit>
std::basic_string_view<Unit> Whole(const Unit* text, std::int32_t length) {
  // Without a length the NUL is a part of the text.
  if (length == -1) return {text, std::char_traits<Unit>::length(text) + 1};
  return {text, static_cast<std::size_t>(length)};
}

}  // namespace

std::int32_t Utf8ToWide(std::uint32_t code_page, std::uint32_t flags, const char* text, std::int32_t length,
                        char16_t* buffer, std::int32_t capacity) {
  if (const auto error = Judge(code_page, flags, kMbErrInvalidChars, text, length, buffer, capacity); error != 0) {
    return Refuse(error);
  }
  return Convert(Whole(text, length), flags != 0, NextUtf8, buffer, capacity);
}

std::int32_t WideToUtf8(std::uint32_t code_page, std::uint32_t flags, const char16_t* text, std::int32_t length,
                        char* buffer, std::int32_t capacity) {
  if (const auto error = Judge(code_page, flags, kWcErrInvalidChars, text, length, buffer, capacity); error != 0) {
    return Refuse(error);
  }
  return Convert(Whole(text, length), flags != 0, NextUtf16, buffer, capacity);
}

}  // namespace varnel::embedded

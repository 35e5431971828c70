#include "formats/text_encoding.h"

namespace varnel::formats {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(char32_t code, std::string* out) {
  if (code < 0x80) {
    out->push_back(static_cast<char>(code));
  } else if (code < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (code >> 6)));
    out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else if (code < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (code >> 12)));
    out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (code >> 18)));
    out->push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
  }
}

void AppendUtf16(char32_t code, std::u16string* out) {
  if (code < 0x10000) {
    out->push_back(static_cast<char16_t>(code));
  } else {
    out->push_back(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
    out->push_back(static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
  }
}

/// Joins surrogate pairs that arrive unit by unit.
class SurrogateJoiner {
 public:
  explicit SurrogateJoiner(std::string* out) : out_(out) {}

  void Put(char16_t unit) {
    if (unit >= 0xDC00 && unit <= 0xDFFF && high_ != 0) {
      AppendUtf8(0x10000 + ((char32_t{high_} - 0xD800) << 10) + (unit - 0xDC00), out_);
      high_ = 0;
      return;
    }
    Finish();
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      high_ = unit;
    } else {
      AppendUtf8(unit >= 0xDC00 && unit <= 0xDFFF ? kReplacement : unit, out_);
    }
  }

  void Finish() {
    if (high_ != 0) AppendUtf8(kReplacement, out_);
    high_ = 0;
  }

 private:
  std::string* out_;
  char16_t high_ = 0;
};

/// The code that starts at `*at`, which moves behind it. Overlong forms, surrogates and codes above U+10FFFF are not
/// valid; then one byte is passed.
char32_t NextCode(std::string_view text, std::size_t* at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte((*at)++);
  if (first < 0x80) return first;
  const int more = first >= 0xF0 && first < 0xF5   ? 3
                   : first >= 0xE0 && first < 0xF0 ? 2
                                                   : first >= 0xC2 && first < 0xE0;
  if (more == 0 || text.size() - *at < static_cast<std::size_t>(more)) return kReplacement;
  char32_t code = first & (0x3F >> more);
  for (int i = 0; i < more; ++i) {
    if ((byte(*at + i) & 0xC0) != 0x80) return kReplacement;
    code = (code << 6) | (byte(*at + i) & 0x3F);
  }
  const bool overlong = (more == 2 && code < 0x800) || (more == 3 && code < 0x10000);
  if (overlong || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return kReplacement;
  *at += more;
  return code;
}

}  // namespace

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  SurrogateJoiner joiner(&out);
  for (const char16_t unit : text) joiner.Put(unit);
  joiner.Finish();
  return out;
}

std::string Utf16BytesToUtf8(std::span<const std::byte> bytes, ByteOrder order) {
  std::string out;
  out.reserve(bytes.size() / 2);
  SurrogateJoiner joiner(&out);
  const std::size_t low = order == ByteOrder::kLittle ? 0 : 1;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    joiner.Put(static_cast<char16_t>(std::to_integer<unsigned>(bytes[i + low]) |
                                     (std::to_integer<unsigned>(bytes[i + 1 - low]) << 8)));
  }
  joiner.Finish();
  if (bytes.size() % 2 != 0) AppendUtf8(kReplacement, &out);
  return out;
}

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) AppendUtf16(NextCode(text, &at), &out);
  return out;
}

std::string ToValidUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) AppendUtf8(NextCode(text, &at), &out);
  return out;
}

}  // namespace varnel::formats

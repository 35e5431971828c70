#include "host/text_field.h"

#include <array>
#include <charconv>
#include <utility>

#include "formats/text_encoding.h"

namespace varnel::host {
namespace {

constexpr std::array<std::pair<char, char>, 8> kEscapes = {
    {{'"', '"'}, {'\\', '\\'}, {'/', '/'}, {'b', '\b'}, {'f', '\f'}, {'n', '\n'}, {'r', '\r'}, {'t', '\t'}}};

// Undoes \uXXXX and the one behind it where the two are a pair. `at` stands on the 'u' and moves to the last digit.
bool TakeUnicodeEscape(std::string_view text, std::size_t* at, std::string* out) {
  const auto unit = [text](std::size_t digits) -> std::optional<char16_t> {
    if (digits + 4 > text.size()) return std::nullopt;
    unsigned value = 0;
    const char* end = text.data() + digits + 4;
    const auto read = std::from_chars(text.data() + digits, end, value, 16);
    return read.ptr == end ? std::optional(static_cast<char16_t>(value)) : std::nullopt;
  };
  const auto first = unit(*at + 1);
  if (!first) return false;
  std::u16string units(1, *first);
  *at += 4;
  if (*first >= 0xD800 && *first < 0xDC00 && text.substr(*at + 1, 2) == "\\u") {
    if (const auto second = unit(*at + 3)) {
      units += *second;
      *at += 6;
    }
  }
  *out += formats::Utf16ToUtf8(units);
  return true;
}

}  // namespace

std::optional<std::string> TextField(std::string_view json_text, std::string_view key) {
  std::string mark = "\"";
  mark += key;
  mark += "\":\"";
  // Within a value the quotes would be escaped, so what reads `"key":"` is the key.
  const std::size_t start = json_text.find(mark);
  if (start == std::string_view::npos) return std::nullopt;
  std::string value;
  for (std::size_t at = start + mark.size(); at < json_text.size(); ++at) {
    const char c = json_text[at];
    if (c == '"') return value;
    if (c != '\\') {
      value += c;
      continue;
    }
    if (++at == json_text.size()) return std::nullopt;
    if (json_text[at] == 'u') {
      if (!TakeUnicodeEscape(json_text, &at, &value)) return std::nullopt;
      continue;
    }
    bool known = false;
    for (const auto& [letter, meaning] : kEscapes) {
      if (letter != json_text[at]) continue;
      value += meaning;
      known = true;
    }
    if (!known) return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace varnel::host

#include "formats/xml_encoding.h"

#include <algorithm>
#include <cctype>

#include "formats/text_encoding.h"

namespace varnel::formats {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return upper;
}

/// The value of encoding="…" in a declaration; empty without one.
std::string_view DeclaredEncoding(std::string_view text) {
  if (!text.starts_with("<?xml")) return {};
  const std::string_view declaration = text.substr(0, text.find("?>"));
  constexpr std::string_view kName = "encoding";
  std::size_t at = declaration.find(kName);
  if (at == std::string_view::npos) return {};
  at = declaration.find_first_of("\"'", at + kName.size());
  if (at == std::string_view::npos) return {};
  const std::size_t end = declaration.find(declaration[at], at + 1);
  return end == std::string_view::npos ? std::string_view{} : declaration.substr(at + 1, end - at - 1);
}

std::size_t CountOf(std::string_view text, std::string_view what) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string_view::npos; at = text.find(what, at + what.size())) ++count;
  return count;
}

bool IsContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}  // namespace

XmlEncoding EncodingOfXml(std::string_view begin) {
  if (begin.starts_with("\xEF\xBB\xBF")) return {"UTF-8", 3, true};
  if (begin.starts_with("\xFF\xFE"sv)) return {"UTF-16LE", 2, true};
  if (begin.starts_with("\xFE\xFF"sv)) return {"UTF-16BE", 2, true};
  // A declaration in UTF-16 says so by its zeros; what it names can only be UTF-16 too.
  if (begin.starts_with("<\0?\0"sv) || begin.starts_with("<\0E\0"sv)) return {"UTF-16LE", 0, true};
  if (begin.starts_with("\0<\0?"sv) || begin.starts_with("\0<\0E"sv)) return {"UTF-16BE", 0, true};
  const std::string name = UpperCase(DeclaredEncoding(begin));
  if (name.empty()) return {"UTF-8", 0, false};
  // Bytes that could be read as ASCII so far are not UTF-16, whatever tool copied the declaration along.
  if (name == "UTF8" || name.starts_with("UTF-16")) return {"UTF-8", 0, name == "UTF8"};
  return {name, 0, true};
}

std::size_t WholeUtf8(std::string_view piece) {
  // The last start byte, if there is one in reach, decides.
  for (std::size_t back = 1; back <= std::min<std::size_t>(3, piece.size()); ++back) {
    const auto byte = static_cast<unsigned char>(piece[piece.size() - back]);
    if (IsContinuation(static_cast<char>(byte))) continue;
    const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
    return length > back ? piece.size() - back : piece.size();
  }
  return piece.size();
}

std::size_t CountInvalidUtf8(std::string_view text) {
  // Those that stand in the text already were put there by somebody else.
  return CountOf(ToValidUtf8(text), kReplacement) - CountOf(text, kReplacement);
}

}  // namespace varnel::formats

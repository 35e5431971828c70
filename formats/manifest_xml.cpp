#include "formats/manifest_xml.h"

#include <strings.h>

#include <charconv>

namespace varnel::formats {

using tinyxml2::XMLAttribute;
using tinyxml2::XMLElement;

std::string_view LocalName(std::string_view qualified) {
  const std::size_t colon = qualified.find(':');
  return colon == std::string_view::npos ? qualified : qualified.substr(colon + 1);
}

std::string_view LocalName(const XMLElement& element) {
  return LocalName(std::string_view(element.Name()));
}

const XMLElement* FirstChild(const XMLElement& parent, std::string_view name) {
  const XMLElement* child = parent.FirstChildElement();
  return child == nullptr || LocalName(*child) == name ? child : NextSibling(*child, name);
}

const XMLElement* NextSibling(const XMLElement& element, std::string_view name) {
  const XMLElement* next = element.NextSiblingElement();
  while (next != nullptr && LocalName(*next) != name) next = next->NextSiblingElement();
  return next;
}

std::string_view TrimBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view Attribute(const XMLElement& element, const char* name) {
  for (const XMLAttribute* attribute = element.FirstAttribute(); attribute != nullptr; attribute = attribute->Next()) {
    if (strcasecmp(attribute->Name(), name) == 0) return TrimBlanks(attribute->Value());
  }
  return {};
}

std::optional<std::uint64_t> ParseNumber(std::string_view text) {
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text.remove_prefix(2);
    base = 16;
  }
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (text.empty() || error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

Error ManifestErrors::At(const XMLElement& element, std::string_view reason) const {
  return AtLine(element.GetLineNum(), reason);
}

Error ManifestErrors::AtLine(int line, std::string_view reason) const {
  Error error;
  error.message = file_name_ + ":" + std::to_string(line) + ": ";
  error.message += reason;
  return error;
}

Result<std::uint64_t> NumberAttribute(const XMLElement& element, const char* name,
                                      std::optional<std::uint64_t> otherwise, std::uint64_t max,
                                      const ManifestErrors& errors) {
  const std::string_view text = Attribute(element, name);
  if (text.empty() && otherwise.has_value()) return *otherwise;
  const std::optional<std::uint64_t> value = ParseNumber(text);
  if (value.has_value() && *value <= max) return *value;
  std::string reason = "<" + std::string(element.Name()) + "> ";
  reason += text.empty() ? "has no " + std::string(name)
                         : "has a " + std::string(name) + " \"" + std::string(text) + "\" that is no number up to " +
                               std::to_string(max);
  return errors.At(element, reason);
}

}  // namespace varnel::formats

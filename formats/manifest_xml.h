// What the readers of a manifest's elements share: names without prefixes, attributes, numbers, and errors that tell
// file and line. Internal to the manifest reader.
#pragma once

#include <tinyxml2.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "formats/result.h"

namespace varnel::formats {

/// The part of a qualified name behind its prefix. Prefixes are not looked up: files that people write by hand leave
/// the namespace out or bind another prefix to it, and no other vocabulary has elements of these names in these places.
std::string_view LocalName(std::string_view qualified);

std::string_view LocalName(const tinyxml2::XMLElement& element);

/// The first child, and the next sibling, of that local name; null at the end.
const tinyxml2::XMLElement* FirstChild(const tinyxml2::XMLElement& parent, std::string_view name);
const tinyxml2::XMLElement* NextSibling(const tinyxml2::XMLElement& element, std::string_view name);

/// An attribute's text without blanks around it; empty when it is not there. Names are met without regard to case.
std::string_view Attribute(const tinyxml2::XMLElement& element, const char* name);

/// A decimal number, or a hexadecimal one behind "0x".
std::optional<std::uint64_t> ParseNumber(std::string_view text);

std::string_view TrimBlanks(std::string_view text);

/// Makes the errors of one file.
class ManifestErrors {
 public:
  explicit ManifestErrors(std::string_view file_name) : file_name_(file_name) {}

  /// "file:line: reason".
  Error At(const tinyxml2::XMLElement& element, std::string_view reason) const;
  Error AtLine(int line, std::string_view reason) const;

 private:
  std::string file_name_;
};

/// A required or defaulted number attribute, at most `max`.
Result<std::uint64_t> NumberAttribute(const tinyxml2::XMLElement& element, const char* name,
                                      std::optional<std::uint64_t> otherwise, std::uint64_t max,
                                      const ManifestErrors& errors);

}  // namespace varnel::formats

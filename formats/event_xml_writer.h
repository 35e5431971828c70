// Writes events as the platform renders them: one line, no declaration, no blanks between elements, attributes in
// single quotes, children of <System> in the platform's order. UTF-8. Pure; any thread.
#pragma once

#include <tinyxml2.h>

#include <string>
#include <string_view>

#include "formats/logged_event.h"

namespace varnel::formats {

/// Who wrote the element that is written anew.
enum class ElementOrigin {
  kPlatform,  // values stay as they are
  kLibevtx,   // fixed-width hexadecimal numbers lose their zeros, times the two digits behind 100 ns, and elements
              // without a text open and close, as the platform has them
};

/// Appends an element with all that is in it. Comments and declarations are left out.
void AppendElement(const tinyxml2::XMLElement& element, ElementOrigin origin, std::string* out);

/// One event. What LoggedEvent does not hold (such as the processor of the event) is not written.
std::string WriteEventXml(const LoggedEvent& event);

/// Appends a text with & < > " ' and control characters as the platform escapes them.
void AppendEscaped(std::string_view text, std::string* out);

}  // namespace varnel::formats

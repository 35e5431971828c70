// Checks of options whose values the option library would take in another sense than their giver: it reads "-1" into an
// unsigned field as a huge number, and one that does not fit as the greatest. Each gives the reason why a value is
// none, empty for a good one. Pure; any thread.
#pragma once

#include <string>

namespace varnel::host {

/// A whole number of 64 bits, decimal or hexadecimal behind "0x".
std::string IsWholeNumber(const std::string& text);

/// The same, and not 0.
std::string IsPositiveNumber(const std::string& text);

}  // namespace varnel::host

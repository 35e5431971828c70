#include "host/option_checks.h"

#include <cerrno>
#include <cstdlib>

namespace varnel::host {

std::string IsWholeNumber(const std::string& text) {
  if (text.find('-') != std::string::npos) return "'" + text + "' is negative";
  char* end = nullptr;
  errno = 0;
  static_cast<void>(std::strtoull(text.c_str(), &end, 0));
  if (text.empty() || *end != '\0') return "'" + text + "' is no whole number";
  return errno == ERANGE ? "'" + text + "' does not fit in 64 bits" : "";
}

std::string IsPositiveNumber(const std::string& text) {
  std::string reason = IsWholeNumber(text);
  if (reason.empty() && std::strtoull(text.c_str(), nullptr, 0) == 0) reason = "'" + text + "' is not above 0";
  return reason;
}

}  // namespace varnel::host

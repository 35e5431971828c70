// What the system says of an error of its own, as one line of UTF-8. On Windows the standard library gives such texts
// in the code page of the machine, which is another one on most.
#pragma once

#include <string>
#include <system_error>

namespace varnel::host {

/// Without a line end or a last full stop. "error N" for a number that the system has no text for.
std::string ErrorText(const std::error_code& error);

}  // namespace varnel::host

// The public names of stop codes, as the platform's documentation of bug checks and its driver headers (bugcodes.h)
// give them. Pure; any thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace varnel::formats {

/// "IRQL_NOT_LESS_OR_EQUAL" of 0xA; empty for a code without a public name, and for 0, which is no stop code.
std::string_view BugCheckName(std::uint32_t code);

}  // namespace varnel::formats

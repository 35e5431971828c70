// The time mark in the registry: the newest time of any event of the System log that was ever kept, as a FILETIME
// count. What is not newer has been told. For the crash thread alone.
#pragma once

#include <cstdint>

namespace varnel {

/// The stored mark; one that can't be read is made anew with 0. 0, 87 for a null argument, or the code of the key that
/// could not be made or of the new mark that could not be written.
std::uint32_t ReadLastEventTimeStamp(std::uint64_t* outValue);

/// A mark that can't be written stays as it was, and nobody hears of it.
void WriteLastEventTimeStamp(std::uint64_t value);

}  // namespace varnel

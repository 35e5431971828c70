// The window in which a provider's counter counts as older or newer than the last one delivered. Counters are 32 bits
// wide and wrap; a quarter of their range on either side is told apart. Pure but for a log line; any thread.
#pragma once

#include <cstdint>

namespace varnel {

/// Whether `dwCounterToCheck` comes behind `dwCounterCurrent`: 0 with *bIsNew 1 or 0, or 31 when it lies outside the
/// window; *bIsNew is then not written.
std::uint32_t CheckCounterNewOrOld(std::uint32_t dwCounterCurrent, std::uint32_t dwCounterToCheck,
                                   std::uint32_t* bIsNew);

}  // namespace varnel

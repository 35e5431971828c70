// The marker that tells whether the module has run since the machine booted: an empty file that the system deletes at
// the next boot.
#pragma once

#include <cstdint>

namespace varnel {

/// *bHasExecute is 1 when the marker was there and 0 when this call made it; either way its deletion at the next boot
/// is asked for. 0, 87 for null, or the last error when the marker could not be created.
std::uint32_t CheckThisBootHasExecute(std::uint32_t* bHasExecute);

}  // namespace varnel

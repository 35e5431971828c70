// The one time zone of log times and time texts, whatever zone the machine is set to: UTC plus eight hours. Without
// transition dates no daylight time ever applies.
#pragma once

#include "platform/types.h"

namespace varnel {

inline constexpr platform::TIME_ZONE_INFORMATION FixedTimeZone = {-480, {}, {}, 0, {}, {}, -60};

}  // namespace varnel

// What the loader and the exports call: attach and detach, and the two entry points. An entry file for each system
// brings them under the names that the system expects.
#pragma once

#include <cstdint>

#include "interfaces/wardlet_tool.h"

namespace varnel {

inline constexpr std::uint32_t kProcessDetach = 0;
inline constexpr std::uint32_t kProcessAttach = 1;

/// The module's entry. Attach starts the log and zeroes the counters; detach closes the log and does not stop the
/// consumer; other reasons do nothing. Always 1.
std::int32_t DllMain(void* instance, std::uint32_t reason, void* reserved);

/// See WardletGetClassObjectFunction and WardletCanUnloadNowFunction.
VarnelStatus GetClassObject(const GUID* clsid, const GUID* iid, void** out);
std::uint32_t CanUnloadNow();

}  // namespace varnel

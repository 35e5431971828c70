// The install-time setup of the machine's crash dumps, switched off: the module reads those settings and leaves them as
// they are.
#pragma once

#include <cstdint>

namespace varnel {

/// Whether installing may change the machine's crash-dump settings.
inline constexpr bool BsodInstallConfigEnabled = false;

/// `productGuid` is the module's GUID as text. 0, with nothing changed, since the setup is switched off.
std::int32_t SetBsodInstallConfig(const char16_t* productGuid);

}  // namespace varnel

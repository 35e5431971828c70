// The trace session behind the System log: the module asks whether the two providers of its events write into it.
#pragma once

#include <cstdint>

#include "interfaces/guid.h"

namespace varnel {

inline constexpr char16_t kSystemLogSession[] = u"EventLog-System";

/// 1 when the provider is enabled in that session; 0 when it is not, for a null GUID, and when it can't be told. Any
/// thread may call.
std::uint32_t CheckProviderInSession(const GUID* providerGuid);

}  // namespace varnel

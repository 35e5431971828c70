// What several parts of the module ask of the machine's registry. No state: any thread may call.
#pragma once

#include <cstdint>

#include "interfaces/guid.h"

namespace varnel {

/// The file of a registered tool, by its GUID, into `capacity` characters. 0, or 0x90000000 with `path` untouched.
std::int32_t GetVarnelFullPathByGuid(const GUID* guid, char16_t* path, std::uint32_t capacity);

/// Brings what was written below HKEY_LOCAL_MACHINE's SOFTWARE and SYSTEM to the disk. Failures are logged at most.
void FlushMachineHives();

}  // namespace varnel

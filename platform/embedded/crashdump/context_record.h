// A processor's registers as the system saves them: the CONTEXT record of x64. One thread.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/embedded/crashdump/crash_stack.h"

namespace varnel::embedded {

/// 1232 bytes: control, integer, segment and floating-point registers, those of a processor in the kernel.
std::vector<std::byte> ContextRecord(const CrashRegisters& registers);

}  // namespace varnel::embedded

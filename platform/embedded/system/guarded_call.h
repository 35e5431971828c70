// Calls under guard: a fault or a C++ exception inside of one ends it and comes back as the platform's exception code.
//
// Handlers for faults are installed once for the process, at the first guarded call, and hand every fault that happens
// outside of one to what was installed before. Each thread has a jump target for each nested call and an alternate
// stack, so that a call that ran out of stack comes back too. Any thread may call.
#pragma once

#include "platform/system.h"

namespace varnel::embedded {

inline constexpr std::uint32_t kStatusAccessViolation = 0xC0000005;
inline constexpr std::uint32_t kStatusInPageError = 0xC0000006;  // a mapped file that is shorter than its mapping
inline constexpr std::uint32_t kStatusIllegalInstruction = 0xC000001D;
inline constexpr std::uint32_t kStatusFloatInvalidOperation = 0xC0000090;
inline constexpr std::uint32_t kStatusIntegerDivideByZero = 0xC0000094;
inline constexpr std::uint32_t kStatusDatatypeMisalignment = 0x80000002;
inline constexpr std::uint32_t kCppException = 0xE06D7363;

/// 0 when `function` came back, else the code of what ended it.
std::uint32_t RunGuarded(platform::GuardedFunction function, void* parameter);

}  // namespace varnel::embedded

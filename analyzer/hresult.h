// The analyzer's results: HRESULTs as signed numbers, so that a failure is what is below zero.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace varnel {

inline constexpr std::int32_t kHresultOk = 0;
inline constexpr std::int32_t kHresultNothing = 1;  // S_FALSE: there was nothing to do
inline constexpr auto kHresultFail = static_cast<std::int32_t>(kStatusFail);
inline constexpr auto kHresultPointer = static_cast<std::int32_t>(0x80004003);       // E_POINTER
inline constexpr auto kHresultAccessDenied = static_cast<std::int32_t>(0x80070005);  // E_ACCESSDENIED
inline constexpr auto kHresultInvalidArgument = static_cast<std::int32_t>(kStatusInvalidArgument);
inline constexpr auto kHresultOutOfMemory = static_cast<std::int32_t>(kStatusOutOfMemory);

/// A system error as a result; 0 stays 0.
constexpr std::int32_t HresultOf(std::uint32_t error) {
  return static_cast<std::int32_t>(HresultFromWin32(error));
}

}  // namespace varnel

// Result numbers above the Win32 error numbers of platform/types.h: HRESULT values, and the module's own failure.
#pragma once

#include <cstdint>

namespace varnel {

inline constexpr std::uint32_t kStatusOk = 0;
inline constexpr std::uint32_t kStatusFail = 0x80004005;                // E_FAIL
inline constexpr std::uint32_t kStatusInvalidArgument = 0x80070057;     // E_INVALIDARG; error 87
inline constexpr std::uint32_t kStatusInsufficientBuffer = 0x8007007A;  // error 122: the text was cut
inline constexpr std::uint32_t kStatusOutOfMemory = 0x8007000E;         // E_OUTOFMEMORY
/// The start value of many results: the function gave up before it learned anything better.
inline constexpr std::uint32_t kStatusUnsuccessful = 0x90000000;

/// A positive 32-bit error number as an HRESULT; zero and negative values stay as they are.
constexpr std::uint32_t HresultFromWin32(std::uint32_t error) {
  return static_cast<std::int32_t>(error) > 0 ? (error & 0xFFFF) | 0x80070000 : error;
}

}  // namespace varnel

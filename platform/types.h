// The platform's basic types and result numbers, under the platform's own names where a name is a type, and as
// constants of one family where the platform has macros (which a header of ours could not declare beside the
// platform's own). Wide text is UTF-16. Handles are opaque: null is 0, "invalid" is all ones; which of the two a call
// gives on failure is told at the call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "interfaces/guid.h"

namespace varnel::platform {

using HANDLE = void*;
using HMODULE = void*;
using HKEY = void*;                 // a registry key; CloseHandle on one is a wrong close and answers 6
using TRACEHANDLE = std::uint64_t;  // trace session or open trace

inline const HANDLE kInvalidHandleValue = reinterpret_cast<HANDLE>(~std::uintptr_t{0});
inline constexpr TRACEHANDLE kInvalidProcessTraceHandle = ~TRACEHANDLE{0};

/// 100 ns since 1601, UTC.
struct FILETIME {
  std::uint32_t dwLowDateTime;
  std::uint32_t dwHighDateTime;
};
inline std::uint64_t ToUint64(const FILETIME& time) {
  return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}
inline FILETIME ToFileTime(std::uint64_t time) {
  return {static_cast<std::uint32_t>(time), static_cast<std::uint32_t>(time >> 32)};
}

struct SYSTEMTIME {
  std::uint16_t wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

struct TIME_ZONE_INFORMATION {
  std::int32_t Bias;  // minutes; UTC = local time + Bias
  char16_t StandardName[32];
  SYSTEMTIME StandardDate;
  std::int32_t StandardBias;
  char16_t DaylightName[32];
  SYSTEMTIME DaylightDate;
  std::int32_t DaylightBias;
};
static_assert(sizeof(TIME_ZONE_INFORMATION) == 172);

// Win32 error numbers.
inline constexpr std::uint32_t kErrorSuccess = 0;
inline constexpr std::uint32_t kErrorFileNotFound = 2;
inline constexpr std::uint32_t kErrorPathNotFound = 3;
inline constexpr std::uint32_t kErrorAccessDenied = 5;
inline constexpr std::uint32_t kErrorInvalidHandle = 6;
inline constexpr std::uint32_t kErrorNotEnoughMemory = 8;
inline constexpr std::uint32_t kErrorBadFormat = 11;
inline constexpr std::uint32_t kErrorInvalidData = 13;
inline constexpr std::uint32_t kErrorOutOfMemory = 14;
inline constexpr std::uint32_t kErrorNoMoreFiles = 18;
inline constexpr std::uint32_t kErrorBadLength = 24;
inline constexpr std::uint32_t kErrorGenFailure = 31;
inline constexpr std::uint32_t kErrorSharingViolation = 32;
inline constexpr std::uint32_t kErrorHandleEof = 38;
inline constexpr std::uint32_t kErrorNotSupported = 50;
inline constexpr std::uint32_t kErrorFileExists = 80;
inline constexpr std::uint32_t kErrorInvalidParameter = 87;
inline constexpr std::uint32_t kErrorDiskFull = 112;
inline constexpr std::uint32_t kErrorInsufficientBuffer = 122;
inline constexpr std::uint32_t kErrorInvalidName = 123;
inline constexpr std::uint32_t kErrorModNotFound = 126;
inline constexpr std::uint32_t kErrorProcNotFound = 127;
inline constexpr std::uint32_t kErrorDirNotEmpty = 145;
inline constexpr std::uint32_t kErrorBadPathname = 161;
inline constexpr std::uint32_t kErrorAlreadyExists = 183;
inline constexpr std::uint32_t kErrorMoreData = 234;
inline constexpr std::uint32_t kWaitTimeout = 258;
inline constexpr std::uint32_t kErrorNoMoreItems = 259;
inline constexpr std::uint32_t kErrorDirectory = 267;
inline constexpr std::uint32_t kErrorNoAccess = 998;
inline constexpr std::uint32_t kErrorRegistryCorrupt = 1015;
inline constexpr std::uint32_t kErrorRegistryIoFailed = 1016;
inline constexpr std::uint32_t kErrorKeyDeleted = 1018;
inline constexpr std::uint32_t kErrorChildMustBeVolatile = 1021;
inline constexpr std::uint32_t kErrorNoUnicodeTranslation = 1113;
inline constexpr std::uint32_t kErrorNotFound = 1168;
inline constexpr std::uint32_t kErrorCancelled = 1223;
inline constexpr std::uint32_t kErrorNoSystemResources = 1450;
inline constexpr std::uint32_t kErrorTimeout = 1460;
inline constexpr std::uint32_t kErrorXmlParseError = 1465;
inline constexpr std::uint32_t kErrorWmiInstanceNotFound = 4201;
inline constexpr std::uint32_t kErrorCtxClosePending = 7007;
inline constexpr std::uint32_t kErrorEvtInvalidQuery = 15001;
inline constexpr std::uint32_t kErrorEvtInvalidEventData = 15005;
inline constexpr std::uint32_t kErrorEvtChannelNotFound = 15007;

}  // namespace varnel::platform

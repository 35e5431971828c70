// The machine's crash-dump settings as found, and as they stand in the module's own backup.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace varnel {

// What CrashDumpEnabled says. Any other number counts as enabled and tells of no folder.
inline constexpr std::uint32_t kDumpTypeNone = 0;
inline constexpr std::uint32_t kDumpTypeComplete = 1;
inline constexpr std::uint32_t kDumpTypeKernel = 2;
inline constexpr std::uint32_t kDumpTypeSmall = 3;
inline constexpr std::uint32_t kDumpTypeAutomatic = 7;

struct CrashDumpConfig {
  std::uint32_t enabled = 0;   // 0 or 1
  std::uint32_t dumpType = 0;  // as it stands
  std::u16string dumpPath;     // small: the folder and "\*.dmp"; complete, kernel, automatic: the file; else empty
  std::u16string minidumpDir;  // small only; not expanded
  std::uint32_t minidumpsCount = 0;  // small only
  std::uint32_t overwrite = 0;       // 0 or 1, as all below
  std::uint32_t autoReboot = 0;
  std::uint32_t sendAlert = 0;
  std::uint32_t logEvent = 0;
};

/// No `overwrite`: it is neither backed up nor restored.
struct CrashDumpBackup {
  std::uint32_t dumpType = 0;
  std::u16string dumpFile;           // but for small dumps
  std::u16string minidumpDir;        // small only
  std::uint32_t minidumpsCount = 0;  // small only
  std::uint32_t autoReboot = 0;      // 0 or 1, as the two below
  std::uint32_t sendAlert = 0;
  std::uint32_t logEvent = 0;
  platform::SYSTEMTIME backupDate{};  // year, month and day only
  std::uint32_t valid = 0;            // 1: can be restored
};

}  // namespace varnel

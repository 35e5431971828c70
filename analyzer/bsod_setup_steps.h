// What the setup at install and the one at the analyzer's start have in common.
#pragma once

#include <cstdint>
#include <string>

#include "analyzer/crash_dump_config_manager.h"

namespace varnel {

inline constexpr std::uint32_t kSetupKeptDumps = 10;

bool WritesNoDumps(const CrashDumpConfig& config);

/// Keeps what the settings are, unless a backup that can be restored is there: the first one stays the one that counts.
/// An HRESULT.
std::int32_t EnsureBackup(const CrashDumpConfigManager& manager, const std::u16string& keyPath);

}  // namespace varnel

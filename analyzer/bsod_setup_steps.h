// What the setup at install and the one at the analyzer's start have in common.
#pragma once

#include <cstdint>
#include <string>

#include "analyzer/crash_dump_config_manager.h"

namespace varnel {

/// In the order in which they are done.
enum class SetupStep { kGetCurrentConfig, kBackup, kEnableMinidump, kSetLogEvent, kSetAutoReboot };

struct SetupOutcome {
  std::int32_t result = 0;                        // an HRESULT
  SetupStep step = SetupStep::kGetCurrentConfig;  // the one that failed, else the last
};

/// Keeps what the settings are, unless a backup that can be restored is there (the first one stays the one that
/// counts), then has the machine write small dumps if it writes none, log each crash and restart after it. Ends at the
/// first step that fails and takes nothing back; the caller tells of it in its own words.
SetupOutcome RunSetupSteps(CrashDumpConfigManager* manager, const std::u16string& keyPath);

}  // namespace varnel

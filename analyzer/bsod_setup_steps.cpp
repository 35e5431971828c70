#include "analyzer/bsod_setup_steps.h"

#include "analyzer/hresult.h"
#include "base/log.h"

namespace varnel {

bool WritesNoDumps(const CrashDumpConfig& config) {
  return config.enabled == 0 || config.dumpType == kDumpTypeNone;
}

std::int32_t EnsureBackup(const CrashDumpConfigManager& manager, const std::u16string& keyPath) {
  CrashDumpBackup backup;
  if (manager.ReadBackupConfig(platform::kHkeyLocalMachine, keyPath, &backup) >= 0 && backup.valid != 0) {
    WrapLogPrint(LOG_DETAIL, u"[SetBsodInstallConfig] Valid backup already exists, skipping backup\n");
    return kHresultOk;
  }
  return manager.BackupCurrentConfig(platform::kHkeyLocalMachine, keyPath);
}

}  // namespace varnel

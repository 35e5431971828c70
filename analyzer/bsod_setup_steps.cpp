#include "analyzer/bsod_setup_steps.h"

#include "analyzer/hresult.h"
#include "base/log.h"

namespace varnel {
namespace {

constexpr std::uint32_t kSetupKeptDumps = 10;

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

std::int32_t RunStep(SetupStep step, CrashDumpConfigManager* manager, const std::u16string& keyPath,
                     CrashDumpConfig* config) {
  switch (step) {
    case SetupStep::kGetCurrentConfig:
      return manager->GetCurrentConfig(config);
    case SetupStep::kBackup:
      return EnsureBackup(*manager, keyPath);
    case SetupStep::kEnableMinidump:
      return WritesNoDumps(*config) ? manager->EnableMinidump(u"%SystemRoot%\\Minidump", kSetupKeptDumps) : kHresultOk;
    case SetupStep::kSetLogEvent:
      return manager->SetLogEvent(1);
    case SetupStep::kSetAutoReboot:
      return manager->SetAutoReboot(1);
  }
  return kHresultFail;
}

}  // namespace

SetupOutcome RunSetupSteps(CrashDumpConfigManager* manager, const std::u16string& keyPath) {
  CrashDumpConfig config;
  SetupOutcome outcome;
  for (const SetupStep step : {SetupStep::kGetCurrentConfig, SetupStep::kBackup, SetupStep::kEnableMinidump,
                               SetupStep::kSetLogEvent, SetupStep::kSetAutoReboot}) {
    outcome = {RunStep(step, manager, keyPath, &config), step};
    if (outcome.result < 0) return outcome;
  }
  return {kHresultOk, SetupStep::kSetAutoReboot};
}

}  // namespace varnel

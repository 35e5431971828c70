// The setup at the analyzer's start.
#include "analyzer/bsod_analyzer_object.h"
#include "analyzer/bsod_install_config.h"
#include "analyzer/bsod_setup_steps.h"
#include "analyzer/out_of_memory.h"
#include "base/log.h"

namespace varnel {
namespace {

std::int32_t StartSettings(CrashDumpConfigManager* manager, const CrashDumpConfig& config) {
  std::int32_t result = kHresultOk;
  if (WritesNoDumps(config)) result = manager->EnableMinidump(u"%SystemRoot%\\Minidump", kSetupKeptDumps);
  if (result < 0) {
    WrapLogPrint(LOG_ERROR, u"[Error] EnableMinidump failed: 0x%08X\n", result);
    return result;
  }
  result = manager->SetLogEvent(1);
  if (result < 0) {
    WrapLogPrint(LOG_ERROR, u"[Error] SetLogEvent failed: 0x%08X\n", result);
    return result;
  }
  result = manager->SetAutoReboot(1);
  if (result < 0) WrapLogPrint(LOG_ERROR, u"[Error] SetAutoReboot failed: 0x%08X\n", result);
  return result < 0 ? result : kHresultOk;
}

std::int32_t StartOver(CrashDumpConfigManager* manager, const std::u16string& key_path,
                       std::uint8_t* installConfigFound) {
  CrashDumpConfig config;
  std::int32_t result = manager->GetCurrentConfig(&config);
  if (result < 0) {
    WrapLogPrint(LOG_ERROR, u"[Error] GetCurrentConfig failed: 0x%08X\n", result);
    return result;
  }
  if (result = EnsureBackup(*manager, key_path); result < 0) {
    WrapLogPrint(LOG_ERROR, u"[Error] BackupCurrentConfig failed: 0x%08X\n", result);
    return result;
  }
  *installConfigFound = 1;
  return StartSettings(manager, config);
}

}  // namespace

std::int32_t BsodAnalyzer::ConfigureBsodDump(AnalysisState* made) const noexcept {
  if (!BsodInstallConfigEnabled) return kHresultOk;
  return WithinMemory([&] {
    return StartOver(&made->configManager, u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\" + productGuid,
                     &made->installConfigFound);
  });
}

}  // namespace varnel

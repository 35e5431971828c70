// The setup at the analyzer's start.
#include "analyzer/bsod_analyzer_object.h"
#include "analyzer/bsod_install_config.h"
#include "analyzer/bsod_setup_steps.h"
#include "analyzer/out_of_memory.h"
#include "base/log.h"

namespace varnel {
namespace {

constexpr WideFormat<std::int32_t> kFailureLines[] = {
    u"[Error] GetCurrentConfig failed: 0x%08X\n", u"[Error] BackupCurrentConfig failed: 0x%08X\n",
    u"[Error] EnableMinidump failed: 0x%08X\n", u"[Error] SetLogEvent failed: 0x%08X\n",
    u"[Error] SetAutoReboot failed: 0x%08X\n"};

std::int32_t StartOver(CrashDumpConfigManager* manager, const std::u16string& key_path,
                       std::uint8_t* installConfigFound) {
  const SetupOutcome outcome = RunSetupSteps(manager, key_path);
  if (outcome.step > SetupStep::kBackup) *installConfigFound = 1;
  if (outcome.result < 0) {
    WrapLogPrint(LOG_ERROR, kFailureLines[static_cast<int>(outcome.step)], outcome.result);
  }
  return outcome.result;
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

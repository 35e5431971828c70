#include "analyzer/bsod_install_config.h"

#include <memory>
#include <new>

#include "analyzer/analyzer_lock.h"
#include "analyzer/bsod_setup_steps.h"
#include "analyzer/out_of_memory.h"
#include "analyzer/process_token.h"
#include "base/log.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::kHkeyLocalMachine;

constexpr std::size_t kKeyPathCapacity = 512;  // characters

constexpr WideFormat<std::int32_t> kFailureLines[] = {
    u"[SetBsodInstallConfig] Error: Failed to get current config (0x%08X)\n",
    u"[SetBsodInstallConfig] Error: Failed to backup config (0x%08X)\n",
    u"[SetBsodInstallConfig] Error: Failed to enable minidump (0x%08X)\n",
    u"[SetBsodInstallConfig] Error: Failed to enable event logging (0x%08X)\n",
    u"[SetBsodInstallConfig] Error: Failed to enable automatic restart (0x%08X)\n"};

std::int32_t InstallOver(CrashDumpConfigManager* manager, const std::u16string& key_path) {
  const SetupOutcome outcome = RunSetupSteps(manager, key_path);
  if (outcome.result >= 0) return outcome.result;
  WrapLogPrint(LOG_ERROR, kFailureLines[static_cast<int>(outcome.step)], outcome.result);
  if (outcome.step <= SetupStep::kBackup) return outcome.result;
  if (const std::int32_t restored = manager->RestoreConfig(kHkeyLocalMachine, key_path); restored < 0) {
    WrapLogPrint(LOG_ERROR, u"[SetBsodInstallConfig] Error: Failed to restore config (0x%08X)\n", restored);
  }
  return outcome.result;
}

/// REQUIRES: the analyzer's lock. The manager ends before the lock is left.
std::int32_t InstallUnderLock(const char16_t* productGuid) {
  const std::unique_ptr<CrashDumpConfigManager> manager(new (std::nothrow) CrashDumpConfigManager);
  if (manager == nullptr) {
    WrapLogPrint(LOG_ERROR, u"[SetBsodInstallConfig] Error: Memory allocation failed\n");
    return kHresultOutOfMemory;
  }
  if (!manager->IsAvailable()) {
    WrapLogPrint(LOG_ERROR, u"[SetBsodInstallConfig] Error: Config manager initialization failed\n");
    return kHresultFail;
  }
  if (!IsCurrentProcessElevated()) {
    WrapLogPrint(LOG_ERROR, u"[SetBsodInstallConfig] Error: Administrator privileges required\n");
    return kHresultAccessDenied;
  }
  char16_t key_path[kKeyPathCapacity] = {};
  FormatTo(key_path, kKeyPathCapacity, u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\%s", productGuid);
  return WithinMemory([&] { return InstallOver(manager.get(), key_path); });
}

}  // namespace

std::int32_t SetBsodInstallConfig(const char16_t* productGuid) noexcept {
  if (!BsodInstallConfigEnabled) return kHresultOk;
  if (productGuid == nullptr || *productGuid == u'\0') {
    WrapLogPrint(LOG_ERROR, u"[SetBsodInstallConfig] Error: productGuid is empty\n");
    return kHresultInvalidArgument;
  }
  if (!TheAnalyzerLock().Ensure()) return kHresultOutOfMemory;
  const AnalyzerLockScope held(TheAnalyzerLock());
  return InstallUnderLock(productGuid);
}

}  // namespace varnel

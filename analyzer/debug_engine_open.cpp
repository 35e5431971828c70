// Opening and closing dumps.
#include "analyzer/debug_engine_session.h"
#include "base/log.h"

namespace varnel {
namespace {

constexpr std::uint32_t kShortEngineWaitMs = 100;
constexpr std::uint32_t kShortHostWaitMs = 600;

}  // namespace

std::int32_t DebugEngineSession::OpenDumpNoSymbols(const std::u16string& path) {
  {
    const CriticalSectionLock held(lock);
    if (!engineReady) return kHresultFail;
    if (dumpOpen) CloseDumpLocked();
    if (symbols != nullptr) {
      symbols->SetSymbolPathWide(u"");
      ChangeSymbolOptions(
          platform::kSymoptNoPrompts | platform::kSymoptExactSymbols,
          platform::kSymoptDeferredLoads | platform::kSymoptAutoPublics | platform::kSymoptLoadAnything);
    }
    const std::int32_t selected =
        client4 != nullptr ? client4->OpenDumpFileWide(path.c_str(), 0) : OpenDumpFileNarrow(path, true);
    if (Failed(selected)) return selected;
  }
  const std::int32_t waited = RunWaitForEvent(kShortEngineWaitMs, kShortHostWaitMs);
  const CriticalSectionLock held(lock);
  if (Failed(waited) && waited != kHresultTimeout) {  // the short wait runs out as a rule
    WrapLogPrint(LOG_ERROR, u"[Error] WaitForEvent failed: 0x%08X\n", Printed(waited));
    if (client != nullptr) client->EndSession(0);
    return waited;
  }
  dumpPath = path;
  dumpOpen = true;
  openMode = 0;
  symbolsLoaded = false;
  return kHresultOk;
}

/// For an engine that takes no wide path: the path in the system's code page.
std::int32_t DebugEngineSession::OpenDumpFileNarrow(const std::u16string& path, bool logs) {
  if (client == nullptr) return kHresultFail;
  platform::System& system = platform::SystemPort();
  const std::int32_t size = system.WideCharToMultiByte(platform::kCpAcp, 0, path.c_str(), -1, nullptr, 0);
  if (size < 1) {
    if (logs) WrapLogPrint(LOG_ERROR, u"[Error] Path conversion failed\n");
    return kHresultInvalidArgument;
  }
  std::string narrow(static_cast<std::size_t>(size), '\0');
  if (system.WideCharToMultiByte(platform::kCpAcp, 0, path.c_str(), -1, narrow.data(), size) == 0) {
    const std::uint32_t error = system.GetLastError();
    if (logs) WrapLogPrint(LOG_ERROR, u"[Error] Path conversion failed: 0x%08X\n", error);
    return HresultOf(error);
  }
  return client->OpenDumpFile(narrow.c_str());
}

std::int32_t DebugEngineSession::OpenDumpAndWaitForSymbols(const std::u16string& path, std::uint32_t waitSeconds) {
  const std::int32_t selected =
      client4 != nullptr ? client4->OpenDumpFileWide(path.c_str(), 0) : OpenDumpFileNarrow(path, false);
  if (Failed(selected)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to open dump file: 0x%08X\n", Printed(selected));
    return selected;
  }
  const std::uint32_t hostWaitMs = waitSeconds == 0 ? platform::kInfinite : waitSeconds * 1000;
  std::int32_t status = RunWaitForEvent(platform::kInfinite, hostWaitMs);
  if (Failed(status) && status != kHresultTimeout) {
    WrapLogPrint(LOG_ERROR, u"[Error] WaitForEvent failed: 0x%08X\n", Printed(status));
    return status;
  }
  if (symbols != nullptr && KernelSymbolsArrived()) {
    {
      const CriticalSectionLock held(lock);
      symbolsLoaded = true;
    }
    // A wait that ran out of time is a success when what it waited for did arrive.
    if (status == kHresultTimeout) status = kHresultOk;
  }
  return status;
}

bool DebugEngineSession::KernelSymbolsArrived() {
  std::uint64_t base = 0;
  if (Failed(symbols->GetModuleByModuleName("nt", 0, nullptr, &base))) return false;
  platform::DEBUG_MODULE_PARAMETERS parameters = {};
  if (Failed(symbols->GetModuleParameters(1, &base, 0, &parameters))) return false;
  return parameters.SymbolType == platform::kSymbolTypeDia;
}

std::int32_t DebugEngineSession::CloseDump() {
  const CriticalSectionLock held(lock);
  return CloseDumpLocked();
}

std::int32_t DebugEngineSession::CloseDumpLocked() {
  if (!dumpOpen) return kHresultOk;
  if (client == nullptr) return kHresultFail;
  const std::int32_t result = client->EndSession(0);
  dumpPath.clear();
  dumpOpen = false;
  return result;
}

std::uint32_t DebugEngineSession::GetDumpQualifier() {
  const CriticalSectionLock held(lock);
  if (!dumpOpen || control == nullptr) return 0;
  std::uint32_t targetClass = 0;
  std::uint32_t qualifier = 0;
  if (Failed(control->GetDebuggeeType(&targetClass, &qualifier))) return 0;
  return targetClass == platform::kDebugClassKernel ? qualifier : 0;
}

}  // namespace varnel

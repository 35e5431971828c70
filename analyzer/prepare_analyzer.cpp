// What an analyzer does before its first run.
#include "analyzer/bsod_analyzer_object.h"
#include "analyzer/engine_results.h"
#include "analyzer/marker_paths.h"
#include "analyzer/symbol_dlls.h"
#include "base/log.h"
#include "platform/platform.h"

namespace varnel {
namespace {

bool InstallConfigExists(const std::u16string& productGuid) {
  const std::u16string path = u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\" + productGuid;
  platform::HKEY key = nullptr;
  if (platform::RegistryPort().RegOpenKeyExW(platform::kHkeyLocalMachine, path.c_str(), 0, platform::kKeyRead, &key) !=
      0) {
    return false;
  }
  platform::RegistryPort().RegCloseKey(key);
  return true;
}

std::int32_t EmptySymbolCache(const std::u16string& path) {
  if (path.empty()) return kHresultOk;
  bool exists = false;
  std::uint32_t error = FolderExists(path, &exists);
  if (error != 0) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to check symbol cache directory: error code %d\n",
                 static_cast<std::int32_t>(error));
    return HresultOf(error);
  }
  if (exists) {
    error = platform::FilesPort().RemoveFolders(path.c_str());
    if (error != 0) {
      WrapLogPrint(LOG_ERROR, u"[Warning] Failed to clear symbol cache directory: error code %d\n",
                   static_cast<std::int32_t>(error));
    }
  }
  error = platform::FilesPort().CreateFolders(path.c_str());
  if (error == 0) return kHresultOk;
  WrapLogPrint(LOG_ERROR, u"[Error] Failed to create symbol cache directory: error code %d\n",
               static_cast<std::int32_t>(error));
  return HresultOf(error);
}

/// Takes up a batch that an earlier run has left unfinished.
std::int32_t ResumeFirstRuns(AnalysisState* state, const std::u16string& productGuid) {
  std::uint32_t status = 0;
  std::int32_t result = state->configManager.QueryFirstRunStatus(productGuid, true, nullptr, &status);
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to query first run status (no symbol): 0x%08X\n", Printed(result));
    return result;
  }
  if (result != kHresultNothing && status == 0) state->firstRunNoSymbol = true;
  status = 0;
  result = state->configManager.QueryFirstRunStatus(productGuid, false, nullptr, &status);
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to query first run status (with symbol): 0x%08X\n", Printed(result));
    return result;
  }
  if (result != kHresultNothing && status == 0) state->firstRunWithSymbol = true;
  return kHresultOk;
}

std::int32_t BeginFirstRuns(AnalysisState* state, const std::u16string& productGuid, bool noSymbol, bool withSymbol) {
  if (noSymbol) {
    const std::int32_t result = state->configManager.MarkAllExistingDumpsAsAnalyzedNoSymbol(
        productGuid, state->markerNameNoSymbol, &state->firstRunNoSymbol);
    if (Failed(result)) {
      WrapLogPrint(LOG_ERROR, u"[Error] Failed to mark existing dumps (no symbol): 0x%08X\n", Printed(result));
      return result;
    }
  }
  if (withSymbol) {
    const std::int32_t result = state->configManager.MarkAllExistingDumpsAsAnalyzedWithSymbol(
        productGuid, state->markerNameWithSymbol, &state->firstRunWithSymbol);
    if (Failed(result)) {
      WrapLogPrint(LOG_ERROR, u"[Error] Failed to mark existing dumps (with symbol): 0x%08X\n", Printed(result));
      return result;
    }
  }
  return kHresultOk;
}

}  // namespace

std::int32_t PrepareBsodAnalyzer(AnalysisState* state, const std::u16string& productGuid) {
  state->installConfigFound = InstallConfigExists(productGuid) ? 1 : 0;
  std::int32_t result = StaticInitialize(state->productDataPath);
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] StaticInitialize failed: 0x%08X\n", Printed(result));
    return result;
  }
  result = EmptySymbolCache(state->symbolCachePath);
  if (Failed(result)) return result;
  bool noSymbol = false;
  result = IsFirstRunNoSymbol(productGuid, state->markerNameNoSymbol, &noSymbol);
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to check first run status (no symbol): 0x%08X\n", Printed(result));
    return result;
  }
  bool withSymbol = false;
  result = IsFirstRunWithSymbol(productGuid, state->markerNameWithSymbol, &withSymbol);
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to check first run status (with symbol): 0x%08X\n", Printed(result));
    return result;
  }
  // A kind whose answer was no is not looked at beside the first run of the other one.
  if (noSymbol || withSymbol) return BeginFirstRuns(state, productGuid, noSymbol, withSymbol);
  return ResumeFirstRuns(state, productGuid);
}

}  // namespace varnel

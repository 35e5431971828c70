// Opening a dump with the kernel's symbols from a symbol server.
#include "analyzer/debug_engine_session.h"
#include "base/log.h"

namespace varnel {
namespace {

constexpr std::uint32_t kSymbolOptions = platform::kSymoptDeferredLoads | platform::kSymoptUndname |
                                         platform::kSymoptLoadLines | platform::kSymoptCaseInsensitive |
                                         platform::kSymoptNoImageSearch | platform::kSymoptNoPrompts |
                                         platform::kSymoptFailCriticalErrors;
constexpr std::uint32_t kOpenWithSymbols = 2;
constexpr std::uint32_t kNoAttributes = ~0u;

}  // namespace

std::int32_t DebugEngineSession::CheckSymbolDllsPresent() {
  if (processDir.empty()) return kHresultFail;
  bool missing = false;
  for (const char16_t* name : {u"dbgeng.dll", u"dbghelp.dll", u"symsrv.dll"}) {
    const std::u16string path = processDir + u"\\" + name;
    if (platform::FilesPort().GetFileAttributesW(path.c_str()) != kNoAttributes) continue;
    WrapLogPrint(LOG_ERROR, u"[Error] Missing required DLL: %s\n", path.c_str());
    missing = true;
  }
  if (!missing) return kHresultOk;
  WrapLogPrint(LOG_ERROR, u"[Error] Symbol download requires the following DLLs in exe directory:\n");
  return HresultOf(platform::kErrorFileNotFound);
}

std::int32_t DebugEngineSession::SetSymbolServerPath(const std::u16string& symbolCacheDir,
                                                     const std::u16string& symbolServer) {
  if (symbols == nullptr) return kHresultFail;
  return symbols->SetSymbolPathWide((u"srv*" + symbolCacheDir + u"*" + symbolServer).c_str());
}

std::int32_t DebugEngineSession::PrepareSymbols(const std::u16string& symbolCacheDir,
                                                const std::u16string& symbolServer) {
  const std::int32_t present = CheckSymbolDllsPresent();
  if (Failed(present)) return present;
  if (dumpOpen) CloseDumpLocked();
  if (!symbolCacheDir.empty()) {
    const std::uint32_t error = platform::FilesPort().CreateFolders(symbolCacheDir.c_str());
    if (error != 0) {
      WrapLogPrint(LOG_ERROR, u"[Error] Failed to create symbol cache directory: error code %d\n",
                   static_cast<std::int32_t>(error));
      return HresultOf(error);
    }
  }
  const std::int32_t path = SetSymbolServerPath(symbolCacheDir, symbolServer);
  if (Failed(path)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Symbol path setup failed: 0x%08X\n", Printed(path));
    return path;
  }
  if (symbols != nullptr) ChangeSymbolOptions(kSymbolOptions, platform::kSymoptDebug);
  return kHresultOk;
}

std::int32_t DebugEngineSession::OpenDumpWithSymbols(const std::u16string& path, const std::u16string& symbolCacheDir,
                                                     const std::u16string& symbolServer, std::uint32_t waitSeconds) {
  {
    const CriticalSectionLock held(lock);
    if (!engineReady) return kHresultFail;
    const std::int32_t prepared = PrepareSymbols(symbolCacheDir, symbolServer);
    if (Failed(prepared)) return prepared;
  }
  const std::int32_t opened = OpenDumpAndWaitForSymbols(path, waitSeconds);
  if (Failed(opened)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Symbol loading failed: 0x%08X\n", Printed(opened));
    return opened;
  }
  const CriticalSectionLock held(lock);
  dumpPath = path;
  dumpOpen = true;
  openMode = kOpenWithSymbols;
  symbolsLoaded = true;  // whatever kind of symbols the engine shows for the kernel
  return kHresultOk;
}

}  // namespace varnel

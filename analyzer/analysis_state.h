// AnalysisState: what one analyzer works with, from its start to its end: places on the machine, the callbacks of the
// run, the stop flag, and the session of the dump in hand.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "analyzer/bsod_analyzer.h"
#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/debug_engine_session.h"
#include "base/lock.h"
#include "platform/types.h"

namespace varnel {

/// Belongs to the thread of the run, but for `stopRequested`, `session` under its lock, and the handle of
/// `completionEvent`, which a stop on another thread uses while it keeps the record alive.
struct AnalysisState {
  /// `initOk` tells the outcome. `productGuid` is the module's GUID as text.
  explicit AnalysisState(const std::u16string& productGuid);
  ~AnalysisState();
  AnalysisState(const AnalysisState&) = delete;
  AnalysisState& operator=(const AnalysisState&) = delete;

  std::u16string productDataPath;  // %ProgramData%\KelvoVarnels\<GUID>
  std::u16string symbolCachePath;  // the folder of the host's program, then \sym
  std::u16string markerNameNoSymbol;
  std::u16string markerNameWithSymbol;
  CrashDumpConfigManager configManager;
  std::uint8_t installConfigFound = 0;  // read by nobody
  bool initOk = true;
  std::int32_t initResult = 0;
  BsodDumpCallBackFunction callbackNoSymbol = nullptr;  // null: no such pass
  void* contextNoSymbol = nullptr;
  BsodDumpCallBackFunction callbackWithSymbol = nullptr;
  void* contextWithSymbol = nullptr;
  std::unique_ptr<DebugEngineSession> session VARNEL_GUARDED_BY(sessionLock);  // with symbols only
  std::atomic<bool> stopRequested{false};
  CriticalSection sessionLock;
  platform::HANDLE completionEvent = nullptr;  // manual-reset; signalled when no run is under way any more
  bool firstRunNoSymbol = false;               // the first run's batch is not done yet
  bool firstRunWithSymbol = false;

 private:
  void FailInit(std::int32_t result);
  bool MakeCompletionEvent();
  bool FindProductData(const std::u16string& productGuid);
  bool FindSymbolCache();
};

}  // namespace varnel

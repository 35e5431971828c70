// BsodAnalyzer: the object that carries out a run over the crash dumps of the machine: two passes, first without
// symbols, then with them; each dump that has not been told is analyzed, its report handed to the pass's callback, and
// the dump recorded. A run takes place inside Start, on the caller's thread.
//
// Stop may be called from any thread at any time while the caller keeps the object alive; the other calls come one
// after another from the thread that owns it. No lock is held during an analysis, a callback or a wait.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "analyzer/analysis_state.h"
#include "base/lock.h"

namespace varnel {

// What Stop answers.
inline constexpr std::uint32_t kStopCompleted = 0;    // the run told its end within the limit
inline constexpr std::uint32_t kStopNotAwaited = 1;   // asked for, but nobody waited
inline constexpr std::uint32_t kStopTimedOut = 2;     // the limit passed
inline constexpr std::uint32_t kStopNothingRuns = 3;  // no run is in progress
inline constexpr std::uint32_t kStopFailed = 4;       // no lock, no state, or the wait failed

class BsodAnalyzer {
 public:
  /// A failed lock leaves an object whose every operation fails.
  explicit BsodAnalyzer(const std::u16string& productGuid);
  /// Disposes of what is left.
  ~BsodAnalyzer();
  BsodAnalyzer(const BsodAnalyzer&) = delete;
  BsodAnalyzer& operator=(const BsodAnalyzer&) = delete;

  const std::u16string& ProductGuid() const { return productGuid; }
  bool IsRunning() const { return running; }

  /// Finds the machine's places and settles the first run. An HRESULT; 0 also when that was done before.
  std::int32_t Initialize();
  /// The setup of the machine's crash dumps at the analyzer's start. It is switched off, as that of
  /// bsod_install_config.h: 0, with nothing asked or changed. Switched on: the same steps without a check of its own
  /// for elevation, and nothing is put back; `installConfigFound` of the state becomes 1 when there is a valid backup.
  std::int32_t ConfigureBsodDump(AnalysisState* made) const noexcept;
  /// Carries out one run. 0 when it came to its end, also when a run is in progress already; 0x800704C7 when it was
  /// stopped. At least one callback must not be null.
  std::int32_t Start(BsodDumpCallBackFunction callbackNoSymbol, void* contextNoSymbol,
                     BsodDumpCallBackFunction callbackWithSymbol, void* contextWithSymbol);
  /// Asks the run to end and waits at most `timeoutMs` for it. A number from above.
  std::uint32_t Stop(std::uint32_t timeoutMs);
  /// The report of one dump with the kernel's symbols, from a symbol server by way of `symbolCacheDir`; blocks for up
  /// to 900 seconds. `report` takes the text; `importance`, 0 or 1, goes into it. An HRESULT; on a failure there is no
  /// text. The session stands in the state meanwhile, so that a stop can end the download: then, and when the analyzer
  /// has no state any more, the result is 0x800704C7. Called on the thread of the run.
  std::int32_t AnalyzeDumpWithSymbol(const std::u16string& dumpPath, const std::u16string& symbolCacheDir,
                                     std::string* report, std::uint8_t importance) noexcept;
  /// Removes private copies and downloaded symbols. An HRESULT.
  std::int32_t Uninitialize();
  /// The end of the object, in the steps of its owner; the memory stays for a stop that is still at work in it. Once.
  void Dispose();

 private:
  struct Pass;

  std::int32_t MakeState() VARNEL_REQUIRES(lock);
  void DropState();
  std::shared_ptr<AnalysisState> TakeState();
  std::shared_ptr<AnalysisState> ShareState();
  std::int32_t RunAnalysis(AnalysisState* run);
  std::int32_t RunNoSymbolPass(AnalysisState* run);
  std::int32_t RunWithSymbolPass(AnalysisState* run);
  bool IsFirstRunDump(AnalysisState* run, const Pass& pass, const std::u16string& path);
  void Tell(const Pass& pass, std::int32_t result, const std::string& report);
  void Record(AnalysisState* run, const Pass& pass, const std::u16string& path, bool isFirstRunDump);

  const std::u16string productGuid;
  // Shared with a stop and with the run, so that neither loses it under its hands.
  std::shared_ptr<AnalysisState> state VARNEL_GUARDED_BY(lock);
  std::atomic<bool> initialized{false};
  std::atomic<bool> running{false};
  CriticalSection lock;
  std::atomic<bool> lockReady{false};
  bool disposed_ = false;
};

/// Calls the host's callback; a crash in it costs one log line. Null: nothing happens.
void InvokeCallback(BsodDumpCallBackFunction callback, void* context, std::uint8_t success, const std::string& report,
                    const std::string& error);

/// The first use of an analyzer: empties the symbol cache and decides about the first run. An HRESULT.
std::int32_t PrepareBsodAnalyzer(AnalysisState* state, const std::u16string& productGuid);

}  // namespace varnel

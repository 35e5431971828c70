#include "analyzer/bsod_analyzer_object.h"

#include <new>
#include <utility>

#include "analyzer/engine_results.h"
#include "analyzer/out_of_memory.h"
#include "analyzer/symbol_dlls.h"
#include "base/log.h"
#include "platform/platform.h"

namespace varnel {
namespace {

constexpr std::uint32_t kLastWaitMs = 1000;

struct StateDeleter {
  void operator()(AnalysisState* state) const {
    state->~AnalysisState();
    platform::SystemPort().HeapFree(state);
  }
};

/// Tells the end of a run, however its scope ends.
class CompletionSignal {
 public:
  explicit CompletionSignal(platform::HANDLE event) : event_(event) {}
  ~CompletionSignal() { platform::ThreadsPort().SetEvent(event_); }
  CompletionSignal(const CompletionSignal&) = delete;
  CompletionSignal& operator=(const CompletionSignal&) = delete;

 private:
  const platform::HANDLE event_;
};

}  // namespace

BsodAnalyzer::BsodAnalyzer(const std::u16string& guid) : productGuid(guid) {
  lockReady = platform::ThreadsPort().InitializeCriticalSection();
  if (!lockReady) WrapLogPrint(LOG_ERROR, u"[Error] Critical section not initialized\n");
}

BsodAnalyzer::~BsodAnalyzer() {
  if (!disposed_) Dispose();
}

std::int32_t BsodAnalyzer::Initialize() {
  if (!lockReady) return kHresultFail;
  std::shared_ptr<AnalysisState> made;
  {
    const CriticalSectionLock held(lock);
    if (initialized) return kHresultOk;
    if (running) return kHresultFail;
    const std::int32_t result = MakeState();
    if (Failed(result) || state == nullptr) return result;
    made = state;
  }
  std::int32_t result = ConfigureBsodDump(made.get());
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] ConfigureBsodDump failed: 0x%08X\n", Printed(result));
  } else {
    result = WithinMemory([&] { return PrepareBsodAnalyzer(made.get(), productGuid); });
  }
  if (Failed(result)) {
    made.reset();
    DropState();
    return result;
  }
  initialized = true;
  return kHresultOk;
}

std::int32_t BsodAnalyzer::MakeState() {
  try {
    void* const block = platform::SystemPort().HeapAlloc(sizeof(AnalysisState));
    if (block == nullptr) {
      WrapLogPrint(LOG_ERROR, u"[Error] Memory allocation failed\n");
      return kHresultOutOfMemory;
    }
    AnalysisState* made = nullptr;
    try {
      made = new (block) AnalysisState(productGuid);
    } catch (...) {
      platform::SystemPort().HeapFree(block);
      throw;
    }
    state = std::shared_ptr<AnalysisState>(made, StateDeleter());
  } catch (const std::bad_alloc&) {
    WrapLogPrint(LOG_ERROR, u"[Error] Out of memory when creating AnalysisState\n");
    return kHresultOutOfMemory;
  } catch (...) {
    return kHresultFail;
  }
  if (state->initOk) return kHresultOk;
  const std::int32_t result = state->initResult;
  WrapLogPrint(LOG_ERROR, u"[Error] AnalysisState initialization failed: 0x%08X\n", Printed(result));
  state.reset();
  return result;
}

std::shared_ptr<AnalysisState> BsodAnalyzer::TakeState() {
  const CriticalSectionLock held(lock);
  return std::exchange(state, nullptr);
}

std::shared_ptr<AnalysisState> BsodAnalyzer::ShareState() {
  const CriticalSectionLock held(lock);
  return state;
}

void BsodAnalyzer::DropState() {
  const std::shared_ptr<AnalysisState> dropped = TakeState();
  // Whoever still holds it sees at once what its end would have told.
  if (dropped != nullptr) dropped->stopRequested = true;
}

std::int32_t BsodAnalyzer::Start(BsodDumpCallBackFunction callbackNoSymbol, void* contextNoSymbol,
                                 BsodDumpCallBackFunction callbackWithSymbol, void* contextWithSymbol) {
  if (!lockReady || (callbackNoSymbol == nullptr && callbackWithSymbol == nullptr)) return kHresultFail;
  std::shared_ptr<AnalysisState> run;
  {
    const CriticalSectionLock held(lock);
    if (!initialized) return kHresultFail;
    if (running) return kHresultOk;
    if (state == nullptr) return kHresultFail;
    run = state;
    run->callbackNoSymbol = callbackNoSymbol;
    run->contextNoSymbol = contextNoSymbol;
    run->callbackWithSymbol = callbackWithSymbol;
    run->contextWithSymbol = contextWithSymbol;
    run->stopRequested = false;
    platform::ThreadsPort().ResetEvent(run->completionEvent);
    running = true;
  }
  const CompletionSignal signal(run->completionEvent);
  const std::int32_t result = WithinMemory([&] { return RunAnalysis(run.get()); });
  running = false;  // before the event rises: who is woken by it finds no run
  return result;
}

std::uint32_t BsodAnalyzer::Stop(std::uint32_t timeoutMs) {
  if (!lockReady) return kStopFailed;
  std::shared_ptr<AnalysisState> run;
  {
    const CriticalSectionLock held(lock);
    if (!running) return kStopNothingRuns;
    if (state == nullptr) return kStopFailed;
    run = state;
    run->stopRequested = true;
  }
  {
    const CriticalSectionLock held(run->sessionLock);
    if (run->session != nullptr) {
      const std::int32_t stopped = run->session->StopSymbolDownload();
      if (Failed(stopped)) {
        WrapLogPrint(LOG_ERROR, u"[Warning] StopSymbolDownload failed: 0x%08X, but continuing stop process\n",
                     Printed(stopped));
      }
    }
  }
  if (run->completionEvent == nullptr || timeoutMs == 0) return kStopNotAwaited;
  switch (platform::ThreadsPort().WaitForSingleObject(run->completionEvent, timeoutMs)) {
    case platform::kWaitObject0:
      return kStopCompleted;
    case platform::kWaitTimeout:
      return kStopTimedOut;
    default:
      return kStopFailed;
  }
}

std::int32_t BsodAnalyzer::Uninitialize() {
  if (!lockReady) return kHresultFail;
  std::shared_ptr<AnalysisState> ended;
  {
    const CriticalSectionLock held(lock);
    if (!initialized) return kHresultOk;
    if (running) return kHresultFail;
    ended = state;
  }
  if (ended != nullptr) {
    CleanupSymbolFiles(ended.get());
    DropState();
  }
  initialized = false;
  return kHresultOk;
}

void BsodAnalyzer::Dispose() {
  disposed_ = true;
  const std::shared_ptr<AnalysisState> ended = ShareState();
  bool complete = true;
  if (running) {
    Stop(kLastWaitMs);
    if (running) {
      WrapLogPrint(LOG_ERROR,
                   u"[Critical Error] Cannot stop analysis thread, skipping resource cleanup to avoid crash\n");
      complete = false;
    }
  }
  if (complete && ended != nullptr && ended->completionEvent != nullptr &&
      platform::ThreadsPort().WaitForSingleObject(ended->completionEvent, kLastWaitMs) == platform::kWaitTimeout) {
    WrapLogPrint(LOG_ERROR, u"[Critical Error] Waiting for completion event timed out, skipping resource cleanup\n");
    complete = false;
  }
  if (complete && ended != nullptr) CleanupSymbolFiles(ended.get());
  DropState();
  if (complete) lockReady = false;
}

}  // namespace varnel

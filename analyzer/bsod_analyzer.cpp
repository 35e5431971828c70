#include "analyzer/bsod_analyzer.h"

#include <memory>
#include <new>

#include "analyzer/analyzer_lock.h"
#include "analyzer/bsod_analyzer_object.h"
#include "analyzer/engine_results.h"
#include "analyzer/out_of_memory.h"
#include "base/log.h"
#include "platform/platform.h"

namespace varnel {
namespace {

constexpr std::int32_t kHresultPending = static_cast<std::int32_t>(0x8000000A);
constexpr std::uint32_t kErrorTimeout = 1460;
constexpr std::uint32_t kUninitStopMs = 5000;

struct AnalyzerDeleter {
  void operator()(BsodAnalyzer* analyzer) const {
    analyzer->~BsodAnalyzer();
    platform::SystemPort().HeapFree(analyzer);
  }
};

// The process's one analyzer; guarded by TheAnalyzerLock. Whoever takes it from here shares it, so that a stop that
// meets the analyzer's end works on an object that is still there. Never destroyed: no analyzer outlives its uninit.
std::shared_ptr<BsodAnalyzer>& AnalyzerInstance() {
  static auto* const instance = new std::shared_ptr<BsodAnalyzer>;
  return *instance;
}

std::shared_ptr<BsodAnalyzer> ShareInstance() {
  const AnalyzerLockScope held(TheAnalyzerLock());
  return AnalyzerInstance();
}

/// Null without memory.
std::shared_ptr<BsodAnalyzer> MakeAnalyzer(const std::u16string& productGuid) {
  void* const block = platform::SystemPort().HeapAlloc(sizeof(BsodAnalyzer));
  if (block == nullptr) return nullptr;
  BsodAnalyzer* made = nullptr;
  try {
    made = new (block) BsodAnalyzer(productGuid);
  } catch (const std::bad_alloc&) {
    platform::SystemPort().HeapFree(block);
    return nullptr;
  }
  try {
    return {made, AnalyzerDeleter()};
  } catch (const std::bad_alloc&) {
    return nullptr;  // the deleter has run
  }
}

void DestroyInstance() {
  const AnalyzerLockScope held(TheAnalyzerLock());
  if (AnalyzerInstance() != nullptr) AnalyzerInstance()->Dispose();
  AnalyzerInstance().reset();
}

/// The instance that is made, and 0; or why there is none to initialize.
std::int32_t FindOrMake(const std::u16string& productGuid, std::shared_ptr<BsodAnalyzer>* made) {
  const AnalyzerLockScope held(TheAnalyzerLock());
  std::shared_ptr<BsodAnalyzer>& instance = AnalyzerInstance();
  if (instance != nullptr) {
    if (instance->ProductGuid() == productGuid) return kHresultNothing;
    WrapLogPrint(LOG_ERROR, u"[InitBsodAnalyzer] Error: Instance already exists but GUID does not match\n");
    return HresultOf(platform::kErrorAlreadyExists);
  }
  instance = MakeAnalyzer(productGuid);
  if (instance == nullptr) {
    WrapLogPrint(LOG_ERROR, u"[InitBsodAnalyzer] Error: Memory allocation failed\n");
    return kHresultOutOfMemory;
  }
  *made = instance;
  return kHresultOk;
}

std::int32_t StopFailure(std::uint32_t status) {
  if (status == kStopTimedOut) return HresultOf(kErrorTimeout);
  return status == kStopNotAwaited ? kHresultPending : kHresultFail;
}

}  // namespace

std::int32_t InitBsodAnalyzer(const char16_t* productGuid) {
  return WithinMemory([&]() -> std::int32_t {
    if (productGuid == nullptr || *productGuid == 0) {
      WrapLogPrint(LOG_ERROR, u"[InitBsodAnalyzer] Error: productGuid is empty\n");
      return kHresultInvalidArgument;
    }
    if (!TheAnalyzerLock().Ensure()) return kHresultOutOfMemory;
    std::shared_ptr<BsodAnalyzer> made;
    std::int32_t result = FindOrMake(productGuid, &made);
    if (made == nullptr) return result;
    result = WithinMemory([&] { return made->Initialize(); });
    if (!Failed(result)) return kHresultOk;
    WrapLogPrint(LOG_ERROR, u"[InitBsodAnalyzer] Initialization failed: 0x%08X\n", Printed(result));
    DestroyInstance();
    return result;
  });
}

std::int32_t StartBsodAnalyzer(BsodDumpCallBackFunction callbackNoSymbol, void* contextNoSymbol,
                               BsodDumpCallBackFunction callbackWithSymbol, void* contextWithSymbol) {
  if (!TheAnalyzerLock().IsReady()) {
    WrapLogPrint(LOG_ERROR, u"[StartBsodAnalyzer] Error: Not initialized\n");
    return kHresultFail;
  }
  const std::shared_ptr<BsodAnalyzer> instance = ShareInstance();
  if (instance == nullptr) {
    WrapLogPrint(
        LOG_ERROR,
        u"[StartBsodAnalyzer] Error: Analyzer instance does not exist, please call InitBsodAnalyzer() first\n");
    return kHresultFail;
  }
  return instance->Start(callbackNoSymbol, contextNoSymbol, callbackWithSymbol, contextWithSymbol);
}

std::uint32_t StopBsodAnalyzer(std::uint32_t timeoutMs) {
  if (!TheAnalyzerLock().IsReady()) return kStopNothingRuns;
  const std::shared_ptr<BsodAnalyzer> instance = ShareInstance();
  return instance != nullptr && instance->IsRunning() ? instance->Stop(timeoutMs) : kStopNothingRuns;
}

std::int32_t UninitBsodAnalyzer() {
  if (!TheAnalyzerLock().IsReady()) return kHresultNothing;
  const std::shared_ptr<BsodAnalyzer> instance = ShareInstance();
  if (instance == nullptr) {
    TheAnalyzerLock().Delete();
    return kHresultNothing;
  }
  if (instance->IsRunning()) {
    const std::uint32_t status = instance->Stop(kUninitStopMs);
    if (status != kStopCompleted && status != kStopNothingRuns) {
      WrapLogPrint(LOG_ERROR, u"[UninitBsodAnalyzer] Error: Stop failed or timed out\n");
      return StopFailure(status);
    }
  }
  const std::int32_t result = instance->Uninitialize();
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[UninitBsodAnalyzer] Warning: Uninit failed: 0x%08X\n", Printed(result));
  }
  DestroyInstance();
  TheAnalyzerLock().Delete();
  return kHresultOk;
}

}  // namespace varnel

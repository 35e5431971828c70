#include "analyzer/dump_report.h"

#include "analyzer/bsod_analyzer_object.h"
#include "analyzer/debug_engine_session.h"
#include "analyzer/engine_results.h"
#include "analyzer/out_of_memory.h"
#include "analyzer/report_builder.h"
#include "analyzer/symbol_dlls.h"

namespace varnel {
namespace {

constexpr char16_t kSymbolServer[] = u"https://msdl.microsoft.com/download/symbols";
constexpr std::uint32_t kSymbolWaitSeconds = 900;

/// A session in the state for its scope.
class SymbolSession {
 public:
  explicit SymbolSession(AnalysisState* state) : state_(state) {
    const CriticalSectionLock held(state_->sessionLock);
    state_->session = std::make_unique<DebugEngineSession>(kEngineFromProcessFolder);
    session_ = state_->session.get();
  }
  ~SymbolSession() {
    const CriticalSectionLock held(state_->sessionLock);
    state_->session.reset();
  }
  SymbolSession(const SymbolSession&) = delete;
  SymbolSession& operator=(const SymbolSession&) = delete;

  /// The run's thread alone replaces the session, so that it needs no lock to use it.
  DebugEngineSession* get() const { return session_; }

 private:
  AnalysisState* const state_;
  DebugEngineSession* session_ = nullptr;
};

std::int32_t ReportWithSymbol(DebugEngineSession* session, const std::u16string& dumpPath,
                              const std::u16string& symbolCacheDir, std::string* report, std::uint8_t importance) {
  if (!session->IsEngineReady()) return kHresultFail;
  const std::int32_t opened = session->OpenDumpWithSymbols(dumpPath, symbolCacheDir, kSymbolServer, kSymbolWaitSeconds);
  if (opened == kHresultCancelled) return opened;  // after a stop the dump is left alone
  const std::int32_t result =
      Failed(opened) ? opened : ReportBuilder(session, ReportBuilder::Mode::kFull).Build(dumpPath, importance, report);
  session->CloseDump();
  return result;
}

}  // namespace

std::int32_t AnalyzeDumpNoSymbol(const std::u16string& dumpPath, std::string* report,
                                 std::uint8_t importance) noexcept {
  return WithinMemory([&]() -> std::int32_t {
    DebugEngineSession session(kEngineFromSystemFolder);
    if (!session.IsEngineReady()) return kHresultFail;
    const std::int32_t opened = session.OpenDumpNoSymbols(dumpPath);
    if (Failed(opened)) return opened;
    const std::int32_t result =
        ReportBuilder(&session, ReportBuilder::Mode::kNoSymbol).Build(dumpPath, importance, report);
    session.CloseDump();
    return result;
  });
}

std::int32_t BsodAnalyzer::AnalyzeDumpWithSymbol(const std::u16string& dumpPath, const std::u16string& symbolCacheDir,
                                                 std::string* report, std::uint8_t importance) noexcept {
  return WithinMemory([&]() -> std::int32_t {
    const std::shared_ptr<AnalysisState> run = ShareState();
    if (run == nullptr || run->stopRequested) return kHresultCancelled;
    const std::int32_t acquired = AcquireSymbolDlls();
    if (Failed(acquired)) return acquired;
    // In this order: the session, which ends first, holds the engine loaded from the folder that the release cleans.
    const AcquiredSymbolDlls dlls;
    const SymbolSession session(run.get());
    return ReportWithSymbol(session.get(), dumpPath, symbolCacheDir, report, importance);
  });
}

}  // namespace varnel

// The run of a BsodAnalyzer: its two passes over the dumps.
#include "analyzer/bsod_analyzer_object.h"
#include "analyzer/dump_report.h"
#include "analyzer/engine_results.h"
#include "analyzer/symbol_dlls.h"
#include "base/format.h"
#include "base/log.h"
#include "platform/platform.h"

namespace varnel {
namespace {

constexpr std::size_t kFailureTextSize = 256;

struct CallbackArguments {
  BsodDumpCallBackFunction callback;
  void* context;
  std::uint8_t success;
  const std::string* report;
  const std::string* error;
};

void CallHost(void* parameter) {
  const auto* const arguments = static_cast<const CallbackArguments*>(parameter);
  arguments->callback(arguments->success, *arguments->report, *arguments->error, arguments->context);
}

}  // namespace

/// What the two passes do differently.
struct BsodAnalyzer::Pass {
  bool isNoSymbol;
  const std::u16string& markerName;
  BsodDumpCallBackFunction callback;
  void* context;
  bool* firstRun;              // the state's own, cleared when the batch is done
  const bool firstRunAtStart;  // what the pass goes by
};

void InvokeCallback(BsodDumpCallBackFunction callback, void* context, std::uint8_t success, const std::string& report,
                    const std::string& error) {
  if (callback == nullptr) return;
  CallbackArguments arguments{callback, context, success, &report, &error};
  // The callback is the host's code; it must not take the run down.
  const std::uint32_t code = platform::SystemPort().GuardedCall(&CallHost, &arguments);
  if (code != 0) WrapLogPrint(LOG_ERROR, u"[Error] Exception occurred during callback execution: 0x%08X\n", code);
}

std::int32_t BsodAnalyzer::RunAnalysis(AnalysisState* run) {
  if (run->callbackNoSymbol != nullptr) {
    const std::int32_t result = RunNoSymbolPass(run);
    if (Failed(result)) return result;
  }
  return run->callbackWithSymbol == nullptr ? kHresultOk : RunWithSymbolPass(run);
}

std::int32_t BsodAnalyzer::RunNoSymbolPass(AnalysisState* run) {
  CrashDumpConfigManager::TextList dumps;
  if (Failed(run->configManager.GetUnanalyzedDumpsNoSymbol(productGuid, run->markerNameNoSymbol, &dumps))) {
    return kHresultOk;
  }
  const Pass pass{true,
                  run->markerNameNoSymbol,
                  run->callbackNoSymbol,
                  run->contextNoSymbol,
                  &run->firstRunNoSymbol,
                  run->firstRunNoSymbol};
  for (const std::u16string& path : dumps) {
    if (run->stopRequested) return kHresultCancelled;
    const bool isFirstRunDump = IsFirstRunDump(run, pass, path);
    std::string report;
    const std::int32_t result = AnalyzeDumpNoSymbol(path, &report, isFirstRunDump ? 0 : 1);
    Tell(pass, result, report);
    if (!Failed(result)) Record(run, pass, path, isFirstRunDump);
  }
  return kHresultOk;
}

std::int32_t BsodAnalyzer::RunWithSymbolPass(AnalysisState* run) {
  CrashDumpConfigManager::TextList dumps;
  if (Failed(run->configManager.GetUnanalyzedDumpsWithSymbol(productGuid, run->markerNameWithSymbol, &dumps)) ||
      dumps.empty()) {
    return kHresultOk;
  }
  const std::int32_t acquired = AcquireSymbolDlls();
  if (Failed(acquired)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Cannot copy symbol DLL: 0x%08X\n", Printed(acquired));
    return acquired;
  }
  const AcquiredSymbolDlls dlls;  // for the whole pass, however it ends
  const Pass pass{false,
                  run->markerNameWithSymbol,
                  run->callbackWithSymbol,
                  run->contextWithSymbol,
                  &run->firstRunWithSymbol,
                  run->firstRunWithSymbol};
  for (const std::u16string& path : dumps) {
    if (run->stopRequested) return kHresultCancelled;
    const bool isFirstRunDump = IsFirstRunDump(run, pass, path);
    std::string report;
    const std::int32_t result = AnalyzeDumpWithSymbol(path, run->symbolCachePath, &report, isFirstRunDump ? 0 : 1);
    if (result == kHresultCancelled) return result;
    Tell(pass, result, report);
    if (!Failed(result)) Record(run, pass, path, isFirstRunDump);
  }
  return kHresultOk;
}

/// Whether the dump is one of the first run's batch that is still to be done. A failed query says no.
bool BsodAnalyzer::IsFirstRunDump(AnalysisState* run, const Pass& pass, const std::u16string& path) {
  if (!pass.firstRunAtStart) return false;
  std::uint32_t status = 0;
  const std::int32_t queried = run->configManager.QueryFirstRunStatus(productGuid, pass.isNoSymbol, &path, &status);
  return !Failed(queried) && status != 0;
}

void BsodAnalyzer::Tell(const Pass& pass, std::int32_t result, const std::string& report) {
  if (!Failed(result)) {
    InvokeCallback(pass.callback, pass.context, 1, report, std::string());
    return;
  }
  char text[kFailureTextSize] = {};
  if (pass.isNoSymbol) {
    FormatTo(text, kFailureTextSize, "Analysis without symbols failed: HRESULT=0x%08X", Printed(result));
  } else {
    FormatTo(text, kFailureTextSize, "Analysis with symbols failed: HRESULT=0x%08X", Printed(result));
  }
  InvokeCallback(pass.callback, pass.context, 0, std::string(), text);
}

// A dump that failed stays unrecorded and is tried again at the next run. That recording fails changes nothing here.
void BsodAnalyzer::Record(AnalysisState* run, const Pass& pass, const std::u16string& path, bool isFirstRunDump) {
  CrashDumpConfigManager& manager = run->configManager;
  manager.AddAnalyzedDump(path, productGuid, pass.markerName);
  if (!isFirstRunDump) return;
  manager.MarkFirstRunDumpCompleted(productGuid, pass.isNoSymbol, path);
  std::uint32_t status = 0;
  const std::int32_t queried = manager.QueryFirstRunStatus(productGuid, pass.isNoSymbol, nullptr, &status);
  if (Failed(queried) || status == 0) return;
  manager.CompleteFirstRun(productGuid, pass.isNoSymbol);
  *pass.firstRun = false;
}

}  // namespace varnel

// Stands in for the dump analyzer: it answers as an analyzer on a machine that has no dump to look at. There is never a
// report from it, and never a run that could be stopped.
#include <atomic>

#include "analyzer/bsod_analyzer.h"
#include "base/status.h"

namespace varnel {
namespace {

std::atomic<bool> g_made{false};

}  // namespace

std::int32_t InitBsodAnalyzer(const char16_t* productGuid) {
  if (productGuid == nullptr || *productGuid == 0) return static_cast<std::int32_t>(kStatusInvalidArgument);
  return g_made.exchange(true) ? 1 : 0;
}

std::int32_t StartBsodAnalyzer(BsodDumpCallBackFunction callbackNoSymbol, void* /*contextNoSymbol*/,
                               BsodDumpCallBackFunction callbackWithSymbol, void* /*contextWithSymbol*/) {
  const bool unasked = callbackNoSymbol == nullptr && callbackWithSymbol == nullptr;
  return !g_made || unasked ? static_cast<std::int32_t>(kStatusFail) : 0;
}

std::uint32_t StopBsodAnalyzer(std::uint32_t /*timeoutMs*/) {
  return kBsodAnalyzerNoRun;
}

std::int32_t UninitBsodAnalyzer() {
  return g_made.exchange(false) ? 0 : 1;
}

}  // namespace varnel

#include "tests/support/scripted_analyzer.h"

#include <mutex>

namespace varnel {
namespace testing {

AnalyzerScript& Analyzer() {
  static AnalyzerScript script;
  return script;
}

namespace {

// A stop comes from another thread than the run.
void NoteCall(const char* call) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  Analyzer().calls.emplace_back(call);
}

}  // namespace
}  // namespace testing

std::int32_t InitBsodAnalyzer(const char16_t* productGuid) {
  testing::AnalyzerScript& script = testing::Analyzer();
  testing::NoteCall("init");
  script.product_guid = productGuid;
  return script.init_result;
}

std::int32_t StartBsodAnalyzer(BsodDumpCallBackFunction callbackNoSymbol, void* contextNoSymbol,
                               BsodDumpCallBackFunction callbackWithSymbol, void* contextWithSymbol) {
  testing::AnalyzerScript& script = testing::Analyzer();
  testing::NoteCall("start");
  if (!script.on_start) return 0;
  return script.on_start({callbackNoSymbol, contextNoSymbol, callbackWithSymbol, contextWithSymbol});
}

std::uint32_t StopBsodAnalyzer(std::uint32_t timeoutMs) {
  testing::AnalyzerScript& script = testing::Analyzer();
  testing::NoteCall("stop");
  script.stop_timeout_ms = timeoutMs;
  if (script.on_stop) script.on_stop();
  return script.stop_result;
}

std::int32_t UninitBsodAnalyzer() {
  testing::AnalyzerScript& script = testing::Analyzer();
  testing::NoteCall("uninit");
  return script.uninit_result;
}

}  // namespace varnel

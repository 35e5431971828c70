#include "analyzer/analysis_state.h"

#include <string_view>

#include "analyzer/engine_results.h"
#include "base/log.h"
#include "base/text.h"
#include "platform/platform.h"

namespace varnel {

AnalysisState::AnalysisState(const std::u16string& productGuid) {
  try {
    if (!MakeCompletionEvent() || !FindProductData(productGuid) || !FindSymbolCache()) return;
    markerNameNoSymbol = u"analyzed_dumps_nosym.dat";
    markerNameWithSymbol = u"analyzed_dumps_sym.dat";
  } catch (...) {  // out of memory: the destructor will not run
    if (completionEvent != nullptr) platform::SystemPort().CloseHandle(completionEvent);
    throw;
  }
}

AnalysisState::~AnalysisState() {
  stopRequested = true;
  session.reset();
  if (completionEvent != nullptr) platform::SystemPort().CloseHandle(completionEvent);
}

void AnalysisState::FailInit(std::int32_t result) {
  initOk = false;
  initResult = result;
}

bool AnalysisState::MakeCompletionEvent() {
  completionEvent = platform::ThreadsPort().CreateEventW(true, false);
  if (completionEvent != nullptr) return true;
  const std::uint32_t error = platform::SystemPort().GetLastError();
  WrapLogPrint(LOG_ERROR, u"[Error] Failed to create completion event: 0x%08X\n", error);
  FailInit(HresultOf(error));
  return false;
}

bool AnalysisState::FindProductData(const std::u16string& productGuid) {
  char16_t programData[kMaxPath] = {};
  const std::uint32_t length = platform::SystemPort().GetEnvironmentVariableW(u"ProgramData", programData, kMaxPath);
  if (length == 0) {
    const std::uint32_t error = platform::SystemPort().GetLastError();
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get ProgramData environment variable: 0x%08X\n", error);
    FailInit(HresultOf(error));
    return false;
  }
  if (length >= kMaxPath) {
    WrapLogPrint(LOG_ERROR, u"[Error] ProgramData path too long: requires %lu characters, buffer size is %d\n",
                 length + 1, static_cast<std::int32_t>(kMaxPath));
    FailInit(HresultOf(platform::kErrorInsufficientBuffer));
    return false;
  }
  productDataPath = std::u16string(programData) + u"\\KelvoVarnels\\" + productGuid;
  return true;
}

bool AnalysisState::FindSymbolCache() {
  char16_t path[kMaxPath] = {};
  const std::uint32_t length = platform::SystemPort().GetModuleFileNameW(nullptr, path, kMaxPath);
  if (length == 0) {
    const std::uint32_t error = platform::SystemPort().GetLastError();
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get module file name: 0x%08X\n", error);
    FailInit(HresultOf(error));
    return false;
  }
  if (length >= kMaxPath) {
    WrapLogPrint(LOG_ERROR, u"[Error] Module file path too long (truncated)\n");
    FailInit(HresultOf(platform::kErrorInsufficientBuffer));
    return false;
  }
  const std::u16string_view text(path);
  const std::size_t last = text.rfind(u'\\');
  if (last == std::u16string_view::npos) {
    WrapLogPrint(LOG_ERROR, u"[Error] Invalid module file path: no directory separator found\n");
    FailInit(kHresultFail);
    return false;
  }
  symbolCachePath = std::u16string(text.substr(0, last)) + u"\\sym";
  return true;
}

}  // namespace varnel

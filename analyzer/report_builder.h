// ReportBuilder: the JSON text of one report, from the dump that is open in a session. One use; not synchronised.
#pragma once

#include <cstdint>
#include <string>

#include "analyzer/debug_engine_session.h"
#include "analyzer/json_node.h"

namespace varnel {

class ReportBuilder {
 public:
  enum class Mode { kNoSymbol, kFull };

  /// Borrows the session.
  ReportBuilder(DebugEngineSession* session, Mode mode) : session_(*session), mode_(mode) {}

  /// An HRESULT: what GetSystemInfo failed with; 0x80070032 for another machine than x64; 0x8007000E when an object
  /// could not be made; 0x80004005 when nothing was printed.
  std::int32_t Build(const std::u16string& dumpPath, std::uint8_t importance, std::string* report);

 private:
  // Each false when an object could not be made.
  bool AddAnalysisInfo(const JsonNode& root, const std::u16string& dumpPath, std::uint8_t importance);
  bool AddSystemInfo(const JsonNode& root, const SystemInfo& info);
  bool AddBugCheck(const JsonNode& root);
  bool AddCrashContext(const JsonNode& root);
  bool AddProcessName(const JsonNode& context, bool* added);
  bool AddIrql(const JsonNode& context, bool* added);
  bool AddRegisters(const JsonNode& context, bool* added);
  bool AddCallStack(const JsonNode& root);
  bool AddLoadedModules(const JsonNode& root);

  DebugEngineSession& session_;
  const Mode mode_;
};

/// The present moment as the reports write times.
std::string CurrentTimeText();

}  // namespace varnel

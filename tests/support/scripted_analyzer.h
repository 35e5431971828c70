// The dump analyzer by script: a program that links this has it in place of the module's own. One record for the
// process; the test resets it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "analyzer/bsod_analyzer.h"

namespace varnel::testing {

struct AnalyzerScript {
  /// What a start was called with.
  struct Run {
    BsodDumpCallBackFunction no_symbol = nullptr;
    void* no_symbol_context = nullptr;
    BsodDumpCallBackFunction with_symbol = nullptr;
    void* with_symbol_context = nullptr;
  };

  std::int32_t init_result = 0;
  /// What a start does; without it the start answers 0 at once.
  std::function<std::int32_t(const Run&)> on_start;
  /// What a stop does before it answers; on the stop's thread.
  std::function<void()> on_stop;
  std::uint32_t stop_result = kBsodAnalyzerNoRun;
  std::int32_t uninit_result = 0;

  std::vector<std::string> calls;     // "init", "start", "stop", "uninit"
  std::u16string product_guid;        // of the last init
  std::uint32_t stop_timeout_ms = 0;  // of the last stop
};

/// For the thread that runs the module's calls, or behind its end.
AnalyzerScript& Analyzer();

}  // namespace varnel::testing

// A process of its own that carries out one run of the analyzer on a machine folder, and may die at one of its calls.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/analyzer/dump_run.h"

namespace varnel::testing {

/// When a child dies: never, before a call of the platform, or behind it.
enum class Moment { kNever, kBefore, kAfter };

struct ChildEnd {
  bool killed = false;
  bool in_time = true;  // false: it had to be ended from outside
  unsigned calls = 0;   // of a child that came to its end
  std::int32_t initialized = 0;
  std::int32_t started = 0;
  std::vector<ToldDump> told;
  std::vector<std::string> failures;
};

class AnalyzerChild {
 public:
  /// Starts it. `nth`: which call of the platform, from 1.
  AnalyzerChild(const std::string& root, Moment moment, unsigned nth);
  ~AnalyzerChild();
  AnalyzerChild(const AnalyzerChild&) = delete;
  AnalyzerChild& operator=(const AnalyzerChild&) = delete;

  /// Waits for its end, at most some minutes. Once.
  ChildEnd Wait();

 private:
  pid_t child_ = 0;
  int from_child_ = -1;
};

}  // namespace varnel::testing

// One whole run of the analyzer on the platform in force: init, both passes, uninit, as the module's own thread does.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/analyzer/dump_run.h"

namespace varnel::testing {

struct AnalyzerRun {
  std::int32_t initialized = 0;  // below zero there was no run
  std::int32_t started = 0;
  std::int32_t taken_down = 0;
  std::vector<ToldDump> told;         // by their reports
  std::vector<std::string> failures;  // the texts that came instead of a report
};

/// `on_told` sees each report before the callback returns to the analyzer, which records the dump then.
AnalyzerRun RunTheAnalyzer(const std::u16string& product, const std::function<void(const ToldDump&)>& on_told = {});

/// A ToldDump as one line, and back; a line that is none gives a dump without a path.
std::string ToldLine(const ToldDump& told);
ToldDump FromToldLine(const std::string& line);

/// The smallest dump that gives a report: nothing but a header. Dumps of different numbers differ.
std::string HeaderOnlyDump(std::uint32_t number);

}  // namespace varnel::testing

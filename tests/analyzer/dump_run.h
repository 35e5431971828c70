// One start of the analyzer as far as its dumps go: the preparation of the two kinds and a pass over what each is
// offered, in the order that its callers keep, with a hole for the analysis itself. A run can end early, as a process
// that is killed does.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "analyzer/crash_dump_config_manager.h"

namespace varnel::testing {

enum class DumpKind { kNoSymbol, kWithSymbol };

struct ToldDump {
  DumpKind kind = DumpKind::kNoSymbol;
  std::u16string path;
  bool important = false;  // no dump of the first run's batch

  bool operator==(const ToldDump&) const = default;
};

/// The places between two steps at which a process can end.
enum class RunStep { kBeforeReport, kBehindReport, kBehindMarker, kBehindRecord };

/// Asked at each step of each dump; false ends the run there.
using GoesOn = std::function<bool(RunStep step)>;

struct DumpRunOutcome {
  std::int32_t prepared = 0;  // the HRESULT of the preparation; below zero no pass runs
  bool firstRunNoSymbol = false;
  bool firstRunWithSymbol = false;
  std::vector<ToldDump> told;
};

DumpRunOutcome RunOverDumps(const std::u16string& product, const GoesOn& goes_on);

}  // namespace varnel::testing

#include "tests/analyzer/dump_run.h"

#include "analyzer/marker_paths.h"

namespace varnel::testing {
namespace {

const std::u16string kNoSymbolName = u"analyzed_dumps_nosym.dat";
const std::u16string kWithSymbolName = u"analyzed_dumps_sym.dat";

class Run {
 public:
  Run(const std::u16string& product, const GoesOn& goes_on) : product_(product), goes_on_(goes_on) {}

  DumpRunOutcome Do() {
    outcome_.prepared = Prepare();
    if (outcome_.prepared < 0) return outcome_;
    if (Pass(DumpKind::kNoSymbol)) Pass(DumpKind::kWithSymbol);
    return outcome_;
  }

 private:
  std::int32_t Prepare() {
    bool first_no = false;
    bool first_with = false;
    std::int32_t result = IsFirstRunNoSymbol(product_, kNoSymbolName, &first_no);
    if (result < 0) return result;
    result = IsFirstRunWithSymbol(product_, kWithSymbolName, &first_with);
    if (result < 0) return result;
    if (!first_no && !first_with) return FindUnfinished();
    if (first_no) {
      result = manager_.MarkAllExistingDumpsAsAnalyzedNoSymbol(product_, kNoSymbolName, &outcome_.firstRunNoSymbol);
      if (result < 0) return result;
    }
    if (first_with) {
      result =
          manager_.MarkAllExistingDumpsAsAnalyzedWithSymbol(product_, kWithSymbolName, &outcome_.firstRunWithSymbol);
    }
    return result < 0 ? result : 0;
  }

  std::int32_t FindUnfinished() {
    for (const bool no_symbol : {true, false}) {
      std::uint32_t status = 0;
      const std::int32_t result = manager_.QueryFirstRunStatus(product_, no_symbol, nullptr, &status);
      if (result < 0) return result;
      if (result != 1 && status == 0) (no_symbol ? outcome_.firstRunNoSymbol : outcome_.firstRunWithSymbol) = true;
    }
    return 0;
  }

  /// False when the run was ended.
  bool Pass(DumpKind kind) {
    const bool no_symbol = kind == DumpKind::kNoSymbol;
    const std::u16string& marker = no_symbol ? kNoSymbolName : kWithSymbolName;
    std::vector<std::u16string> dumps;
    const std::int32_t listed = no_symbol ? manager_.GetUnanalyzedDumpsNoSymbol(product_, marker, &dumps)
                                          : manager_.GetUnanalyzedDumpsWithSymbol(product_, marker, &dumps);
    if (listed < 0) return true;
    const bool first_run = no_symbol ? outcome_.firstRunNoSymbol : outcome_.firstRunWithSymbol;
    for (const std::u16string& dump : dumps) {
      if (!OneDump(kind, dump, marker, first_run)) return false;
    }
    return true;
  }

  bool OneDump(DumpKind kind, const std::u16string& dump, const std::u16string& marker, bool first_run) {
    const bool no_symbol = kind == DumpKind::kNoSymbol;
    if (!goes_on_(RunStep::kBeforeReport)) return false;
    std::uint32_t status = 0;
    const bool of_batch =
        first_run && manager_.QueryFirstRunStatus(product_, no_symbol, &dump, &status) >= 0 && status != 0;
    outcome_.told.push_back({kind, dump, !of_batch});
    if (!goes_on_(RunStep::kBehindReport)) return false;
    manager_.AddAnalyzedDump(dump, product_, marker);
    if (!goes_on_(RunStep::kBehindMarker)) return false;
    if (!of_batch) return true;
    manager_.MarkFirstRunDumpCompleted(product_, no_symbol, dump);
    if (!goes_on_(RunStep::kBehindRecord)) return false;
    if (manager_.QueryFirstRunStatus(product_, no_symbol, nullptr, &status) >= 0 && status != 0) {
      manager_.CompleteFirstRun(product_, no_symbol);
    }
    return true;
  }

  const std::u16string product_;
  const GoesOn& goes_on_;
  CrashDumpConfigManager manager_;
  DumpRunOutcome outcome_;
};

}  // namespace

DumpRunOutcome RunOverDumps(const std::u16string& product, const GoesOn& goes_on) {
  return Run(product, goes_on).Do();
}

}  // namespace varnel::testing

// Fails each call that a run makes, of the platform and of the engine, once and from then on for ever, and asks that
// the analyzer comes to its end in order, gives back what it took, and works again when nothing fails any more.
#include <gtest/gtest.h>

#include <set>

#include "analyzer/bsod_analyzer.h"
#include "base/compiler.h"
#include "tests/analyzer/run_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

constexpr char16_t kGuid[] = u"{4A234956-2B7D-4221-BADF-12593BD342A8}";

/// Calls that give something back: one that fails has itself lost what it should have given.
const std::set<std::string> kReleases = {"CloseHandle",      "FindClose",   "RegCloseKey",
                                         "CryptDestroyHash", "FreeLibrary", "CryptReleaseContext"};

/// Calls whose failure costs reports for good: a callback that raises an exception counts as told, private copies that
/// could not be released count as used, so that no later pass makes them again, and a text that does not convert stands
/// empty in its report.
const std::set<std::string> kLosses = {"GuardedCall", "InitOnceExecuteOnce", "WideCharToMultiByte"};

/// One machine with two dumps, and one life of the analyzer on it.
class Life : public RunFixture {
 public:
  Life() {
    AddDumps(2);
    debugger.facts.modules = {{0xFFFFF80000000000, 0x1000, 0, 0, 7, "nt", "", ""}};
    plan.Clear();
    handles_ = machine.handles.open_count();
  }
  void TestBody() override {}

  void Live() {
    const std::int32_t made = InitBsodAnalyzer(kGuid);
    EXPECT_LE(made, 0);
    const std::int32_t ran = StartBsodAnalyzer(&TakeNoSymbol, nullptr, &TakeWithSymbol, nullptr);
    EXPECT_LE(ran, 0);
    if (made < 0) {
      EXPECT_LT(ran, 0);
    }
    EXPECT_GE(UninitBsodAnalyzer(), 0);
  }
  /// Nothing fails any more: with both lives together each dump was told in both modes.
  void LiveInPeace() {
    plan.Clear();
    debugger.calls.Clear();
    Live();
    EXPECT_EQ(Reports(no_symbol_), 2u);
    EXPECT_EQ(Reports(with_symbol_), 2u);
  }
  void ExpectAllGivenBack(std::uint32_t leaks) const {
    EXPECT_EQ(machine.handles.open_count(), handles_);
    EXPECT_EQ(machine.registry.open_keys(), 0u);
    EXPECT_EQ(machine.crypto.open_count(), 0u);
    EXPECT_EQ(machine.system.heap_blocks(), static_cast<int>(g_intended_leaks.load() - leaks));
    EXPECT_EQ(debugger.live_engines(), 0);
  }
  /// How many dumps have a report.
  static std::size_t Reports(const std::vector<Told>& told) {
    std::set<std::string> dumps;
    for (const Told& one : told) {
      const std::size_t end = one.report.find(".dmp\"");
      if (end != std::string::npos) dumps.insert(one.report.substr(0, end));
    }
    return dumps.size();
  }
  FaultPlan& ports() { return plan; }
  FaultPlan& engine() { return debugger.calls; }

 private:
  std::size_t handles_ = 0;
};

/// How often each call is made in a life where nothing fails.
std::map<std::string, unsigned> CallsOfALife(FaultPlan& (Life::*plan)()) {
  Life life;
  life.Live();
  return (life.*plan)().Counts();
}

void LiveWith(FaultPlan& (Life::*plan)(), const Fault& fault) {
  SCOPED_TRACE(fault.operation + " " + std::to_string(fault.nth) + (fault.persistent ? " for ever" : " once"));
  const std::uint32_t leaks = g_intended_leaks.load();
  Life life;
  (life.*plan)().Fail(fault);
  life.Live();
  if (kReleases.contains(fault.operation)) return;
  life.ExpectAllGivenBack(leaks);
  if (!kLosses.contains(fault.operation)) life.LiveInPeace();
}

void Sweep(FaultPlan& (Life::*plan)(), std::uint32_t code) {
  for (const auto& [operation, count] : CallsOfALife(plan)) {
    if (operation == "HeapFree") continue;  // has no result: it can't fail
    for (unsigned nth = 1; nth <= count; ++nth) {
      LiveWith(plan, Fault{operation, nth, false, code});
      LiveWith(plan, Fault{operation, nth, true, code});
    }
  }
}

TEST(RunSweep, OfThePlatformsCalls) {
  Sweep(&Life::ports, 1450);
}

TEST(RunSweep, OfTheEnginesCalls) {
  Sweep(&Life::engine, 0x8000FFFF);
}

TEST(RunSweep, OfLaterAllocationsOfTheHeap) {
  for (unsigned nth = 1; nth <= 40; ++nth) {
    SCOPED_TRACE(nth);
    const std::uint32_t leaks = g_intended_leaks.load();
    Life life;
    life.ports().Fail({"HeapAlloc", nth, true, 8});
    life.Live();
    life.ExpectAllGivenBack(leaks);
    life.LiveInPeace();
  }
}

}  // namespace
}  // namespace varnel

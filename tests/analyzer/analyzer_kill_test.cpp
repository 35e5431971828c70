// The analyzer's process is killed at its calls of the platform, before one or behind one, in a run over eight dumps;
// the next run offers what a plain model of the markers and the registry says, and nothing is told for ever.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/analyzer/analyzer_child.h"
#include "tests/analyzer/analyzer_fixture.h"
#include "tests/analyzer/analyzer_run.h"
#include "tests/analyzer/dump_machine.h"

namespace varnel::testing {
namespace {

constexpr unsigned kDumps = 8;

/// How a run begins: as the first one of a machine, or behind others that left empty markers.
enum class Begin { kFirstRun, kLaterRun };

class KilledAnalyzer {
 public:
  explicit KilledAnalyzer(Begin begin) {
    for (unsigned i = 0; i < kDumps; ++i) {
      dumps_.push_back(machine_.AddDump(std::to_string(i) + ".dmp", HeaderOnlyDump(i), i));
    }
    if (begin == Begin::kLaterRun) {
      CrashDumpConfigManager manager;
      EXPECT_EQ(manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, {}), 0);
      EXPECT_EQ(manager.WriteMarkerFile(kProduct, kMarkerWithSymbol, {}), 0);
    }
    machine_.Close();
  }

  ChildEnd Run(Moment moment, unsigned nth) { return AnalyzerChild(machine_.root(), moment, nth).Wait(); }

  /// The run behind the kill: as the model of what is left says, and all is recorded once.
  void ExpectTheNextRunAsTheModelSays() {
    machine_.Open();
    const DumpRunOutcome expected = machine_.State().Run([](RunStep) { return true; });
    const AnalyzerRun next = RunTheAnalyzer(kProduct);
    EXPECT_EQ(next.initialized, 0);
    EXPECT_EQ(next.started, 0);
    EXPECT_TRUE(next.failures.empty()) << next.failures.front();
    EXPECT_EQ(next.told, expected.told);
    const DumpModel after = machine_.State();
    for (const auto& [path, dump] : after.dumps) {
      for (const ModelKind* kind : {&after.no_symbol, &after.with_symbol}) {
        EXPECT_EQ(std::count(kind->marker->begin(), kind->marker->end(), dump.identity), 1) << "recorded, and once";
      }
    }
    EXPECT_TRUE(RunTheAnalyzer(kProduct).told.empty()) << "and nothing is left to tell";
  }

  /// Of a later run no dump is written off: each was told by the killed run or by the next one.
  void ExpectEachDumpTold(const ChildEnd& killed) {
    machine_.Open();
    std::vector<ToldDump> all = killed.told;
    const AnalyzerRun next = RunTheAnalyzer(kProduct);
    all.insert(all.end(), next.told.begin(), next.told.end());
    for (const std::u16string& dump : dumps_) {
      for (const DumpKind kind : {DumpKind::kNoSymbol, DumpKind::kWithSymbol}) {
        const auto times = std::count(all.begin(), all.end(), ToldDump{kind, dump, true});
        EXPECT_GE(times, 1);
        EXPECT_LE(times, 2) << "the one that was told and not yet recorded comes again";
      }
    }
  }

 private:
  DumpMachine machine_;
  std::vector<std::u16string> dumps_;
};

/// Every call with VARNEL_ALL_KILLS; else some are left out, never many at a stretch.
unsigned Step(unsigned nth, unsigned calls) {
  if (std::getenv("VARNEL_ALL_KILLS") != nullptr) return 1;
  return std::max(1u, calls / 40 + nth % 5);
}

unsigned CallsOfAWholeRun(Begin begin) {
  KilledAnalyzer machine(begin);
  const ChildEnd end = machine.Run(Moment::kNever, 0);
  EXPECT_FALSE(end.killed);
  EXPECT_EQ(end.told.size(), begin == Begin::kFirstRun ? 10u : 16u);
  return end.calls;
}

void KillAtTheCallsOf(Begin begin) {
  const unsigned calls = CallsOfAWholeRun(begin);
  ASSERT_GT(calls, 500u);
  unsigned kills = 0;
  for (unsigned nth = 1; nth <= calls && !::testing::Test::HasFailure(); nth += Step(nth, calls)) {
    for (const Moment moment : {Moment::kBefore, Moment::kAfter}) {
      SCOPED_TRACE((moment == Moment::kBefore ? "before call " : "after call ") + std::to_string(nth));
      KilledAnalyzer machine(begin);
      const ChildEnd end = machine.Run(moment, nth);
      kills += end.killed ? 1 : 0;
      machine.ExpectTheNextRunAsTheModelSays();
    }
  }
  std::printf("%u kills at %u calls\n", kills, calls);
  EXPECT_GT(kills, 60u);
}

TEST(AnalyzerKillTest, AFirstRunKilledAtAnyCallIsFollowedByTheRunThatTheModelTells) {
  KillAtTheCallsOf(Begin::kFirstRun);
}

TEST(AnalyzerKillTest, ALaterRunKilledAtAnyCallIsFollowedByTheRunThatTheModelTells) {
  KillAtTheCallsOf(Begin::kLaterRun);
}

TEST(AnalyzerKillTest, NoDumpIsLostByAKillAndOneAtMostIsToldAgain) {
  const unsigned calls = CallsOfAWholeRun(Begin::kLaterRun);
  for (unsigned nth = 3; nth <= calls && !::testing::Test::HasFailure(); nth += calls / 20) {
    SCOPED_TRACE(nth);
    KilledAnalyzer machine(Begin::kLaterRun);
    machine.ExpectEachDumpTold(machine.Run(Moment::kBefore, nth));
  }
}

}  // namespace
}  // namespace varnel::testing

// A run over a machine's dumps in which each call of the platform fails once, and from then on for ever, and each
// allocation of the module's: nothing stays open, and what the next run tells is what the model works out from what was
// kept. The base path of the markers is kept for the life of the process, so that its own failures are not among them.
#include <algorithm>
#include <array>
#include <new>
#include <set>
#include <string>

#include "analyzer/marker_paths.h"
#include "tests/analyzer/analyzer_fixture.h"
#include "tests/analyzer/dump_state.h"
#include "tests/support/heap_faults.h"

namespace varnel::testing {
namespace {

constexpr unsigned kDumps = 7;  // two more than a batch

bool Always(RunStep) {
  return true;
}

enum class Newest { kSmall, kLarge };  // a large one is read twice

/// A machine of seven dumps before its first run.
class SweptDumps : public AnalyzerTest {
 public:
  explicit SweptDumps(Newest newest) {
    for (const std::u16string& path : AddDumps(kDumps - 1)) Know(path, 1000 + known_);
    const std::size_t size = newest == Newest::kLarge ? 131'073 : 1'000;
    Know(AddDump(u"newest.dmp", std::string(size, 'x'), 2000), 2000);
    GetMarkerBasePath();
    plan.Clear();
  }

  /// The first run, with the plan as it is. A process that runs out of memory outside the module ends there.
  void FirstRun() {
    try {
      RunOverDumps(kProduct, Always);
    } catch (const std::bad_alloc&) {
    }
  }
  void ExpectTheNextRunsAsTheModelSays();
  void TestBody() override {}

  using AnalyzerTest::ExpectNothingHeld;
  using AnalyzerTest::plan;
  HeapFaultPlan heap_plan;
  FaultyPlatform heap_watched{platform::CurrentPlatform(), &heap_plan};

 private:
  void Know(const std::u16string& path, std::uint64_t created) {
    model_.dumps[path] = {Identity(path), created, true};
    ++known_;
  }

  DumpModel model_;
  unsigned known_ = 0;
};

void SweptDumps::ExpectTheNextRunsAsTheModelSays() {
  plan.Clear();
  model_.no_symbol = KeptState(DumpKind::kNoSymbol, Marker(kMarkerNoSymbol));
  model_.with_symbol = KeptState(DumpKind::kWithSymbol, Marker(kMarkerWithSymbol));
  const DumpRunOutcome expected = model_.Run(Always);
  const DumpRunOutcome outcome = RunOverDumps(kProduct, Always);
  EXPECT_EQ(outcome.prepared, 0);
  EXPECT_EQ(outcome.firstRunNoSymbol, expected.firstRunNoSymbol);
  EXPECT_EQ(outcome.firstRunWithSymbol, expected.firstRunWithSymbol);
  EXPECT_TRUE(outcome.told == expected.told);
  for (const ModelKind& kind : {KeptState(DumpKind::kNoSymbol, Marker(kMarkerNoSymbol)),
                                KeptState(DumpKind::kWithSymbol, Marker(kMarkerWithSymbol))}) {
    ASSERT_TRUE(kind.marker.has_value());
    for (const auto& [path, dump] : model_.dumps) {
      EXPECT_EQ(std::count(kind.marker->begin(), kind.marker->end(), dump.identity), 1) << "recorded, and once";
    }
  }
  EXPECT_TRUE(RunOverDumps(kProduct, Always).told.empty());
  ExpectNothingHeld();
}

/// The calls of an unharmed run.
std::map<std::string, unsigned> CallsOfARun(Newest newest) {
  SweptDumps machine(newest);
  machine.FirstRun();
  std::map<std::string, unsigned> counts = machine.plan.Counts();
  counts.erase("HeapFree");  // cannot fail
  return counts;
}

/// What these would have closed stays open, and a file that stays open cannot be opened again.
bool Closes(const std::string& operation) {
  const std::set<std::string> closing = {"CloseHandle", "RegCloseKey", "FindClose", "CryptDestroyHash",
                                         "CryptReleaseContext"};
  return closing.contains(operation);
}

void SweepCalls(bool persistent, std::uint32_t code, Newest newest = Newest::kSmall) {
  unsigned hits = 0;
  for (const auto& [operation, count] : CallsOfARun(newest)) {
    for (unsigned nth = 1; nth <= count; ++nth) {
      SCOPED_TRACE(operation + " #" + std::to_string(nth));
      SweptDumps machine(newest);
      machine.plan.Fail({operation, nth, persistent, code});
      machine.FirstRun();
      hits += machine.plan.failures() > 0 ? 1 : 0;
      EXPECT_GT(machine.plan.failures(), 0u);
      if (!Closes(operation)) {
        machine.ExpectNothingHeld();
        machine.ExpectTheNextRunsAsTheModelSays();
      }
      if (::testing::Test::HasFailure()) return;
    }
  }
  EXPECT_GT(hits, 500u);
}

TEST(AnalyzerSweep, EachCallFailsOnce) {
  SweepCalls(false, platform::kErrorAccessDenied, Newest::kLarge);
}

TEST(AnalyzerSweep, EachCallFailsForEver) {
  SweepCalls(true, platform::kErrorAccessDenied);
}

TEST(AnalyzerSweep, EachCallFailsOnceAsForWhatIsNotThere) {
  SweepCalls(false, platform::kErrorFileNotFound);
}

TEST(AnalyzerSweep, EachCallFailsForEverAsForWhatIsNotThere) {
  SweepCalls(true, platform::kErrorFileNotFound);
}

void SweepAllocations(bool persistent) {
  if (!HeapFaults::Work()) GTEST_SKIP() << "the heap of this build cannot fail";
  unsigned nth = 0;
  for (bool failed = true; failed && !::testing::Test::HasFailure(); failed = failed && nth < 100'000) {
    ++nth;
    SCOPED_TRACE(nth);
    SweptDumps machine(Newest::kSmall);
    {
      const HeapFaults faults(nth, persistent);
      machine.FirstRun();
      failed = faults.failed();
    }
    machine.ExpectNothingHeld();
    machine.ExpectTheNextRunsAsTheModelSays();
  }
  EXPECT_GT(nth, 500u);
}

TEST(AnalyzerSweep, EachAllocationFailsOnce) {
  SweepAllocations(false);
}

TEST(AnalyzerSweep, EachAllocationFailsForEver) {
  SweepAllocations(true);
}

}  // namespace
}  // namespace varnel::testing

#include "tests/faults/known_outcomes.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <string>

namespace varnel::testing {
namespace {

using Mode = SweepPlan::Mode;

constexpr int kReturned = 70;
constexpr int kWaitedForEver = 71;
constexpr int kSpun = 72;
constexpr int kUsedFreedMemory = 73;

int ExitCodeOf(KnownEnd end) {
  switch (end) {
    case KnownEnd::kWaitsForEver:
      return kWaitedForEver;
    case KnownEnd::kSpins:
      return kSpun;
    case KnownEnd::kReadsFreedMemory:
      return kUsedFreedMemory;
  }
  return 0;
}

/// Says how far start or stop came.
void TellWhere(const SweptMachine& machine) {
  CallSite last;
  for (const CallSite& site : machine.plan.Sites()) {
    if (site.caller == "start" || site.caller == "stop") last = site;
  }
  std::ostringstream text;
  text << "came to " << last << ".";
  std::fprintf(stderr, "%s\n", text.str().c_str());
}

/// Ends the process in each case.
[[noreturn]] void RunToItsEnd(const KnownOutcome& known, SessionKind session, const CallSite& site, Mode mode) {
  SweptMachine machine;
  const auto end_with = [&machine](int code) {
    return [&machine, code] {
      TellWhere(machine);
      _exit(code);
    };
  };
  machine.platform.time.OnDeadlock(end_with(kWaitedForEver));
  machine.platform.time.OnSpin(end_with(kSpun));
  if (known.end == KnownEnd::kReadsFreedMemory) machine.system().WatchFreedConsumers(kUsedFreedMemory);
  SetUpTraces(&machine, session);
  machine.plan.Arm(site, mode, kFaultCode);
  if (known.scene == KnownScene::kManifestsFail) machine.plan.FailForEver("TdhLoadManifest", kFaultCode);
  TraceOutcome outcome;
  if (known.scene == KnownScene::kSlowHost) {
    StopUnderASlowHost(&machine);
  } else {
    RunTraces(&machine, &outcome);
  }
  TellWhere(machine);
  machine.Run();
  _exit(kReturned);
}

/// The sites of an unharmed run that an entry covers.
std::vector<CallSite> SitesOf(const KnownOutcome& known, SessionKind session) {
  SweptMachine machine;
  TraceOutcome outcome;
  SetUpTraces(&machine, session);
  RunTraces(&machine, &outcome);
  std::vector<CallSite> sites;
  for (const CallSite& site : machine.plan.Sites()) {
    const bool covered = site.caller == known.caller && site.operation == known.operation && site.nth >= known.first &&
                         site.nth <= known.last;
    if (covered) sites.push_back(site);
  }
  return sites;
}

class KnownOutcomeTest : public ::testing::TestWithParam<KnownOutcome> {
 protected:
  KnownOutcomeTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  void ExpectIn(SessionKind session);
};

void KnownOutcomeTest::ExpectIn(SessionKind session) {
  const KnownOutcome& known = GetParam();
  const std::vector<CallSite> sites = SitesOf(known, session);
  EXPECT_FALSE(sites.empty());
  const std::string where = std::string("came to ") + known.where + "\\.";
  for (const CallSite& site : sites) {
    for (const Mode mode : {Mode::kOnce, Mode::kForEver}) {
      if (mode == Mode::kOnce ? !known.once : !known.for_ever) continue;
      SCOPED_TRACE(::testing::Message() << site << (mode == Mode::kOnce ? " once" : " for ever"));
      EXPECT_EXIT(RunToItsEnd(known, session, site, mode), ::testing::ExitedWithCode(ExitCodeOf(known.end)), where);
    }
  }
}

TEST_P(KnownOutcomeTest, IsExactlyWhatTheListSays) {
  ExpectIn(SessionKind::kTemporary);
}

TEST_P(KnownOutcomeTest, IsTheSameWithTheAutoLoggersSession) {
  ExpectIn(SessionKind::kAutoLogger);
}

INSTANTIATE_TEST_SUITE_P(List, KnownOutcomeTest, ::testing::ValuesIn(KnownOutcomes().begin(), KnownOutcomes().end()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace varnel::testing

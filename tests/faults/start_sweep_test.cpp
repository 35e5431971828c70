// Start, run and stop with each of their platform calls failing once, and from then on for ever. VARNEL_SWEEP_STEP=N,
// for where threads are dear, lets only each N-th of them fail.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <sstream>

#include "tests/faults/known_outcomes.h"
#include "tests/faults/trace_expectations.h"
#include "tests/support/cjson_faults.h"

namespace varnel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAreArray;
using Lines = TraceExpectation::Lines;
using Mode = SweepPlan::Mode;

std::vector<std::string> Of(char module, const std::vector<std::string>& events) {
  std::vector<std::string> own;
  std::copy_if(events.begin(), events.end(), std::back_inserter(own),
               [&](const std::string& event) { return event.front() == module; });
  return own;
}

std::vector<std::string> Sorted(std::vector<std::string> lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::vector<std::string> NewLines(const TraceOutcome& outcome, const TraceOutcome& unharmed) {
  const std::vector<std::string> now = Sorted(outcome.lines);
  const std::vector<std::string> before = Sorted(unharmed.lines);
  std::vector<std::string> added;
  std::set_difference(now.begin(), now.end(), before.begin(), before.end(), std::back_inserter(added));
  return added;
}

/// Each begins with its time in brackets; the JSON within one does not.
std::size_t LinesIn(const std::string& log_file) {
  std::size_t lines = log_file.starts_with('[') ? 1 : 0;
  for (std::size_t at = log_file.find("\n["); at != std::string::npos; at = log_file.find("\n[", at + 1)) ++lines;
  return lines;
}

/// A hang that is not on the list ends the program, with the call that caused it.
void TellHang(const TraceFault& fault, const char* how) {
  std::ostringstream text;
  text << fault.site;
  std::fprintf(stderr, "%s, %s: %s\n", text.str().c_str(), fault.mode == Mode::kOnce ? "once" : "for ever", how);
  std::abort();
}

std::size_t SweepStep() {
  const char* const text = std::getenv("VARNEL_SWEEP_STEP");
  const unsigned long step = text == nullptr ? 1 : std::strtoul(text, nullptr, 10);
  return step == 0 ? 1 : step;
}

class StartSweep : public ::testing::TestWithParam<SessionKind> {
 protected:
  StartSweep() {
    SweptMachine machine;
    SetUpTraces(&machine, GetParam());
    RunTraces(&machine, &unharmed_);
    order_ = machine.plan.Sites();
    std::erase_if(order_, [](const CallSite& site) { return site.caller.starts_with("test"); });
  }

  static void SetUpTestSuite() {
    if (SweepStep() == 1) return;
    std::printf(
        "not checkable here: Sessions/StartSweep.*: each %zuth failing call alone, since all would take minutes\n",
        SweepStep());
  }

  void Sweep(Mode mode, const std::function<bool(const CallSite&)>& wanted);
  void Check(const TraceFault& fault);
  void CheckRun(const TraceExpectation& expected, const TraceOutcome& outcome, const SweepPlan& plan);

  static void CheckCrash(TraceExpectation::Crash expected, const TraceOutcome& outcome);
  void CheckLogFile(const CallSite& site, const TraceOutcome& outcome) const;

  TraceOutcome unharmed_;
  std::vector<CallSite> order_;
};

void StartSweep::Sweep(Mode mode, const std::function<bool(const CallSite&)>& wanted) {
  const std::size_t step = SweepStep();
  // Sweeps that pass over some calls do not all pass over the same ones.
  const auto sweep = static_cast<std::size_t>(GetParam()) * 2 + static_cast<std::size_t>(mode);
  std::size_t place = sweep * step / 4;
  unsigned runs = 0;
  for (const CallSite& site : order_) {
    const TraceFault fault{GetParam(), site, mode};
    if (!wanted(site) || !CanFail(site.operation) || FindKnownOutcome(fault) != nullptr) continue;
    if (++place % step != 0) continue;
    Check(fault);
    ++runs;
  }
  EXPECT_GT(runs, 0u);
  RecordProperty("runs", static_cast<int>(runs));
}

void StartSweep::Check(const TraceFault& fault) {
  std::ostringstream trace;
  trace << fault.site << (fault.mode == Mode::kOnce ? " once" : " for ever");
  SCOPED_TRACE(trace.str());
  TraceOutcome outcome;
  SweptMachine machine;
  machine.platform.time.OnDeadlock([fault] { TellHang(fault, "all wait for ever"); });
  machine.platform.time.OnSpin([fault] { TellHang(fault, "spins"); });
  SetUpTraces(&machine, fault.session);
  machine.plan.Arm(fault.site, fault.mode, kFaultCode);
  RunTraces(&machine, &outcome);
  EXPECT_TRUE(machine.plan.hit());
  machine.plan.Disarm();
  RunAgain(&machine, &outcome);
  CheckRun(ExpectTraces(fault, order_), outcome, machine.plan);
  if (fault.site.IsLog() && fault.mode == Mode::kOnce) CheckLogFile(fault.site, outcome);
}

void StartSweep::CheckRun(const TraceExpectation& expected, const TraceOutcome& outcome, const SweepPlan& plan) {
  EXPECT_EQ(outcome.start, expected.start);
  EXPECT_EQ(outcome.stop, expected.start == 0 ? 0u : 31u);
  for (const char module : {'A', 'B'}) {
    std::vector<std::string> wanted = Of(module, unharmed_.delivered);
    std::erase_if(wanted, [&](const std::string& event) { return expected.lost.contains(event); });
    EXPECT_EQ(Of(module, outcome.delivered), wanted);
    if (wanted.empty() || !expected.positions_stored) continue;
    EXPECT_GE(outcome.left.at(module).position, TimeOf(wanted.back()));
  }
  if (expected.lines == Lines::kSame) {
    EXPECT_EQ(Sorted(outcome.lines), Sorted(unharmed_.lines));
  }
  if (expected.lines == Lines::kFewer) {
    EXPECT_THAT(NewLines(outcome, unharmed_), ::testing::IsEmpty());
  }
  for (const std::string& line : expected.told) {
    EXPECT_THAT(NewLines(outcome, unharmed_), ::testing::Contains(HasSubstr(line)));
  }
  CheckCrash(expected.crash, outcome);
  EXPECT_EQ(outcome.open.log_handles, plan.FailuresOf("EvtClose"));
  const unsigned unclosed = plan.FailuresOf("CloseHandle") + plan.FailuresOf("FindClose");
  EXPECT_EQ(outcome.open.handles, expected.done_events + unclosed);
  EXPECT_EQ(outcome.open.keys, plan.FailuresOf("RegCloseKey"));
  EXPECT_EQ(outcome.open.traces, plan.FailuresOf("CloseTrace"));
  EXPECT_EQ(outcome.open.heap_blocks, 0);
  // Whatever failed, the next start is whole.
  EXPECT_EQ(outcome.second_start, 0u);
  EXPECT_EQ(outcome.second_stop, 0u);
  unsigned taken_along = 0;
  for (const char module : {'A', 'B'}) {
    const SecondRun second = ExpectSecondRun(module, outcome.left.at(module));
    EXPECT_EQ(Of(module, outcome.delivered_later), second.delivered);
    taken_along += second.taken_along;
  }
  EXPECT_EQ(outcome.open_later.heap_blocks, static_cast<int>(taken_along));
  EXPECT_EQ(outcome.intended_leaks, taken_along);
}

void StartSweep::CheckCrash(TraceExpectation::Crash expected, const TraceOutcome& outcome) {
  using Crash = TraceExpectation::Crash;
  if (expected == Crash::kAtMostOnce) {
    EXPECT_LE(outcome.crashes + outcome.crashes_later, 1u);
    return;
  }
  EXPECT_EQ(outcome.crashes, expected == Crash::kTold || expected == Crash::kToldTwice ? 1u : 0u);
  EXPECT_EQ(outcome.crashes_later, expected == Crash::kToldLater || expected == Crash::kToldTwice ? 1u : 0u);
}

/// A line whose time can't be told has zeros there; one that can't be converted or written is lost, alone.
void StartSweep::CheckLogFile(const CallSite& site, const TraceOutcome& outcome) const {
  const bool tells_time =
      site.operation == "FileTimeToSystemTime" || site.operation == "SystemTimeToTzSpecificLocalTime";
  EXPECT_EQ(LinesIn(outcome.log_file), LinesIn(unharmed_.log_file) - (tells_time ? 0 : 1));
  const bool has_zeros = outcome.log_file.find("[000000-00:00:00.00] ") != std::string::npos;
  EXPECT_EQ(has_zeros, tells_time);
}

INSTANTIATE_TEST_SUITE_P(Sessions, StartSweep, ::testing::Values(SessionKind::kTemporary, SessionKind::kAutoLogger),
                         [](const auto& info) {
                           return info.param == SessionKind::kTemporary ? "Temporary" : "AutoLogger";
                         });

TEST_P(StartSweep, OnceInStart) {
  Sweep(Mode::kOnce, [](const CallSite& site) { return site.caller == "start"; });
}
TEST_P(StartSweep, OnceInThreads) {
  Sweep(Mode::kOnce, [](const CallSite& site) { return !site.IsLog() && site.caller != "start"; });
}
TEST_P(StartSweep, ForEverFromStart) {
  Sweep(Mode::kForEver, [](const CallSite& site) { return site.caller == "start"; });
}
TEST_P(StartSweep, ForEverInThreads) {
  Sweep(Mode::kForEver, [](const CallSite& site) { return !site.IsLog() && site.caller != "start"; });
}

TEST_P(StartSweep, OnceInALineOfTheLog) {
  Sweep(Mode::kOnce, [](const CallSite& site) { return site.IsLog(); });
}
TEST_P(StartSweep, ForEverFromALineOfTheLog) {
  Sweep(Mode::kForEver, [](const CallSite& site) { return site.IsLog(); });
}

}  // namespace
}  // namespace varnel::testing

// Allocations of cJSON fail while events are decoded: the first, the second and so on, each alone and with all behind
// it. (Those of the process heap are platform calls and fail in the other sweeps.)
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/faults/trace_scenario.h"
#include "tests/support/cjson_faults.h"

namespace varnel::testing {
namespace {

constexpr std::size_t kEvents = 7;

/// A reading of a trace, by its thread and its place among that thread's readings.
struct Reading {
  const char* name;
  const char* thread;
  unsigned nth;
};
constexpr Reading kReadings[] = {{"TempFile", "leak", 1}, {"AutoLoggerFile", "leak", 2}, {"Live", "live", 1}};

struct Fault {
  unsigned nth;
  bool persistent;
};

struct Result {
  TraceOutcome outcome;
  std::vector<std::string> texts;  // of the first start
  bool failed = false;
};

Result RunUnder(const Reading& reading, const Fault& fault) {
  Result result;
  SweptMachine machine;
  SetUpTraces(&machine, SessionKind::kTemporary);
  unsigned readings = 0;
  machine.trace().around_processing = [&](const std::function<std::uint32_t()>& process) {
    if (CallerName() != reading.thread || ++readings != reading.nth) return process();
    const CJsonAllocationFaults faults(fault.nth, fault.persistent);
    const std::uint32_t code = process();
    result.failed = faults.failed();
    return code;
  };
  RunTraces(&machine, &result.outcome);
  result.texts = machine.host.Texts();
  machine.trace().around_processing = nullptr;
  RunAgain(&machine, &result.outcome);
  return result;
}

struct DeleteJson {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};

/// Whether a text is a JSON object whose fields all stand, with the same values, in the other one.
bool IsPartOf(const std::string& text, const std::string& whole) {
  const std::unique_ptr<cJSON, DeleteJson> part(cJSON_Parse(text.c_str()));
  const std::unique_ptr<cJSON, DeleteJson> all(cJSON_Parse(whole.c_str()));
  if (!cJSON_IsObject(part.get())) return false;
  for (const cJSON* field = part->child; field != nullptr; field = field->next) {
    const cJSON* const same = cJSON_GetObjectItemCaseSensitive(all.get(), field->string);
    if (same == nullptr || !cJSON_Compare(field, same, true)) return false;
  }
  return true;
}

bool IsPartOfAny(const std::string& text, const std::vector<std::string>& wholes) {
  return std::any_of(wholes.begin(), wholes.end(), [&](const std::string& whole) { return IsPartOf(text, whole); });
}

class AllocationSweep : public ::testing::TestWithParam<Reading> {
 protected:
  AllocationSweep() : unharmed_(RunUnder(GetParam(), {0, false})) { EXPECT_EQ(unharmed_.texts.size(), kEvents); }

  void Sweep(bool persistent);
  void Check(const Result& result, bool persistent) const;

  Result unharmed_;
};

void AllocationSweep::Sweep(bool persistent) {
  const long blocks = CJsonBlocks();
  unsigned nth = 1;
  for (;; ++nth) {
    SCOPED_TRACE(nth);
    const Result result = RunUnder(GetParam(), {nth, persistent});
    if (!result.failed) break;
    Check(result, persistent);
    EXPECT_EQ(CJsonBlocks(), blocks);
  }
  EXPECT_GT(nth, 4u) << "an object and a text for each of two events";
}

void AllocationSweep::Check(const Result& result, bool persistent) const {
  const TraceOutcome& outcome = result.outcome;
  EXPECT_EQ(outcome.start, 0u);
  EXPECT_EQ(outcome.stop, 0u);
  const auto dropped = static_cast<std::size_t>(std::count(
      outcome.lines.begin(), outcome.lines.end(), "EventRecordCallback call ConvertEtwEventToRawEvent failed(0xE)."));
  EXPECT_EQ(result.texts.size() + dropped, kEvents) << "an event is delivered, or dropped with a line";
  std::size_t short_of_fields = 0;
  for (const std::string& text : result.texts) {
    const auto same = std::find(unharmed_.texts.begin(), unharmed_.texts.end(), text);
    if (same != unharmed_.texts.end()) continue;
    ++short_of_fields;
    EXPECT_TRUE(IsPartOfAny(text, unharmed_.texts)) << text;
  }
  if (!persistent) {
    EXPECT_EQ(dropped + short_of_fields, 1u);
  }
  EXPECT_EQ(outcome.open.heap_blocks, 0);
  EXPECT_EQ(outcome.second_start, 0u);
  EXPECT_EQ(outcome.second_stop, 0u);
}

TEST_P(AllocationSweep, EachAloneCostsAFieldOrTheEvent) {
  Sweep(false);
}

TEST_P(AllocationSweep, AllFromOneOnCostTheEventsBehindIt) {
  Sweep(true);
}

INSTANTIATE_TEST_SUITE_P(Readings, AllocationSweep, ::testing::ValuesIn(kReadings),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace varnel::testing

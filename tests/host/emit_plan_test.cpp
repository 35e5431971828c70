#include "host/emit_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace varnel::host {
namespace {

using Counter = EmitStep::Counter;
using testing::ElementsAre;

std::vector<EmitStep> All(const EmitOptions& options) {
  EmitPlan plan(options, "Sample");
  std::vector<EmitStep> steps;
  for (EmitStep step; plan.Next(&step);) steps.push_back(step);
  return steps;
}

std::vector<Counter> Counters(const EmitOptions& options) {
  std::vector<Counter> counters;
  for (const EmitStep& step : All(options)) counters.push_back(step.counter);
  return counters;
}

TEST(EmitPlan, NumbersItsEventsAndNamesTheProvider) {
  const auto steps = All({.count = 2, .first_number = 41});
  ASSERT_EQ(steps.size(), 2u);
  EXPECT_EQ(steps[0].text, "#41 Sample");
  EXPECT_EQ(steps[1].text, "#42 Sample");
  EXPECT_EQ(steps[1].number, 42u);
}

TEST(EmitPlan, LeavesACounterOutBeforeEachNthEvent) {
  EXPECT_THAT(Counters({.count = 4, .gap_every = 2}),
              ElementsAre(Counter::kNext, Counter::kLeaveOneOut, Counter::kNext, Counter::kLeaveOneOut));
}

TEST(EmitPlan, WritesEachNthEventTwice) {
  const auto steps = All({.count = 2, .repeat_every = 1});
  ASSERT_EQ(steps.size(), 4u);
  EXPECT_EQ(steps[1].counter, Counter::kSameAgain);
  EXPECT_EQ(steps[1].text, steps[0].text);
  EXPECT_EQ(steps[2].counter, Counter::kNext);
  EXPECT_EQ(steps[2].number, 2u);
}

TEST(EmitPlan, BeginsTheCounterAnewBeforeEachNthEvent) {
  EXPECT_THAT(Counters({.count = 3, .gap_every = 3, .restart_every = 3}),
              ElementsAre(Counter::kNext, Counter::kNext, Counter::kBeginAnew));
}

TEST(EmitPlan, TakesKeywordsAndTemplatesInTurn) {
  const auto steps =
      All({.count = 3, .keywords = {0x80, 0x100}, .templates = {EmitTemplate::kWide, EmitTemplate::kBinary}});
  EXPECT_EQ(steps[0].keyword, 0x80u);
  EXPECT_EQ(steps[1].keyword, 0x100u);
  EXPECT_EQ(steps[2].keyword, 0x80u);
  EXPECT_EQ(steps[1].kind, EmitTemplate::kBinary);
  EXPECT_EQ(steps[2].kind, EmitTemplate::kWide);
}

TEST(EmitPlan, TextsHaveSizesWithinTheBoundsButRoomForTheirNumber) {
  for (const EmitStep& step : All({.count = 200, .min_size = 20, .max_size = 30})) {
    EXPECT_GE(step.text.size(), 20u);
    EXPECT_LE(step.text.size(), 30u);
  }
  EXPECT_EQ(All({.count = 1, .min_size = 3, .max_size = 3}).front().text, "#1 Sample");
}

TEST(EmitPlan, OnePlanIsTheSameEachTime) {
  const EmitOptions options{.count = 50, .min_size = 10, .max_size = 400, .seed = 7};
  const auto one = All(options);
  const auto two = All(options);
  EXPECT_TRUE(std::equal(one.begin(), one.end(), two.begin(), two.end(),
                         [](const EmitStep& a, const EmitStep& b) { return a.text == b.text; }));
}

TEST(RunningNumber, IsFoundInEachTemplate) {
  EXPECT_EQ(RunningNumber(R"({"AdditionalMsgAnsi":"#17 Sample"})"), 17u);
  EXPECT_EQ(RunningNumber(R"({"AdditionalMsgWide":"#18 Sample"})"), 18u);
  EXPECT_EQ(RunningNumber(R"({"BinaryCount":"0x3","AdditionalBinary":"0x23, 0x31, 0x39"})"), 19u);
}

TEST(RunningNumber, IsZeroForATextThatCarriesNone) {
  EXPECT_EQ(RunningNumber(R"({"AdditionalMsgAnsi":"hello"})"), 0u);
  EXPECT_EQ(RunningNumber("{}"), 0u);
  EXPECT_EQ(RunningNumber(R"({"AdditionalBinary":""})"), 0u);
}

}  // namespace
}  // namespace varnel::host

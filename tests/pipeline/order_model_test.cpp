#include "tests/pipeline/order_model.h"

#include <gtest/gtest.h>

#include <vector>

namespace varnel::testing {
namespace {

using Fate = ModelLook::Fate;

std::vector<std::uint64_t> TimesOf(const OrderModel& model) {
  std::vector<std::uint64_t> times;
  for (const ModelEvent& event : model.queue()) times.push_back(event.time_stamp);
  return times;
}

TEST(OrderModel, AnEarlierEventLandsBehindTheFirstLaterOne) {
  OrderModel model;
  for (std::uint64_t time : {5, 7, 9, 6}) model.Insert({time, 1, false, time});
  EXPECT_EQ(TimesOf(model), (std::vector<std::uint64_t>{5, 7, 6, 9}));
}

TEST(OrderModel, ARepeatTakesTheEventBehindItAlong) {
  OrderModel model(100, 4);
  model.Insert({100, 4, false, 1});
  model.Insert({100, 5, false, 2});
  const ModelLook look = model.Look(0);
  EXPECT_EQ(look.fate, Fate::kDestroyed);
  ASSERT_TRUE(look.abandoned.has_value());
  EXPECT_EQ(look.abandoned->id, 2u);
  EXPECT_TRUE(model.queue().empty());
  EXPECT_EQ(model.counter(), 4u);
}

TEST(OrderModel, ALaterEventWithAGapWaitsTenTimesAndIsThenDelivered) {
  OrderModel model(100, 4);
  model.Insert({200, 9, false, 1});
  EXPECT_EQ(model.Look(9).fate, Fate::kWaits);
  EXPECT_EQ(model.Look(10).fate, Fate::kDelivered);
  EXPECT_EQ(model.counter(), 9u);
  EXPECT_EQ(model.time_stamp(), 200u);
}

TEST(OrderModel, CountersBelowTheCurrentOneAreInvalidInTheFirstQuarter) {
  EXPECT_EQ(AgeOf(0x10, 0x05), ModelAge::kInvalid);
  EXPECT_EQ(AgeOf(0x50000000, 0x40000000), ModelAge::kOld);
  EXPECT_EQ(AgeOf(0xFFFFFFFF, 0), ModelAge::kInvalid);
  EXPECT_EQ(AgeOf(0xFFFFFFF0, 5), ModelAge::kNew);
}

}  // namespace
}  // namespace varnel::testing

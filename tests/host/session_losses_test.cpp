#include "host/session_losses.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

TEST(SessionLosses, ARunIsChargedOnlyWithWhatWasLostDuringIt) {
  EXPECT_EQ(LostBetween({{"a", {5, 2}}}, {{"a", {9, 2}}}), (SessionLosses{4, 0}));
}

TEST(SessionLosses, ASessionThatBeganDuringTheRunCountsWhole) {
  EXPECT_EQ(LostBetween({{"a", {5, 2}}}, {{"a", {5, 3}}, {"b", {1, 1}}}), (SessionLosses{1, 2}));
}

TEST(SessionLosses, ASessionThatEndedDuringTheRunCountsNothing) {
  EXPECT_EQ(LostBetween({{"a", {5, 2}}}, {}), (SessionLosses{0, 0}));
}

}  // namespace
}  // namespace varnel::host

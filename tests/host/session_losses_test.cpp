#include "host/session_losses.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

TEST(SessionLosses, ARunIsChargedOnlyWithWhatWasLostDuringIt) {
  EXPECT_EQ(LostBetween({{1, {5, 2}}}, {{1, {9, 2}}}), (SessionLosses{4, 0}));
}

TEST(SessionLosses, ASessionThatBeganDuringTheRunCountsWhole) {
  EXPECT_EQ(LostBetween({{1, {5, 2}}}, {{1, {5, 3}}, {2, {1, 1}}}), (SessionLosses{1, 2}));
}

TEST(SessionLosses, ASessionThatEndedDuringTheRunCountsNothing) {
  EXPECT_EQ(LostBetween({{1, {5, 2}}}, {}), (SessionLosses{0, 0}));
}

}  // namespace
}  // namespace varnel::host

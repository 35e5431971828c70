#include "pipeline/relaxed.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace varnel {
namespace {

TEST(Relaxed, StartsAtZeroAndReadsWhatWasWritten) {
  Relaxed<std::uint32_t> field;
  EXPECT_EQ(field, 0u);
  field = 7;
  EXPECT_EQ(field.get(), 7u);
}

TEST(Relaxed, ExchangeGivesTheOldValue) {
  Relaxed<std::uint32_t> field(3);
  EXPECT_EQ(field.Exchange(1), 3u);
  EXPECT_EQ(field, 1u);
}

TEST(Relaxed, AddGivesTheNewValueAndWraps) {
  Relaxed<std::uint32_t> field(1);
  EXPECT_EQ(field.Add(1), 2u);
  EXPECT_EQ(field.Add(~0u), 1u);
}

}  // namespace
}  // namespace varnel

#include "platform/embedded/ring/processor_speed.h"

#include <gtest/gtest.h>

namespace {

using varnel::embedded::ring::MegahertzIn;
using varnel::embedded::ring::ProcessorMegahertz;

TEST(ProcessorSpeed, IsNeverZero) {
  EXPECT_GT(ProcessorMegahertz(), 0u);
}

TEST(ProcessorSpeed, IsThatOfTheFirstProcessorInWholeMegahertz) {
  EXPECT_EQ(MegahertzIn("model name\t: x\ncpu MHz\t\t: 2596.996\ncache\ncpu MHz\t\t: 800.0\n"), 2596u);
  EXPECT_EQ(MegahertzIn("cpu MHz : 3000"), 3000u);
}

TEST(ProcessorSpeed, IsNotToldByATextWithoutItOrWithNonsense) {
  for (const char* text : {"", "processor\t: 0\nBogoMIPS\t: 50.00\n", "cpu MHz", "cpu MHz\t: unknown\n",
                           "cpu MHz\t: 0.000\n", "cpu MHz\t: -5\n", "cpu MHz\t: 99999999999\n", "cpu MHz\t: nan\n"}) {
    EXPECT_EQ(MegahertzIn(text), 0u) << text;
  }
}

}  // namespace

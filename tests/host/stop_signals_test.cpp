#include "host/stop_signals.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

using namespace std::chrono_literals;

TEST(StopSignals, WithoutASignalAWaitRunsOut) {
  const StopSignals signals;
  EXPECT_FALSE(signals.WaitFor(1ms));
  EXPECT_FALSE(signals.WaitFor(0ms));
}

TEST(StopSignals, CanBeHadAgain) {
  for (int i = 0; i < 3; ++i) {
    const StopSignals signals;
    EXPECT_FALSE(signals.WaitFor(0ms));
  }
}

}  // namespace
}  // namespace varnel::host

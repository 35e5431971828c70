// The signals themselves.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "host/stop_signals.h"

namespace varnel::host {
namespace {

using namespace std::chrono_literals;

TEST(StopSignals, ASignalBeforeTheWaitIsSeenAndStaysSeen) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const StopSignals signals;
    ::raise(signal);
    EXPECT_TRUE(signals.WaitFor(1h));
    EXPECT_TRUE(signals.WaitFor(0ms));
  }
}

TEST(StopSignals, TheHandlersBeforeComeBack) {
  struct sigaction before {};
  struct sigaction after {};
  ::sigaction(SIGTERM, nullptr, &before);
  { const StopSignals signals; }
  ::sigaction(SIGTERM, nullptr, &after);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
}

TEST(StopSignalsDeathTest, ASecondSignalEndsTheProcessAtOnceWithTheShellsCode) {
  const auto twice = [](int signal) {
    const StopSignals signals;
    ::raise(signal);
    ::raise(signal);
    ::_exit(0);
  };
  EXPECT_EXIT(twice(SIGINT), testing::ExitedWithCode(128 + SIGINT), "");
  EXPECT_EXIT(twice(SIGTERM), testing::ExitedWithCode(128 + SIGTERM), "");
}

}  // namespace
}  // namespace varnel::host

#include "crash/bsod_check_thread.h"

#include <gtest/gtest.h>

#include "pipeline/consumer_table.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

TEST(BsodCheckThread, SignalsBothDoneEventsAndEndsWith0) {
  testing::ScriptedPlatform platform;
  ConsumerTable table{};
  table.NoSymbolDoneEvent = platform.threads.CreateEventW(true, false);
  table.WithSymbolDoneEvent = platform.threads.CreateEventW(true, false);
  EXPECT_EQ(BSODCheckThread(&table), 0u);
  EXPECT_EQ(platform.threads.WaitForSingleObject(table.NoSymbolDoneEvent, 0), platform::kWaitObject0);
  EXPECT_EQ(platform.threads.WaitForSingleObject(table.WithSymbolDoneEvent, 0), platform::kWaitObject0);
}

}  // namespace
}  // namespace varnel

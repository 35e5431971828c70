#include "tool/module_counters.h"

#include <gtest/gtest.h>

namespace varnel {
namespace {

TEST(ModuleCounters, WrapWithoutAFloor) {
  const std::uint32_t before = g_dwServerLocks;
  g_dwServerLocks = 0;
  --g_dwServerLocks;
  EXPECT_EQ(g_dwServerLocks, 0xFFFFFFFFu);
  ++g_dwServerLocks;
  EXPECT_EQ(g_dwServerLocks, 0u);
  g_dwServerLocks = before;
}

}  // namespace
}  // namespace varnel

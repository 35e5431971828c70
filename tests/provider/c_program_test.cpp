// The provider library in a C program of its own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/trace_fixture.h"

namespace {

using varnel::testing::kTestProvider;
using varnel::testing::ReadTraceFile;
using varnel::testing::TraceMachine;

TEST(CProgramTest, WritesItsThreeEventsThroughTheSharedLibrary) {
  const TraceMachine machine;
  const auto session = machine.Start(machine.Parameters("s"));
  machine.Enable(*session, kTestProvider);
  const std::string command = std::string(VARNEL_C_PROGRAM) + " " + machine.root();
  EXPECT_EQ(std::system(command.c_str()), 0);
  machine.Store().Stop(*session);
  const auto file = ReadTraceFile(machine.FilePath("s.etl"));
  ASSERT_EQ(file.events.size(), 3u);
  for (std::uint16_t i = 0; i < 3; ++i) {
    EXPECT_EQ(file.events[i].id, i + 1);
    EXPECT_EQ(file.events[i].U32(0), i + 1u);
  }
}

}  // namespace

#include "host/report.h"

#include <gtest/gtest.h>

#include "host/exit_code.h"

namespace varnel::host {
namespace {

TEST(Report, ALineBeginsWithTheCommandsName) {
  SetCommandName("wardlet run");
  testing::internal::CaptureStderr();
  Tell("so it is");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "wardlet run: so it is\n");
  EXPECT_EQ(CommandName(), "wardlet run");
}

TEST(Report, AFailureIsToldAndGivesItsExitCode) {
  SetCommandName("wardlet");
  testing::internal::CaptureStderr();
  EXPECT_EQ(Fail("no"), kExitFailed);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "wardlet: no\n");
}

}  // namespace
}  // namespace varnel::host

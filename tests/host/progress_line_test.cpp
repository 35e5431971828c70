#include "host/progress_line.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

using namespace std::chrono_literals;

TEST(ProgressLine, ShowsNothingWhereStandardErrorIsNoTerminal) {
  testing::internal::CaptureStderr();
  {
    ProgressLine line(true);
    line.Show(5, 1s);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace varnel::host

#include "base/status.h"

#include <gtest/gtest.h>

namespace varnel {
namespace {

TEST(Status, APositiveErrorBecomesAnHresultByItsLowHalf) {
  EXPECT_EQ(HresultFromWin32(1223), 0x800704C7u);
  EXPECT_EQ(HresultFromWin32(258), 0x80070102u);
  EXPECT_EQ(HresultFromWin32(122), kStatusInsufficientBuffer);
  EXPECT_EQ(HresultFromWin32(0x12345), 0x80072345u);
}

TEST(Status, ZeroAndNegativeValuesStayAsTheyAre) {
  EXPECT_EQ(HresultFromWin32(0), 0u);
  EXPECT_EQ(HresultFromWin32(0x80004005), 0x80004005u);
  EXPECT_EQ(HresultFromWin32(0xFFFFFFFF), 0xFFFFFFFFu);
}

}  // namespace
}  // namespace varnel

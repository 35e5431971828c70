#include "formats/bugcheck_names.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

TEST(BugCheckName, IsThePublicNameOfACode) {
  EXPECT_EQ(BugCheckName(0x1), "APC_INDEX_MISMATCH");
  EXPECT_EQ(BugCheckName(0xA), "IRQL_NOT_LESS_OR_EQUAL");
  EXPECT_EQ(BugCheckName(0xDF), "IMPERSONATING_WORKER_THREAD");
  EXPECT_EQ(BugCheckName(0x133), "DPC_WATCHDOG_VIOLATION");
  EXPECT_EQ(BugCheckName(0xDEADDEAD), "MANUALLY_INITIATED_CRASH1");
}

TEST(BugCheckName, IsKnownForLiveDumpsToo) {
  EXPECT_EQ(BugCheckName(0x161), "LIVE_SYSTEM_DUMP");
  EXPECT_EQ(BugCheckName(0x1A8), "VIDEO_DXGKRNL_BLACK_SCREEN_LIVEDUMP");
  EXPECT_EQ(BugCheckName(0x21C8), "MANUALLY_INITIATED_BLACKSCREEN_HOTKEY_LIVE_DUMP");
}

TEST(BugCheckName, OfTheFormThatSmallDumpsWriteStandsByItself) {
  EXPECT_EQ(BugCheckName(0x1000007E), "SYSTEM_THREAD_EXCEPTION_NOT_HANDLED_M");
}

TEST(BugCheckName, IsEmptyForACodeWithoutOneAndForNoCode) {
  EXPECT_EQ(BugCheckName(0), "");
  EXPECT_EQ(BugCheckName(0x10001), "");
  EXPECT_EQ(BugCheckName(0xFFFFFFFF), "");
}

}  // namespace
}  // namespace varnel::formats

#include "host/dump_words.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

using formats::DumpQualifier;
using formats::DumpType;

TEST(DumpWords, NumbersHaveTheirWidth) {
  EXPECT_EQ(AddressText(0xABC), "0x0000000000000ABC");
  EXPECT_EQ(AddressText(0xFFFFF8047BA00000), "0xFFFFF8047BA00000");
  EXPECT_EQ(CodeText(0x7E), "0x0000007E");
  EXPECT_EQ(OffsetText(0), "0x0");
  EXPECT_EQ(OffsetText(0x1A4), "0x1A4");
}

TEST(DumpWords, AStopCodeOfASmallDumpHasItsOwnNameElseThatOfThePlainCode) {
  EXPECT_EQ(StopCodeName(0x7E), "SYSTEM_THREAD_EXCEPTION_NOT_HANDLED");
  EXPECT_EQ(StopCodeName(0x1000007E), "SYSTEM_THREAD_EXCEPTION_NOT_HANDLED_M");
  EXPECT_EQ(StopCodeName(0x1000000A), "IRQL_NOT_LESS_OR_EQUAL");
  EXPECT_EQ(StopCodeName(0x0F000000), std::nullopt);
}

TEST(DumpWords, AMachineWithoutAUsualNameIsItsNumber) {
  EXPECT_EQ(MachineName(0x8664), "x64");
  EXPECT_EQ(MachineName(0x14C), "x86");
  EXPECT_EQ(MachineName(0xAA64), "ARM64");
  EXPECT_EQ(MachineName(0x1234), "0x00001234");
}

TEST(DumpWords, AFormIsNamedByTheTypeAndAFilteredOneIsActive) {
  EXPECT_EQ(FormName(DumpType::kTriage, DumpQualifier::kSmall), "small");
  EXPECT_EQ(FormName(DumpType::kFull, DumpQualifier::kFull), "complete");
  EXPECT_EQ(FormName(DumpType::kBitmapFull, DumpQualifier::kFull), "complete");
  EXPECT_EQ(FormName(DumpType::kBitmapFull, DumpQualifier::kActive), "active");
  EXPECT_EQ(FormName(DumpType::kBitmapKernel, DumpQualifier::kKernel), "kernel");
  EXPECT_EQ(FormName(DumpType::kAutomatic, DumpQualifier::kKernel), "automatic");
  EXPECT_EQ(FormName(DumpType::kHeaderOnly, DumpQualifier::kKernel), "header_only");
  EXPECT_EQ(FormName(DumpType::kRangesComplete, std::nullopt), "ranges");
  EXPECT_EQ(FormName(static_cast<DumpType>(77), std::nullopt), "unknown");
}

TEST(DumpWords, ADurationIsCutToWhatIsShown) {
  EXPECT_EQ(DurationText(0), "0.000 s");
  EXPECT_EQ(DurationText(37'479'999), "3.747 s");
  EXPECT_EQ(DurationText(600'000'000), "0:01:00");
  EXPECT_EQ(DurationText(864'000'000'000 * 3 + 10'000'000ULL * (4 * 3600 + 5 * 60 + 6)), "3 d 4:05:06");
}

}  // namespace
}  // namespace varnel::host

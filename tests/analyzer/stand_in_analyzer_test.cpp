#include <gtest/gtest.h>

#include "analyzer/bsod_analyzer.h"
#include "base/status.h"

namespace varnel {
namespace {

constexpr char16_t kGuid[] = u"{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr auto kFail = static_cast<std::int32_t>(kStatusFail);

void Unexpected(std::uint8_t, const std::string&, const std::string&, void*) {
  ADD_FAILURE() << "there is nothing to report";
}

TEST(StandInAnalyzer, HasNothingToReport) {
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(StartBsodAnalyzer(Unexpected, nullptr, Unexpected, nullptr), 0);
  EXPECT_EQ(StartBsodAnalyzer(Unexpected, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(StartBsodAnalyzer(nullptr, nullptr, Unexpected, nullptr), 0);
  EXPECT_EQ(UninitBsodAnalyzer(), 0);
}

TEST(StandInAnalyzer, IsOne) {
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 1);
  EXPECT_EQ(UninitBsodAnalyzer(), 0);
  EXPECT_EQ(UninitBsodAnalyzer(), 1);
}

TEST(StandInAnalyzer, DoesNotStartWithoutACallback) {
  EXPECT_EQ(InitBsodAnalyzer(kGuid), 0);
  EXPECT_EQ(StartBsodAnalyzer(nullptr, nullptr, nullptr, nullptr), kFail);
  EXPECT_EQ(UninitBsodAnalyzer(), 0);
}

TEST(StandInAnalyzer, DoesNotStartBeforeItIsMade) {
  EXPECT_EQ(StartBsodAnalyzer(Unexpected, nullptr, Unexpected, nullptr), kFail);
}

TEST(StandInAnalyzer, RefusesAnEmptyGuid) {
  EXPECT_EQ(InitBsodAnalyzer(u""), static_cast<std::int32_t>(kStatusInvalidArgument));
  EXPECT_EQ(UninitBsodAnalyzer(), 1);
}

TEST(StandInAnalyzer, HasNoRunToStop) {
  EXPECT_EQ(StopBsodAnalyzer(~0u), 3u);
}

}  // namespace
}  // namespace varnel

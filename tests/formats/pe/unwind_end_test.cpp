#include "formats/pe/unwind_end.h"

#include <gmock/gmock.h>

#include <set>

namespace varnel::formats {
namespace {

TEST(UnwindEnd, HasWordsOfItsOwnForEachReason) {
  std::set<std::string_view> words;
  for (int end = 0; end <= static_cast<int>(UnwindEnd::kOtherMachine); ++end) {
    words.insert(Describe(static_cast<UnwindEnd>(end)));
  }
  EXPECT_EQ(words.size(), static_cast<std::size_t>(UnwindEnd::kOtherMachine) + 1);
  EXPECT_EQ(Describe(static_cast<UnwindEnd>(200)), "unknown");
}

TEST(UnwindEnd, TellsMissingDataFromAbsentAndDamagedOnes) {
  EXPECT_EQ(EndOf(PeState::kFound), UnwindEnd::kNone);
  EXPECT_EQ(EndOf(PeState::kAbsent), UnwindEnd::kNoFunction);
  EXPECT_EQ(EndOf(PeState::kMissing), UnwindEnd::kTableMissing);
  EXPECT_EQ(EndOf(PeState::kOtherKind), UnwindEnd::kUncertain);
  EXPECT_EQ(EndOf(PeState::kDamaged), UnwindEnd::kDamaged);
}

}  // namespace
}  // namespace varnel::formats

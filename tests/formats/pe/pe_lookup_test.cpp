#include "formats/pe/pe_lookup.h"

#include <gmock/gmock.h>

#include <set>

namespace varnel::formats {
namespace {

TEST(PeLookup, TellsAValueFromEachReasonForNone) {
  const PeLookup<bool> no(false);
  EXPECT_TRUE(no.found());
  EXPECT_FALSE(no.value());
  EXPECT_EQ(no.state(), PeState::kFound);
  const PeLookup<bool> missing(PeState::kMissing);
  EXPECT_FALSE(missing.found());
  EXPECT_EQ(missing.state(), PeState::kMissing);
}

TEST(PeLookup, HasWordsOfItsOwnForEachState) {
  std::set<std::string_view> words;
  for (int state = 0; state <= static_cast<int>(PeState::kOtherKind); ++state) {
    words.insert(Describe(static_cast<PeState>(state)));
  }
  EXPECT_EQ(words.size(), 8u);
  EXPECT_THAT(words, testing::Contains("a 32-bit image (PE32)"));
  EXPECT_EQ(Describe(static_cast<PeState>(99)), "unknown");
}

}  // namespace
}  // namespace varnel::formats

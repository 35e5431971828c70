#include "formats/pe/pe_functions.h"

#include "unwind_fixture.h"

namespace varnel::formats {
namespace {

class PeFunctionsTest : public UnwindFixture {
 protected:
  // Functions of 8 bytes at every 16 from 0x1000 on: room for two pages of entries and more.
  PeFunctions Many(std::uint32_t count, std::uint32_t table) {
    std::vector<std::array<std::uint32_t, 3>> entries;
    for (std::uint32_t i = 0; i < count; ++i) entries.push_back({0x1000 + 16 * i, 0x1008 + 16 * i, kUnwind});
    memory_.Put(kImage, bytes_.bytes()).Put(kImage + table, support::PeFunctionTable(entries));
    return PeFunctions(PeMemory(memory_, kImage, 0x20'0000), {table, 12 * count});
  }
};

TEST_F(PeFunctionsTest, FindsTheEntryThatHoldsAPlace) {
  for (const std::uint32_t count : {1u, 2u, 3u, 1000u}) {
    const PeFunctions functions = Many(count, 0x10'0000);
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint32_t begin = 0x1000 + 16 * i;
      ASSERT_TRUE(functions.Find(begin).found());
      EXPECT_EQ(functions.Find(begin).value().begin, begin);
      EXPECT_EQ(functions.Find(begin + 7).value().begin, begin);
      EXPECT_EQ(functions.Find(begin + 8).state(), PeState::kAbsent) << "behind its end";
    }
    EXPECT_EQ(functions.Find(0xFFF).state(), PeState::kAbsent);
    EXPECT_EQ(functions.Find(0xFFFF'FFFF).state(), PeState::kAbsent);
  }
}

TEST_F(PeFunctionsTest, FindsNothingInAnEmptyTable) {
  EXPECT_EQ(Many(0, 0x10'0000).Find(0x1000).state(), PeState::kAbsent);
}

TEST_F(PeFunctionsTest, GoesByThePagesOfTheTableThatAreInTheDump) {
  constexpr std::uint32_t kPlace = 0x10'0FF0;  // so that entries lie across pages
  constexpr std::uint32_t kCount = 1200;       // on five pages
  for (int hidden = 1; hidden < 31; ++hidden) {
    const PeFunctions functions = Many(kCount, kPlace);
    const auto page = [](std::uint32_t byte) { return ((kPlace + byte) >> 12) - (kPlace >> 12); };
    for (std::uint32_t i = 0; i < 5; ++i) {
      if ((hidden >> i & 1) != 0) memory_.Hide(kImage + (kPlace & ~0xFFFu) + 0x1000 * i, 0x1000);
    }
    for (std::uint32_t i = 0; i < kCount; i += 7) {
      const bool there = (hidden >> page(12 * i) & 1) == 0 && (hidden >> page(12 * i + 11) & 1) == 0;
      const auto found = functions.Find(0x1000 + 16 * i + 3);
      ASSERT_EQ(found.found(), there) << hidden << " " << i;
      if (!there) {
        ASSERT_EQ(found.state(), PeState::kMissing);
      } else {
        ASSERT_EQ(found.value().begin, 0x1000 + 16 * i);
      }
    }
  }
}

TEST_F(PeFunctionsTest, NeverSaysAbsentWhereAHoleMayHoldTheEntry) {
  const PeFunctions functions = Many(1000, 0x10'0000);
  memory_.Hide(kImage + 0x10'1000, 0x1000);
  EXPECT_EQ(functions.Find(0x1000 + 16 * 100 + 9).state(), PeState::kAbsent) << "between two that are there";
  EXPECT_EQ(functions.Find(0x1000 + 16 * 500 + 9).state(), PeState::kMissing);
}

TEST_F(PeFunctionsTest, EndsSoonInAHugeTableOfNothingButHoles) {
  const PeFunctions functions(PeMemory(memory_, kImage + 0x1'0000'0000, 0xFFFF'FFFF), {0x1000, 0xFFFF'0000});
  const std::uint64_t before = memory_.reads();
  EXPECT_EQ(functions.Find(0x1000).state(), PeState::kMissing);
  EXPECT_LE(memory_.reads() - before, 4096u);
}

TEST_F(PeFunctionsTest, CallsAnEntryDamagedThatLeavesTheImage) {
  Entry({0x1000, kImageSize + 1, kUnwind});
  EXPECT_EQ(Functions().Find(0x1000).state(), PeState::kDamaged);
}

TEST_F(PeFunctionsTest, FollowsAnEntryThatStandsForAnother) {
  Function(0, {});
  Entry({0x2000, 0x2010, kTable | 1});
  Entry({0x2010, 0x2020, (kTable + 12) | 1});
  const PeFunctions functions = Functions();
  const auto found = functions.Find(0x2015);
  ASSERT_TRUE(found.found());
  EXPECT_EQ(functions.Resolve(found.value()).value().begin, 0x1000u);
  EXPECT_EQ(functions.Resolve(EntryOf(0)).value().begin, 0x1000u) << "one that stands for itself";
}

TEST_F(PeFunctionsTest, CallsEntriesDamagedThatStandForEachOther) {
  Entry({0x2000, 0x2010, (kTable + 12) | 1});
  Entry({0x2010, 0x2020, kTable | 1});
  EXPECT_EQ(Functions().Resolve(EntryOf(0)).state(), PeState::kDamaged);
  EXPECT_EQ(Functions().Primary(EntryOf(0)).state(), PeState::kDamaged);
}

TEST_F(PeFunctionsTest, FindsTheBeginningOfAFunctionInParts) {
  Function(0, {});
  Function(1, {1, 4, 0, 0, 0, {}, {0x1000, 0x1100, UnwindOf(0)}});
  Function(2, {1, 4, 0, 0, 0, {}, {0x1100, 0x1200, UnwindOf(1)}});
  const PeFunctions functions = Functions();
  for (const std::uint32_t part : {0, 1, 2}) {
    EXPECT_EQ(functions.Primary(EntryOf(part)).value().begin, 0x1000u) << part;
  }
}

TEST_F(PeFunctionsTest, CallsPartsDamagedThatGoOnForEver) {
  Function(0, {1, 4, 0, 0, 0, {}, {0x1000, 0x1100, UnwindOf(0)}});
  EXPECT_EQ(Functions().Primary(EntryOf(0)).state(), PeState::kDamaged);
}

TEST_F(PeFunctionsTest, SaysMissingWhereTheWayToTheBeginningIsNotInTheDump) {
  Function(0, {1, 4, 0, 0, 0, {}, {0x1100, 0x1200, UnwindOf(1)}});
  Function(1, {});
  const PeFunctions functions = Functions();
  memory_.Hide(kImage + UnwindOf(1), 4);
  EXPECT_EQ(functions.Primary(EntryOf(0)).state(), PeState::kMissing);
}

TEST_F(PeFunctionsTest, OpensOverAnImageOfX64Alone) {
  Function(0, {});
  memory_.Put(kImage, bytes_.bytes());
  EXPECT_TRUE(PeFunctions::Open(PeImage::Open(memory_, kImage, 0).value()).found());
  memory_.Put(kImage, support::PeBytes().bytes());
  EXPECT_EQ(PeFunctions::Open(PeImage::Open(memory_, kImage, 0).value()).state(), PeState::kAbsent);
  support::PeSpec arm;
  arm.machine = 0xAA64;
  memory_.Put(kImage, support::PeBytes(arm).Directory(3, kTable, 12).bytes());
  EXPECT_EQ(PeFunctions::Open(PeImage::Open(memory_, kImage, 0).value()).state(), PeState::kOtherKind);
}

}  // namespace
}  // namespace varnel::formats

#include "formats/pe/unwind_info.h"

#include "unwind_fixture.h"

namespace varnel::formats {
namespace {

using support::UnwindSlot;

class UnwindInfoTest : public UnwindFixture {
 protected:
  PeLookup<UnwindInfo> Read(std::uint32_t rva = kUnwind) { return ReadUnwindInfo(Functions().memory(), rva); }
};

TEST_F(UnwindInfoTest, ReadsHeadAndSlots) {
  Function(
      0, {1, 3, 0x17, kRbp, 2, {UnwindSlot(0x17, 3), UnwindSlot(0x12, 1, 0), 0x40, UnwindSlot(5, 0, kRbx)}, {0x1234}});
  const auto info = Read();
  ASSERT_TRUE(info.found());
  EXPECT_EQ(info.value().version, 1);
  EXPECT_EQ(info.value().flags, 3);
  EXPECT_EQ(info.value().prolog_size, 0x17);
  EXPECT_EQ(info.value().frame_register, 5);
  EXPECT_EQ(info.value().frame_offset, 32u);
  EXPECT_EQ(info.value().count, 4);
  EXPECT_EQ(info.value().Op(1), UnwindOp::kAllocLarge);
  EXPECT_EQ(info.value().PrologOffset(1), 0x12);
  EXPECT_EQ(info.value().slots[2], 0x40);
  EXPECT_EQ(info.value().Info(3), kRbx);
  EXPECT_FALSE(info.value().chained.has_value());
}

TEST_F(UnwindInfoTest, ReadsTheEntryThatItGoesOnWithBehindAnEvenCountOfSlots) {
  for (std::uint8_t count = 0; count < 3; ++count) {
    const Slots slots(count, UnwindSlot(1, 0, kRbx));
    bytes_.Put(kUnwind, support::PeUnwindBytes({1, 4, 0, 0, 0, slots, {0x1000, 0x1080, 0x3040}}));
    const auto info = Read();
    ASSERT_TRUE(info.found());
    ASSERT_TRUE(info.value().chained.has_value());
    EXPECT_EQ(info.value().chained->begin, 0x1000u);
    EXPECT_EQ(info.value().chained->end, 0x1080u);
    EXPECT_EQ(info.value().chained->unwind_info, 0x3040u);
  }
}

TEST_F(UnwindInfoTest, RefusesVersionsThatAreNotKnown) {
  for (const std::uint8_t version : {0, 3, 4, 7}) {
    bytes_.Put(kUnwind, support::PeUnwindBytes({version, 0, 0, 0, 0, {}, {}}));
    EXPECT_EQ(Read().state(), PeState::kOtherKind) << int{version};
  }
  bytes_.Put(kUnwind, support::PeUnwindBytes({2, 0, 0, 0, 0, {}, {}}));
  EXPECT_TRUE(Read().found());
}

TEST_F(UnwindInfoTest, CallsAPlaceDamagedThatIsNoMultipleOfFourOrOutsideOfTheImage) {
  EXPECT_EQ(Read(kUnwind + 2).state(), PeState::kDamaged);
  EXPECT_EQ(Read(kImageSize).state(), PeState::kDamaged);
  EXPECT_EQ(Read(0xFFFF'FFFC).state(), PeState::kDamaged);
}

TEST_F(UnwindInfoTest, CallsSlotsAndChainsThatLeaveTheImageDamaged) {
  const std::uint32_t last = kImageSize - 8;
  bytes_.Put(last, support::PeUnwindBytes({1, 0, 0, 0, 0, {0, 0}, {}}));
  EXPECT_TRUE(Read(last).found());
  bytes_.Put(last, {std::byte{1}, std::byte{0}, std::byte{3}, std::byte{0}});
  EXPECT_EQ(Read(last).state(), PeState::kDamaged);
  bytes_.Put(last, {std::byte{0x21}, std::byte{0}, std::byte{1}, std::byte{0}});
  EXPECT_EQ(Read(last).state(), PeState::kDamaged);
}

TEST_F(UnwindInfoTest, SaysMissingWhereAnyOfItIsNotInTheDump) {
  Function(0, {1, 4, 0, 0, 0, {UnwindSlot(1, 0, kRbx)}, {0x1000, 0x1080, 0x3040}});
  for (const std::uint32_t place : {0, 4, 8, 19}) {
    (void)Functions();
    memory_.Hide(kImage + kUnwind + place, 1);
    EXPECT_EQ(ReadUnwindInfo(PeMemory(memory_, kImage, kImageSize), kUnwind).state(), PeState::kMissing) << place;
  }
}

TEST_F(UnwindInfoTest, KnowsHowManySlotsEachOperationTakes) {
  struct Row {
    std::uint8_t version, op, info;
    std::size_t slots;
  };
  const Row rows[] = {{1, 0, 15, 1}, {1, 1, 0, 2},  {1, 1, 1, 3},  {1, 1, 2, 0}, {1, 2, 15, 1},
                      {1, 3, 0, 1},  {1, 4, 3, 2},  {1, 5, 3, 3},  {1, 6, 0, 0}, {2, 6, 1, 1},
                      {1, 7, 0, 0},  {2, 7, 0, 0},  {1, 8, 6, 2},  {1, 9, 6, 3}, {1, 10, 0, 1},
                      {1, 10, 1, 1}, {1, 10, 2, 0}, {1, 11, 0, 0}, {1, 15, 0, 0}};
  for (const Row& row : rows) {
    UnwindInfo info;
    info.version = row.version;
    info.count = 1;
    info.slots[0] = UnwindSlot(1, row.op, row.info);
    EXPECT_EQ(SlotsOf(info, 0), row.slots) << int{row.version} << " " << int{row.op} << " " << int{row.info};
  }
}

}  // namespace
}  // namespace varnel::formats

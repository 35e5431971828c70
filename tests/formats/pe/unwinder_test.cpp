#include "formats/pe/unwinder.h"

#include "unwind_fixture.h"

namespace varnel::formats {
namespace {

using support::UnwindSlot;
using testing::ElementsAre;

class Images final : public ImageFinder {
 public:
  std::optional<LoadedImage> ImageAt(std::uint64_t address) const override {
    for (const LoadedImage& image : images) {
      if (address >= image.base && address - image.base < image.size) return image;
    }
    return std::nullopt;
  }
  std::vector<LoadedImage> images = {{kImage, kImageSize, 0, 0}};
};

class UnwinderTest : public UnwindFixture {
 protected:
  UnwinderTest() {
    Function(0, {1, 0, 4, 0, 0, {UnwindSlot(4, 2, 4)}, {}});                          // sub rsp, 28h
    Function(1, {1, 0, 6, 0, 0, {UnwindSlot(6, 2, 3), UnwindSlot(1, 0, kRbx)}, {}});  // push rbx; sub rsp, 20h
    Function(2, {1, 0, 0, 0, 0, {UnwindSlot(0, 2, 1), UnwindSlot(0, 10, 0)}, {}});    // a trap
    Function(3, {1, 0, 0, 0, 0, {UnwindSlot(0, 7, 0), UnwindSlot(0, 0, 0)}, {}});     // not agreed on
    Code(0x1020, {0x90});
    memory_.Put(kImage, bytes_.bytes());
  }
  UnwoundStack Walk(const X64Registers& start, std::size_t limit = 64) {
    return Unwinder(memory_, images_).Walk(start, stacks_, limit);
  }
  UnwoundStack Walk(std::uint32_t rva, std::uint64_t rsp, std::size_t limit = 64) { return Walk(At(rva, rsp), limit); }
  static std::vector<std::uint64_t> Places(const UnwoundStack& stack) {
    std::vector<std::uint64_t> places;
    for (const UnwoundFrame& frame : stack.frames) places.push_back(frame.instruction - kImage);
    return places;
  }

  Images images_;
  std::vector<StackRange> stacks_ = {{kStack, kStack + kStackSize}};
};

TEST_F(UnwinderTest, WalksFromCalleeToCallerUpToTheThreadsBeginning) {
  Words(kStack + 0x28, {kImage + 0x1130});               // the first returns into the second
  Words(kStack + 0x30 + 0x20, {0xB0, kImage + 0x1040});  // that returns into the first again
  Words(kStack + 0x60 + 0x28, {0});
  const UnwoundStack stack = Walk(0x1020, kStack);
  EXPECT_EQ(stack.end, UnwindEnd::kBottom);
  ASSERT_THAT(Places(stack), ElementsAre(0x1020, 0x1130, 0x1040));
  EXPECT_EQ(stack.frames[0].stack, kStack);
  EXPECT_EQ(stack.frames[0].return_address, kImage + 0x1130);
  EXPECT_EQ(stack.frames[0].return_slot, kStack + 0x28);
  EXPECT_EQ(stack.frames[0].function, kImage + 0x1000);
  EXPECT_TRUE(stack.frames[0].interrupted);
  EXPECT_EQ(stack.frames[1].stack, kStack + 0x30);
  EXPECT_EQ(stack.frames[1].function, kImage + 0x1100);
  EXPECT_FALSE(stack.frames[1].interrupted);
  EXPECT_EQ(stack.frames[2].stack, kStack + 0x60);
  EXPECT_EQ(stack.frames[2].return_address, 0u);
  EXPECT_EQ(stack.frames[2].return_slot, 0u);
}

TEST_F(UnwinderTest, StopsAtAsManyFramesAsAreAskedFor) {
  for (std::uint64_t i = 0; i < 200; ++i) Words(kStack + 0x30 * i + 0x28, {kImage + 0x1040});
  const UnwoundStack stack = Walk(0x1020, kStack, 64);
  EXPECT_EQ(stack.frames.size(), 64u);
  EXPECT_EQ(stack.end, UnwindEnd::kFrameLimit);
  EXPECT_EQ(stack.frames.back().return_address, kImage + 0x1040);
  EXPECT_TRUE(Walk(0x1020, kStack, 0).frames.empty());
}

TEST_F(UnwinderTest, RunsTheRestOfAnEpilogInTheFirstFrame) {
  Code(0x1080, {0x48, 0x83, 0xC4, 0x28, 0xC3});
  memory_.Put(kImage, bytes_.bytes());
  Words(kStack, {kImage + 0x1130});
  const UnwoundStack stack = Walk(0x1084, kStack, 2);
  EXPECT_THAT(Places(stack), ElementsAre(0x1084, 0x1130));
}

TEST_F(UnwinderTest, LooksForNoEpilogAtTheReturnAddressOfACall) {
  Code(0x1080, {0xC3});  // code behind the call that would mislead
  memory_.Put(kImage, bytes_.bytes());
  Words(kStack + 0x28, {kImage + 0x1080, kImage + 0x1190});
  Words(kStack + 0x58, {0});
  const UnwoundStack stack = Walk(0x1020, kStack);
  EXPECT_THAT(Places(stack), ElementsAre(0x1020, 0x1080));
  EXPECT_EQ(stack.end, UnwindEnd::kBottom);
}

TEST_F(UnwinderTest, EndsWhereTheCodeOfAnInterruptedFunctionIsNotInTheDump) {
  memory_.Hide(kImage + 0x1000, 0x1000);
  const UnwoundStack stack = Walk(0x1020, kStack);
  EXPECT_EQ(stack.frames.size(), 1u);
  EXPECT_EQ(stack.end, UnwindEnd::kCodeMissing);
}

TEST_F(UnwinderTest, NeedsNoCodeOfCallers) {
  Words(kStack + 0x28, {kImage + 0x1130});
  Words(kStack + 0x58, {0});
  memory_.Hide(kImage + 0x1100, 0x100);
  EXPECT_THAT(Places(Walk(0x1020, kStack)), ElementsAre(0x1020, 0x1130));
}

TEST_F(UnwinderTest, LeavesAFunctionThatIsInNoTableByItsReturnAddress) {
  Words(kStack, {kImage + 0x1040});
  Words(kStack + 8 + 0x28, {0});
  EXPECT_THAT(Places(Walk(0x1900, kStack)), ElementsAre(0x1900, 0x1040));
}

TEST_F(UnwinderTest, EndsAtACallerThatIsInNoTable) {
  Words(kStack + 0x28, {kImage + 0x1900});
  const UnwoundStack stack = Walk(0x1020, kStack);
  EXPECT_THAT(Places(stack), ElementsAre(0x1020, 0x1900));
  EXPECT_EQ(stack.end, UnwindEnd::kNoFunction);
}

TEST_F(UnwinderTest, GoesOnThroughATrapAsIfTheFunctionHadBeenInterrupted) {
  Code(0x1080, {0xC3});
  memory_.Put(kImage, bytes_.bytes());
  Words(kStack + 0x10, {kImage + 0x1080, 0x10, 0x246, kStack + 0x200, 0x18});
  Words(kStack + 0x200, {kImage + 0x1040});
  Words(kStack + 0x230, {0});
  const UnwoundStack stack = Walk(0x1220, kStack);
  EXPECT_THAT(Places(stack), ElementsAre(0x1220, 0x1080, 0x1040));
  EXPECT_TRUE(stack.frames[1].interrupted);
  EXPECT_FALSE(stack.frames[2].interrupted);
  EXPECT_EQ(stack.end, UnwindEnd::kBottom);
}

TEST_F(UnwinderTest, GoesOnThroughATrapInWhatIsNoCode) {
  for (const std::uint64_t rip : {kImage + 0x5000, std::uint64_t{0xFFFF'9000'0000'0000}, std::uint64_t{0}}) {
    Code(0x103B, {0xE8, 1, 2, 3, 4});
    memory_.Put(kImage, bytes_.bytes());
    Words(kStack + 0x10, {rip, 0x10, 0x246, kStack + 0x200, 0x18});
    Words(kStack + 0x200, {kImage + 0x1040});
    Words(kStack + 0x230, {0});
    const UnwoundStack stack = Walk(0x1220, kStack);
    ASSERT_EQ(stack.frames.size(), 3u) << rip;
    EXPECT_EQ(stack.frames[1].instruction, rip);
    EXPECT_EQ(stack.frames[1].stack, kStack + 0x200);
    EXPECT_TRUE(stack.frames[1].interrupted);
    EXPECT_EQ(stack.frames[2].instruction, kImage + 0x1040) << "who called the bad pointer";
    EXPECT_EQ(stack.end, UnwindEnd::kBottom);
  }
}

TEST_F(UnwinderTest, EndsAtATrapOutOfNothing) {
  Words(kStack + 0x10, {0, 0, 0, 0, 0});
  const UnwoundStack stack = Walk(0x1220, kStack);
  EXPECT_EQ(stack.frames.size(), 1u);
  EXPECT_EQ(stack.end, UnwindEnd::kBottom);
}

TEST_F(UnwinderTest, EndsWhereAProgramEnteredTheKernel) {
  Words(kStack + 0x10, {0x7FFE'0000'1080, 0x33, 0x246, 0x20'0000, 0x2B});
  const UnwoundStack stack = Walk(0x1220, kStack);
  EXPECT_EQ(stack.frames.size(), 1u);
  EXPECT_EQ(stack.end, UnwindEnd::kUserMode);
}

TEST_F(UnwinderTest, GivesNoCallerOutsideOfAllModules) {
  Words(kStack + 0x28, {0xFFFF'F900'0000'1000});
  const UnwoundStack stack = Walk(0x1020, kStack);
  EXPECT_EQ(stack.frames.size(), 1u);
  EXPECT_EQ(stack.end, UnwindEnd::kNoModule);
  EXPECT_EQ(stack.frames[0].return_address, 0u);
}

TEST_F(UnwinderTest, GivesNoCallerOutsideOfItsModulesCode) {
  Words(kStack + 0x28, {kImage + 0x5000});
  const UnwoundStack stack = Walk(0x1020, kStack);
  EXPECT_EQ(stack.frames.size(), 1u);
  EXPECT_EQ(stack.end, UnwindEnd::kNotCode);
}

TEST_F(UnwinderTest, ComesBackFromACallThroughABadPointer) {
  Code(0x103B, {0xE8, 1, 2, 3, 4});
  memory_.Put(kImage, bytes_.bytes());
  Words(kStack, {kImage + 0x1040});
  Words(kStack + 8 + 0x28, {0});
  for (const std::uint64_t rip : {std::uint64_t{0}, std::uint64_t{0xFFFF'9000'0000'0000}}) {
    X64Registers start = At(0, kStack);
    start.rip = rip;
    const UnwoundStack stack = Walk(start);
    ASSERT_EQ(stack.frames.size(), 2u);
    EXPECT_EQ(stack.frames[0].instruction, rip);
    EXPECT_EQ(stack.frames[1].instruction, kImage + 0x1040);
    EXPECT_EQ(stack.end, UnwindEnd::kBottom);
  }
}

TEST_F(UnwinderTest, TakesNoWordForACallerOfABadPointerThatFollowsNoCall) {
  X64Registers start = At(0, kStack);
  start.rip = 0;
  Words(kStack, {kImage + 0x1050});
  EXPECT_EQ(Walk(start).end, UnwindEnd::kNoModule);
  memory_.Hide(kImage + 0x1000, 0x1000);
  EXPECT_EQ(Walk(start).end, UnwindEnd::kCodeMissing);
  memory_.Hide(kStack, 8);
  EXPECT_EQ(Walk(start).end, UnwindEnd::kStackMissing);
}

TEST_F(UnwinderTest, KeepsToTheStack) {
  EXPECT_EQ(Walk(0x1020, kStack - 8).end, UnwindEnd::kOffStack);
  EXPECT_EQ(Walk(0x1020, kStack + 4).end, UnwindEnd::kMisaligned);
  stacks_ = {{kStack, kStack + 0x28}};
  Words(kStack + 0x28, {kImage + 0x1040});
  const UnwoundStack stack = Walk(0x1020, kStack);
  EXPECT_EQ(stack.frames.size(), 1u);
  EXPECT_EQ(stack.end, UnwindEnd::kOffStack);
}

TEST_F(UnwinderTest, EndsWhereTheStackRunsTheWrongWay) {
  Words(kStack + 0x110, {kImage + 0x1040, 0x10, 0x246, kStack + 0x80, 0x18});
  EXPECT_EQ(Walk(0x1220, kStack + 0x100).end, UnwindEnd::kStackDescends);
}

TEST_F(UnwinderTest, EndsWhereTheStackIsNotInTheDump) {
  memory_.Hide(kStack + 0x28, 8);
  const UnwoundStack stack = Walk(0x1020, kStack);
  EXPECT_EQ(stack.frames.size(), 1u);
  EXPECT_EQ(stack.end, UnwindEnd::kStackMissing);
}

TEST_F(UnwinderTest, EndsAtUnwindInformationOfAnUncertainMeaning) {
  EXPECT_EQ(Walk(0x1320, kStack).end, UnwindEnd::kUncertain);
}

TEST_F(UnwinderTest, EndsWhereUnwindInformationIsNotInTheDump) {
  memory_.Hide(kImage + kUnwind, 4);
  EXPECT_EQ(Walk(0x1020, kStack).end, UnwindEnd::kTableMissing);
  memory_.Hide(kImage + kTable, 12);
  EXPECT_EQ(Walk(0x1020, kStack).end, UnwindEnd::kTableMissing);
}

TEST_F(UnwinderTest, EndsWhereTheHeadersOfAnImageAreNotInTheDump) {
  memory_.Hide(kImage, 0x1000);
  EXPECT_EQ(Walk(0x1020, kStack).end, UnwindEnd::kImageMissing);
}

TEST_F(UnwinderTest, TakesTheFunctionTableFromTheModuleListWhereTheHeadersAreNotInTheDump) {
  memory_.Hide(kImage, 0x1000);
  images_.images = {{kImage, kImageSize, kImage + kTable, 12 * 4}};
  Words(kStack + 0x28, {kImage + 0x1130});
  Words(kStack + 0x58, {0});
  EXPECT_THAT(Places(Walk(0x1020, kStack)), ElementsAre(0x1020, 0x1130));
}

TEST_F(UnwinderTest, TakesNoFunctionTableFromTheModuleListThatLeavesTheImage) {
  memory_.Hide(kImage, 0x1000);
  const std::pair<std::uint64_t, std::uint32_t> tables[] = {
      {kImage - 0x1000, 48}, {kImage + kImageSize, 48}, {kImage + kTable, 0x1001}, {kImage + kTable, 0}};
  for (const auto& [table, size] : tables) {
    images_.images = {{kImage, kImageSize, table, size}};
    EXPECT_EQ(Walk(0x1020, kStack).end, UnwindEnd::kImageMissing) << table;
  }
}

TEST_F(UnwinderTest, WalksThroughNoImageForAnotherProcessor) {
  support::PeSpec arm;
  arm.machine = 0xAA64;
  memory_.Put(kImage, support::PeBytes(arm).Directory(3, kTable, 12).bytes());
  EXPECT_EQ(Walk(0x1020, kStack).end, UnwindEnd::kOtherMachine);
}

TEST_F(UnwinderTest, WalksFromOneImageIntoAnother) {
  constexpr std::uint64_t kOther = 0xFFFF'F804'9000'0000;
  memory_.Put(kOther, bytes_.bytes());
  images_.images.push_back({kOther, kImageSize, 0, 0});
  Words(kStack + 0x28, {kOther + 0x1040});
  Words(kStack + 0x58, {kImage + 0x1040});
  Words(kStack + 0x88, {0});
  const UnwoundStack stack = Walk(0x1020, kStack);
  ASSERT_EQ(stack.frames.size(), 3u);
  EXPECT_EQ(stack.frames[1].instruction, kOther + 0x1040);
  EXPECT_EQ(stack.end, UnwindEnd::kBottom);
}

TEST_F(UnwinderTest, ReadsTheHeadersOfAnImageOnce) {
  for (std::uint64_t i = 0; i < 60; ++i) Words(kStack + 0x30 * i + 0x28, {kImage + 0x1040});
  Unwinder unwinder(memory_, images_);
  (void)unwinder.Walk(At(0x1020, kStack), stacks_, 2);
  const std::uint64_t before = memory_.reads();
  (void)unwinder.Walk(At(0x1020, kStack), stacks_, 2);
  EXPECT_LT(memory_.reads() - before, 20u);
}

}  // namespace
}  // namespace varnel::formats

#include "formats/pe/unwind_epilog.h"

#include "unwind_fixture.h"

namespace varnel::formats {
namespace {

using support::UnwindSlot;

constexpr std::uint64_t kCaller = kImage + 0x1555;

class UnwindEpilogTest : public UnwindFixture {
 protected:
  std::optional<UndoneFrame> Undo(const X64Registers& registers) {
    const PeFunctions functions = Functions();
    for (const auto& [address, size] : hidden_) memory_.Hide(address, size);
    const auto entry = functions.Find(static_cast<std::uint32_t>(registers.rip - kImage));
    return UndoEpilog(functions, entry.value(), functions.Resolve(entry.value()).value(), registers);
  }
  std::optional<UndoneFrame> Undo(std::uint32_t rva) { return Undo(At(rva, kStack)); }
  static void ExpectCaller(const std::optional<UndoneFrame>& frame, std::uint64_t slot) {
    ASSERT_TRUE(frame.has_value());
    EXPECT_EQ(frame->end, UnwindEnd::kNone);
    EXPECT_EQ(frame->return_slot, slot);
    EXPECT_EQ(frame->registers.rip, kCaller);
    EXPECT_EQ(frame->registers.rsp(), slot + 8);
  }
  // push rbx; push r12; sub rsp, 28h
  void Usual(std::uint32_t index = 0) {
    Function(index, {1, 0, 7, 0, 0, {UnwindSlot(7, 2, 4), UnwindSlot(3, 0, kR12), UnwindSlot(1, 0, kRbx)}, {}});
  }
  std::vector<std::pair<std::uint64_t, std::uint64_t>> hidden_;
};

TEST_F(UnwindEpilogTest, RunsWhatIsLeftOfAnEpilog) {
  Usual();
  Code(0x1080, {0x48, 0x83, 0xC4, 0x28, 0x41, 0x5C, 0x5B, 0xC3});  // add rsp, 28h; pop r12; pop rbx; ret
  Words(kStack + 0x28, {0x12, 0xB0, kCaller});
  const auto whole = Undo(0x1080);
  ExpectCaller(whole, kStack + 0x38);
  EXPECT_EQ(whole->registers.general[kR12], 0x12u);
  EXPECT_EQ(whole->registers.general[kRbx], 0xB0u);
  Words(kStack, {0x12, 0xB0, kCaller});
  ExpectCaller(Undo(0x1084), kStack + 16);
  Words(kStack, {0xB0, kCaller});
  const auto late = Undo(0x1086);
  ExpectCaller(late, kStack + 8);
  EXPECT_EQ(late->registers.general[kR12], 0xBAD0u + kR12) << "popped before";
  Words(kStack, {kCaller});
  ExpectCaller(Undo(0x1087), kStack);
}

TEST_F(UnwindEpilogTest, KnowsTheFormsOfReturning) {
  Usual();
  Words(kStack, {kCaller});
  Code(0x1080, {0xF3, 0xC3});
  ExpectCaller(Undo(0x1080), kStack);
  Code(0x1080, {0xC2, 0x10, 0x00});
  const auto frame = Undo(0x1080);
  ASSERT_TRUE(frame.has_value());
  EXPECT_EQ(frame->registers.rip, kCaller);
  EXPECT_EQ(frame->registers.rsp(), kStack + 8 + 16);
}

TEST_F(UnwindEpilogTest, AddsALargeNumber) {
  Usual();
  Code(0x1080, {0x48, 0x81, 0xC4, 0x00, 0x02, 0, 0, 0xC3});
  Words(kStack + 0x200, {kCaller});
  ExpectCaller(Undo(0x1080), kStack + 0x200);
}

TEST_F(UnwindEpilogTest, TakesTheStackFromTheFrameRegisterAlone) {
  Function(0, {1, 0, 5, kRbp, 0, {UnwindSlot(5, 3), UnwindSlot(1, 0, kRbp)}, {}});
  Code(0x1080, {0x48, 0x8D, 0x65, 0x10, 0x5D, 0xC3});           // lea rsp, [rbp+10h]; pop rbp; ret
  Code(0x10A0, {0x48, 0x8D, 0xA5, 0x10, 0, 0, 0, 0x5D, 0xC3});  // the same with 32 bits
  Code(0x10C0, {0x48, 0x8D, 0x67, 0x10, 0x5D, 0xC3});           // lea rsp, [rdi+10h]
  Words(kStack + 0x110, {0x55, kCaller});
  X64Registers registers = At(0x1080, kStack);
  registers.general[kRbp] = kStack + 0x100;
  ExpectCaller(Undo(registers), kStack + 0x118);
  registers.rip = kImage + 0x10A0;
  ExpectCaller(Undo(registers), kStack + 0x118);
  registers.rip = kImage + 0x10C0;
  EXPECT_EQ(Undo(registers), std::nullopt);
}

TEST_F(UnwindEpilogTest, TakesTheStackFromR12AndR13Too) {
  Function(0, {1, 0, 5, kR12, 0, {UnwindSlot(5, 3)}, {}});
  Function(1, {1, 0, 5, kR13, 0, {UnwindSlot(5, 3)}, {}});
  Code(0x1080, {0x49, 0x8D, 0x64, 0x24, 0x10, 0xC3});  // lea rsp, [r12+10h]
  Code(0x1180, {0x49, 0x8D, 0x65, 0xF0, 0xC3});        // lea rsp, [r13-10h]
  Words(kStack + 0x110, {kCaller});
  X64Registers registers = At(0x1080, kStack);
  registers.general[kR12] = kStack + 0x100;
  registers.general[kR13] = kStack + 0x120;
  ExpectCaller(Undo(registers), kStack + 0x110);
  registers.rip = kImage + 0x1180;
  ExpectCaller(Undo(registers), kStack + 0x110);
}

TEST_F(UnwindEpilogTest, TakesNoOtherCodeForAnEpilog) {
  Usual();
  EXPECT_EQ(Undo(0x1080), std::nullopt);
  Code(0x1080, {0x48, 0x83, 0xC4, 0x28, 0x90, 0xC3});  // add rsp, 28h; nop
  EXPECT_EQ(Undo(0x1080), std::nullopt);
  Code(0x1080, {0x5B, 0x48, 0x83, 0xC4, 0x28, 0xC3});  // pop rbx; add rsp, 28h
  EXPECT_EQ(Undo(0x1080), std::nullopt);
  Code(0x1080, {0x48, 0x83, 0xC4, 0xD8, 0xC3});  // add rsp, -28h
  EXPECT_EQ(Undo(0x1080), std::nullopt);
  Code(0x1080, {0x48, 0x8D, 0x65, 0x10, 0xC3});  // lea rsp, [rbp+10h] without a frame register
  EXPECT_EQ(Undo(0x1080), std::nullopt);
  Code(0x1080, {0xFF, 0xE0});  // jmp rax: a table of cases
  EXPECT_EQ(Undo(0x1080), std::nullopt);
  Code(0x1080, {0x49, 0x83, 0xC4, 0x28, 0xC3});  // add r12, 28h
  EXPECT_EQ(Undo(0x1080), std::nullopt);
}

TEST_F(UnwindEpilogTest, TakesNothingInsideAPrologForAnEpilog) {
  Usual();
  Code(0x1006, {0xC3});
  EXPECT_EQ(Undo(0x1006), std::nullopt);
  Code(0x1007, {0xC3});
  EXPECT_TRUE(Undo(0x1007).has_value());
}

TEST_F(UnwindEpilogTest, EndsAFunctionWithAJumpToAnother) {
  Usual(0);
  Usual(1);
  Words(kStack, {kCaller});
  Code(0x1080, {0xE9, 0x7B, 0, 0, 0});  // to 1100h
  ExpectCaller(Undo(0x1080), kStack);
  Code(0x1080, {0xE9, 0x7B, 0x04, 0, 0});  // to 1500h, which is in no table
  ExpectCaller(Undo(0x1080), kStack);
  Code(0x1080, {0xEB, 0x7E});  // to 1100h
  ExpectCaller(Undo(0x1080), kStack);
  Code(0x1080, {0xE9, 0x00, 0x00, 0x00, 0x70});  // out of the image
  ExpectCaller(Undo(0x1080), kStack);
  Code(0x1080, {0xFF, 0x25, 1, 2, 3, 4});  // through memory
  ExpectCaller(Undo(0x1080), kStack);
  Code(0x1080, {0x48, 0xFF, 0xE0});  // through rax, marked as leaving
  ExpectCaller(Undo(0x1080), kStack);
}

TEST_F(UnwindEpilogTest, KnowsAJumpWithinTheFunctionFromOneThatCallsItAnew) {
  Usual();
  Code(0x1080, {0xEB, 0xBE});  // to 1040h
  EXPECT_EQ(Undo(0x1080), std::nullopt);
  Code(0x1080, {0xE9, 0x7B, 0xFF, 0xFF, 0xFF});  // to 1000h
  Words(kStack, {kCaller});
  ExpectCaller(Undo(0x1080), kStack);
}

TEST_F(UnwindEpilogTest, KnowsAJumpToAnotherPartOfTheFunction) {
  Usual(0);
  Function(1, {1, 4, 0, 0, 0, {}, {0x1000, 0x1100, UnwindOf(0)}});
  Code(0x1080, {0xE9, 0x9B, 0, 0, 0});  // to 1120h
  EXPECT_EQ(Undo(0x1080), std::nullopt);
  Code(0x1180, {0xE9, 0x9B, 0xFE, 0xFF, 0xFF});  // to 1020h
  EXPECT_EQ(Undo(0x1180), std::nullopt);
}

TEST_F(UnwindEpilogTest, SaysMissingWhereAJumpCanNotBeJudged) {
  Usual(0);
  Usual(1);
  Code(0x1080, {0xE9, 0x7B, 0, 0, 0});
  hidden_ = {{kImage + UnwindOf(1), 4}};
  ASSERT_TRUE(Undo(0x1080).has_value());
  EXPECT_EQ(Undo(0x1080)->end, UnwindEnd::kTableMissing);
}

TEST_F(UnwindEpilogTest, SaysMissingWhereTheCodeIsNotInTheDump) {
  Usual();
  Code(0x10FE, {0x41, 0x5C, 0x5B, 0xC3});
  hidden_ = {{kImage + 0x1080, 0x100}};
  ASSERT_TRUE(Undo(0x1080).has_value());
  EXPECT_EQ(Undo(0x1080)->end, UnwindEnd::kCodeMissing);
  hidden_ = {{kImage + 0x10FF, 0x100}};
  EXPECT_EQ(Undo(0x10FE)->end, UnwindEnd::kCodeMissing) << "half of an instruction";
}

TEST_F(UnwindEpilogTest, SaysMissingWhereTheStackIsNotInTheDump) {
  Usual();
  Code(0x1080, {0x5B, 0xC3});
  hidden_ = {{kStack, 8}};
  EXPECT_EQ(Undo(0x1080)->end, UnwindEnd::kStackMissing);
  hidden_ = {{kStack + 8, 8}};
  EXPECT_EQ(Undo(0x1080)->end, UnwindEnd::kStackMissing);
}

class ListedEpilogs : public UnwindEpilogTest {
 protected:
  // Two epilogs of four bytes: at the function's end, and 40h before it.
  ListedEpilogs() {
    Function(0, {2,
                 0,
                 7,
                 0,
                 0,
                 {UnwindSlot(4, 6, 1), UnwindSlot(0x40, 6, 0), UnwindSlot(7, 2, 4), UnwindSlot(3, 0, kR12),
                  UnwindSlot(1, 0, kRbx)},
                 {}});
    Code(0x10FC, {0x41, 0x5C, 0x5B, 0xC3});
    Code(0x10C0, {0x41, 0x5C, 0x5B, 0xC3});
    Code(0x1080, {0xC3});
  }
};

TEST_F(ListedEpilogs, AreRun) {
  Words(kStack, {0x12, 0xB0, kCaller});
  ExpectCaller(Undo(0x10FC), kStack + 16);
  ExpectCaller(Undo(0x10C0), kStack + 16);
  Words(kStack, {0xB0, kCaller});
  ExpectCaller(Undo(0x10C2), kStack + 8);
}

TEST_F(ListedEpilogs, AreAllThatThereAre) {
  EXPECT_EQ(Undo(0x1080), std::nullopt);
  EXPECT_EQ(Undo(0x10FB), std::nullopt);
  EXPECT_EQ(Undo(0x10C4), std::nullopt);
}

TEST_F(ListedEpilogs, NeedNoCodeWhereNoneIsListed) {
  hidden_ = {{kImage + 0x1000, 0x1000}};
  EXPECT_EQ(Undo(0x1080), std::nullopt);
  EXPECT_EQ(Undo(0x10C0)->end, UnwindEnd::kCodeMissing);
}

TEST_F(ListedEpilogs, AreUncertainWhereTheCodeIsNoEpilog) {
  Code(0x10C0, {0x90, 0x90, 0x90, 0x90});
  EXPECT_EQ(Undo(0x10C0)->end, UnwindEnd::kUncertain);
}

TEST_F(ListedEpilogs, EndNoFunctionUnlessTheListSaysSo) {
  entries_.clear();
  Function(0, {2, 0, 1, 0, 0, {UnwindSlot(4, 6, 0), UnwindSlot(0x40, 6, 0), UnwindSlot(1, 0, kRbx)}, {}});
  EXPECT_EQ(Undo(0x10FC), std::nullopt);
  EXPECT_TRUE(Undo(0x10C0).has_value());
  entries_.clear();
  Function(0, {2, 0, 1, 0, 0, {UnwindSlot(1, 0, kRbx)}, {}});
  EXPECT_EQ(Undo(0x10FC), std::nullopt) << "without a list there is none";
}

TEST_F(ListedEpilogs, TellTheirDistanceInTwelveBits) {
  entries_.clear();
  bytes_.Put(UnwindOf(0),
             support::PeUnwindBytes(
                 {2, 0, 1, 0, 0, {UnwindSlot(2, 6, 0), UnwindSlot(0x34, 6, 0x2), UnwindSlot(1, 0, kRbx)}, {}}));
  Entry({0x1000, 0x1400, UnwindOf(0)});
  Code(0x1400 - 0x234, {0x5B, 0xC3});
  Words(kStack, {0xB0, kCaller});
  ExpectCaller(Undo(0x1400 - 0x234), kStack + 8);
}

}  // namespace
}  // namespace varnel::formats

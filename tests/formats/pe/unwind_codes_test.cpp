#include "formats/pe/unwind_codes.h"

#include "unwind_fixture.h"

namespace varnel::formats {
namespace {

using support::UnwindSlot;

constexpr std::uint64_t kCaller = kImage + 0x1555;

class UnwindCodesTest : public UnwindFixture {
 protected:
  UndoneFrame Undo(std::uint32_t rva, std::uint64_t rsp = kStack) { return UndoFrom(At(rva, rsp)); }
  UndoneFrame UndoFrom(const X64Registers& registers) {
    const PeFunctions functions = Functions();
    const auto entry = functions.Find(static_cast<std::uint32_t>(registers.rip - kImage));
    return UndoFrame(functions, functions.Resolve(entry.value()).value(), registers);
  }
  static void ExpectCaller(const UndoneFrame& frame, std::uint64_t slot) {
    EXPECT_EQ(frame.end, UnwindEnd::kNone);
    EXPECT_EQ(frame.return_slot, slot);
    EXPECT_EQ(frame.registers.rip, kCaller);
    EXPECT_EQ(frame.registers.rsp(), slot + 8);
    EXPECT_FALSE(frame.machine_frame);
  }
};

TEST_F(UnwindCodesTest, UndoesACallOfAFunctionWithoutAFrame) {
  Function(0, {});
  Words(kStack, {kCaller});
  ExpectCaller(Undo(0x1010), kStack);
}

TEST_F(UnwindCodesTest, UndoesPushesInTheOrderOfTheSlots) {
  Function(0, {1, 0, 4, 0, 0, {UnwindSlot(4, 0, kRdi), UnwindSlot(3, 0, kR12), UnwindSlot(1, 0, kRbx)}, {}});
  Words(kStack, {0xD1, 0x12, 0xB0, kCaller});
  const UndoneFrame frame = Undo(0x1010);
  ExpectCaller(frame, kStack + 24);
  EXPECT_EQ(frame.registers.general[kRdi], 0xD1u);
  EXPECT_EQ(frame.registers.general[kR12], 0x12u);
  EXPECT_EQ(frame.registers.general[kRbx], 0xB0u);
  EXPECT_EQ(frame.registers.general[kRsi], 0xBAD0u + kRsi) << "others are as they were";
}

TEST_F(UnwindCodesTest, UndoesAllocationsOfAllSizes) {
  Function(0, {1, 0, 4, 0, 0, {UnwindSlot(4, 2, 0)}, {}});             // 8
  Function(1, {1, 0, 4, 0, 0, {UnwindSlot(4, 2, 15)}, {}});            // 128
  Function(2, {1, 0, 4, 0, 0, {UnwindSlot(4, 1, 0), 0x80}, {}});       // 1024
  Function(3, {1, 0, 4, 0, 0, {UnwindSlot(4, 1, 1), 0x5008, 0}, {}});  // 0x5008
  const std::uint64_t sizes[] = {8, 128, 1024, 0x5008};
  for (std::uint32_t i = 0; i < 4; ++i) {
    Words(kStack + sizes[i], {kCaller});
    ExpectCaller(Undo(Begin(i) + 0x20), kStack + sizes[i]);
  }
}

TEST_F(UnwindCodesTest, UndoesAnAllocationOfMoreThan16Bits) {
  Function(0, {1, 0, 4, 0, 0, {UnwindSlot(4, 1, 1), 0x0010, 0x0002}, {}});
  memory_.Put64(kStack + 0x20010, kCaller);
  ExpectCaller(Undo(0x1010), kStack + 0x20010);
}

TEST_F(UnwindCodesTest, GoesByTheFrameRegisterOnceItStands) {
  // push rbp; sub rsp, 40h; lea rbp, [rsp+20h]
  Function(0, {1, 0, 10, kRbp, 2, {UnwindSlot(10, 3), UnwindSlot(5, 2, 7), UnwindSlot(1, 0, kRbp)}, {}});
  Words(kStack + 0x140, {0x55, kCaller});
  X64Registers registers = At(0x1020, kStack);  // 0x100 bytes more were taken since, as alloca does
  registers.general[kRbp] = kStack + 0x100 + 0x20;
  const UndoneFrame frame = UndoFrom(registers);
  ExpectCaller(frame, kStack + 0x148);
  EXPECT_EQ(frame.registers.general[kRbp], 0x55u);
}

TEST_F(UnwindCodesTest, UndoesInsideAPrologOnlyWhatHasHappened) {
  const support::PeUnwindSpec spec{1, 0, 10, kRbp, 2, {UnwindSlot(10, 3), UnwindSlot(5, 2, 7), UnwindSlot(1, 0, kRbp)},
                                   {}};
  Function(0, spec);
  Words(kStack, {kCaller});
  ExpectCaller(Undo(0x1000), kStack);
  Words(kStack, {0x55, kCaller});
  ExpectCaller(Undo(0x1001), kStack + 8);
  ExpectCaller(Undo(0x1004), kStack + 8);
  Words(kStack + 0x40, {0x55, kCaller});
  ExpectCaller(Undo(0x1005), kStack + 0x48);
  ExpectCaller(Undo(0x1009), kStack + 0x48);
}

TEST_F(UnwindCodesTest, RestoresRegistersThatWereSavedByMoves) {
  // sub rsp, 28h; mov [rsp+18h], rbx; mov [rsp+20h], rsi (far form)
  Function(0, {1, 0, 14, 0, 0, {UnwindSlot(14, 5, kRsi), 0x20, 0, UnwindSlot(9, 4, kRbx), 3, UnwindSlot(4, 2, 4)}, {}});
  Words(kStack + 0x18, {0xB0, 0x51, kCaller});
  const UndoneFrame frame = Undo(0x1020);
  ExpectCaller(frame, kStack + 0x28);
  EXPECT_EQ(frame.registers.general[kRbx], 0xB0u);
  EXPECT_EQ(frame.registers.general[kRsi], 0x51u);
}

TEST_F(UnwindCodesTest, FindsSavedRegistersByTheFrameRegister) {
  Function(0, {1,
               0,
               14,
               kRbp,
               1,
               {UnwindSlot(14, 4, kRbx), 1, UnwindSlot(10, 3), UnwindSlot(5, 2, 3), UnwindSlot(1, 0, kRbp)},
               {}});
  X64Registers registers = At(0x1020, kStack);
  registers.general[kRbp] = kStack + 0x80 + 0x10;
  Words(kStack + 0x80, {0, 0xB0, 0, 0, 0x55, kCaller});
  const UndoneFrame frame = UndoFrom(registers);
  ExpectCaller(frame, kStack + 0xA8);
  EXPECT_EQ(frame.registers.general[kRbx], 0xB0u);
}

TEST_F(UnwindCodesTest, FindsSavedRegistersByTheStackPointerWhileTheFrameRegisterDoesNotStand) {
  // push rbp; sub rsp, 20h; mov [rsp+8], rbx; lea rbp, [rsp+10h]
  Function(0, {1,
               0,
               14,
               kRbp,
               1,
               {UnwindSlot(14, 3), UnwindSlot(10, 4, kRbx), 1, UnwindSlot(5, 2, 3), UnwindSlot(1, 0, kRbp)},
               {}});
  Words(kStack, {0, 0xB0, 0, 0, 0x55, kCaller});
  const UndoneFrame frame = Undo(0x100A);
  ExpectCaller(frame, kStack + 0x28);
  EXPECT_EQ(frame.registers.general[kRbx], 0xB0u);
}

TEST_F(UnwindCodesTest, GoesByTheFrameRegisterThatIsToldWithoutAnOperationBehindTheProlog) {
  Function(0, {1, 0, 4, kRbp, 1, {UnwindSlot(4, 4, kRbx), 1}, {}});
  X64Registers registers = At(0x1004, kStack);
  registers.general[kRbp] = kStack + 0x80 + 0x10;
  Words(kStack, {kCaller});
  Words(kStack + 0x88, {0xB0});
  const UndoneFrame frame = UndoFrom(registers);
  ExpectCaller(frame, kStack);
  EXPECT_EQ(frame.registers.general[kRbx], 0xB0u);
}

TEST_F(UnwindCodesTest, GoesByTheFrameRegisterFromTheFirstInstructionOfAPart) {
  Function(0, {1, 0, 6, kRbp, 1, {UnwindSlot(6, 3), UnwindSlot(5, 2, 3), UnwindSlot(1, 0, kRbp)}, {}});
  Function(1, {1, 4, 9, kRbp, 1, {UnwindSlot(5, 4, kRsi), 2}, {0x1000, 0x1100, UnwindOf(0)}});
  X64Registers registers = At(0x1105, kStack);  // behind the part's own save, and still in its prolog
  registers.general[kRbp] = kStack + 0x80 + 0x10;
  Words(kStack + 0x80, {0, 0, 0x51, 0, 0x55, kCaller});
  const UndoneFrame frame = UndoFrom(registers);
  ExpectCaller(frame, kStack + 0xA8);
  EXPECT_EQ(frame.registers.general[kRsi], 0x51u);
  EXPECT_EQ(frame.registers.general[kRbp], 0x55u);
}

TEST_F(UnwindCodesTest, PassesOverVectorRegisters) {
  Function(0, {1, 0, 14, 0, 0, {UnwindSlot(14, 9, 6), 0, 1, UnwindSlot(9, 8, 7), 1, UnwindSlot(4, 2, 0)}, {}});
  Words(kStack + 8, {kCaller});
  ExpectCaller(Undo(0x1020), kStack + 8);
}

TEST_F(UnwindCodesTest, PassesOverTheListOfEpilogsInVersion2) {
  Function(0, {2, 0, 4, 0, 0, {UnwindSlot(5, 6, 1), UnwindSlot(0, 6, 0), UnwindSlot(4, 2, 0)}, {}});
  Words(kStack + 8, {kCaller});
  ExpectCaller(Undo(0x1020), kStack + 8);
}

TEST_F(UnwindCodesTest, UndoesWhatTheProcessorPushed) {
  Function(0, {1, 0, 0, 0, 0, {UnwindSlot(0, 10, 0)}, {}});
  Function(1, {1, 0, 0, 0, 0, {UnwindSlot(0, 2, 1), UnwindSlot(0, 10, 1)}, {}});
  Words(kStack, {0xFFFF'F800'0000'1234, 0x10, 0x246, kStack + 0x900, 0x18});
  UndoneFrame frame = Undo(0x1010);
  EXPECT_EQ(frame.end, UnwindEnd::kNone);
  EXPECT_TRUE(frame.machine_frame);
  EXPECT_EQ(frame.registers.rip, 0xFFFF'F800'0000'1234u);
  EXPECT_EQ(frame.registers.rsp(), kStack + 0x900);
  Words(kStack, {0, 0, 0xE, kImage + 0x1002, 0x10, 0x246, kStack + 0x800, 0x18});
  frame = Undo(0x1110);
  EXPECT_EQ(frame.end, UnwindEnd::kNone) << "with an error code";
  EXPECT_EQ(frame.registers.rip, kImage + 0x1002);
  EXPECT_EQ(frame.registers.rsp(), kStack + 0x800);
  EXPECT_EQ(frame.return_slot, kStack + 24);
}

TEST_F(UnwindCodesTest, EndsWhereAProgramEnteredTheKernel) {
  Function(0, {1, 0, 0, 0, 0, {UnwindSlot(0, 10, 0)}, {}});
  Words(kStack, {0x7FFE'1234'5678, 0x33, 0x246, 0x10'1234, 0x2B});
  EXPECT_EQ(Undo(0x1010).end, UnwindEnd::kUserMode);
}

TEST_F(UnwindCodesTest, GoesOnWithTheFunctionThatAPartBelongsTo) {
  Function(0, {1, 0, 9, 0, 0, {UnwindSlot(5, 2, 3), UnwindSlot(1, 0, kRbx)}, {}});
  Function(1, {1, 4, 5, 0, 0, {UnwindSlot(5, 4, kRsi), 2}, {0x1000, 0x1100, UnwindOf(0)}});
  Words(kStack, {0, 0, 0x51, 0, 0xB0, kCaller});
  const UndoneFrame frame = Undo(0x1120);
  ExpectCaller(frame, kStack + 0x28);
  EXPECT_EQ(frame.registers.general[kRbx], 0xB0u);
  EXPECT_EQ(frame.registers.general[kRsi], 0x51u);
  const UndoneFrame early = Undo(0x1102);
  ExpectCaller(early, kStack + 0x28);
  EXPECT_EQ(early.registers.general[kRsi], 0xBAD0u + kRsi) << "the part's own prolog had not got there";
}

TEST_F(UnwindCodesTest, TakesTheWholePrologOfTheEntryThatAnotherStandsFor) {
  Function(0, {1, 0, 9, 0, 0, {UnwindSlot(5, 2, 3)}, {}});
  Entry({0x1200, 0x1210, kTable | 1});
  Words(kStack + 0x20, {kCaller});
  ExpectCaller(Undo(0x1200), kStack + 0x20);
}

TEST_F(UnwindCodesTest, TakesTheWholePrologOfAnEntryThatIsShorterThanIt) {
  bytes_.Put(UnwindOf(0), support::PeUnwindBytes({1, 0, 9, 0, 0, {UnwindSlot(8, 2, 3)}, {}}));
  Entry({0x1000, 0x1004, UnwindOf(0)});
  Entry({0x1004, 0x1100, kTable | 1});
  Words(kStack + 0x20, {kCaller});
  ExpectCaller(Undo(0x1005), kStack + 0x20);
}

TEST_F(UnwindCodesTest, IsUncertainAboutOperationsThatReadersDoNotAgreeOn) {
  for (const std::uint8_t op : {6, 7, 11, 12, 13, 14, 15}) {
    entries_.clear();
    Function(0, {1, 0, 4, 0, 0, {UnwindSlot(4, op, 0), 0, 0}, {}});
    EXPECT_EQ(Undo(0x1010).end, UnwindEnd::kUncertain) << int{op};
  }
}

TEST_F(UnwindCodesTest, IsUncertainAboutAnotherVersion) {
  Function(0, {3, 0, 0, 0, 0, {}, {}});
  EXPECT_EQ(Undo(0x1010).end, UnwindEnd::kUncertain);
}

TEST_F(UnwindCodesTest, CallsAnOperationDamagedThatLacksItsLastSlots) {
  Function(0, {1, 0, 4, 0, 0, {UnwindSlot(4, 1, 1), 0}, {}});
  EXPECT_EQ(Undo(0x1010).end, UnwindEnd::kDamaged);
  entries_.clear();
  Function(0, {1, 0, 4, 0, 0, {UnwindSlot(4, 3)}, {}});
  EXPECT_EQ(Undo(0x1010).end, UnwindEnd::kDamaged) << "a frame register that is none";
}

TEST_F(UnwindCodesTest, CallsPartsDamagedThatGoOnForEver) {
  Function(0, {1, 4, 0, 0, 0, {UnwindSlot(0, 2, 0)}, {0x1000, 0x1100, UnwindOf(0)}});
  EXPECT_EQ(Undo(0x1010).end, UnwindEnd::kDamaged);
}

TEST_F(UnwindCodesTest, SaysWhichMemoryIsNotInTheDump) {
  Function(0, {1, 0, 4, 0, 0, {UnwindSlot(1, 0, kRbx)}, {}});
  memory_.Hide(kStack, 8);
  EXPECT_EQ(Undo(0x1010).end, UnwindEnd::kStackMissing) << "a saved register";
  Words(kStack, {1});
  memory_.Hide(kStack + 8, 8);
  EXPECT_EQ(Undo(0x1010).end, UnwindEnd::kStackMissing) << "the return address";
  const PeFunctions functions = Functions();
  memory_.Hide(kImage + kUnwind, 4);
  EXPECT_EQ(UndoFrame(functions, EntryOf(0), At(0x1010, kStack)).end, UnwindEnd::kTableMissing);
}

TEST_F(UnwindCodesTest, SaysMissingOfAMachineFrameThatIsNotInTheDump) {
  Function(0, {1, 0, 0, 0, 0, {UnwindSlot(0, 10, 0)}, {}});
  Words(kStack, {kCaller, 0x10, 0, kStack + 0x80, 0});
  EXPECT_EQ(Undo(0x1010).end, UnwindEnd::kNone);
  memory_.Hide(kStack + 24, 8);
  EXPECT_EQ(Undo(0x1010).end, UnwindEnd::kStackMissing);
}

}  // namespace
}  // namespace varnel::formats

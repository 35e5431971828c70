// The two kinds of call stack; see debug_engine_session.h.
#include <gtest/gtest.h>

#include "tests/analyzer/open_dump_fixture.h"

namespace varnel {
namespace {

constexpr std::uint64_t kStack = 0xFFFFC00000001000;
constexpr std::uint64_t kNt = 0xFFFFF80000000000;
constexpr std::uint64_t kDriver = 0xFFFFF80010000000;

class StackScan : public OpenDumpFixture {
 protected:
  StackScan() {
    AddModules();
    facts().registers = {{"rsp", kStack}};
  }
  std::vector<StackFrameInfo> Scan() {
    std::vector<StackFrameInfo> frames;
    EXPECT_EQ(session_->ScanStackForCode(&frames), 0);
    return frames;
  }
};

TEST_F(StackScan, FindsValuesThatLieInModules) {
  facts().PutWords(kStack, {1, kNt + 0x1234, kDriver});
  facts().protection[kNt + 0x1234] = 0x20;
  const auto frames = Scan();
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0].symbol, u"nt+0x1234");
  EXPECT_EQ(frames[0].codeAddress, kNt + 0x1234);
  EXPECT_EQ(frames[0].stackAddress, kStack + 8);
  EXPECT_EQ(frames[0].memoryProtect, 0x20u);
  EXPECT_EQ(frames[0].inModule, 1u);
  EXPECT_EQ(frames[1].symbol, u"driver+0x0");
  EXPECT_EQ(frames[1].stackAddress, kStack + 16);
  EXPECT_EQ(frames[1].memoryProtect, 0u);
}

TEST_F(StackScan, BeginsAtKernelSpace) {
  facts().modules.push_back({0xFFFF7FFFFFFFF000, 0x1000, 0, 0, 0, "user", "", ""});
  facts().modules.push_back({0xFFFF800000000000, 0x1000, 0, 0, 0, "first", "", ""});
  facts().PutWords(kStack, {0xFFFF7FFFFFFFFFFF, 0xFFFF800000000000});
  const auto frames = Scan();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].symbol, u"first+0x0");
}

TEST_F(StackScan, TellsARepeatedValueOnceAtItsFirstPlace) {
  facts().PutWords(kStack, {kNt + 1, kNt + 2, kNt + 1});
  const auto frames = Scan();
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0].stackAddress, kStack);
}

TEST_F(StackScan, SkipsAKernelValueOutsideOfAllModulesEachTimeItComes) {
  facts().PutWords(kStack, {0xFFFFA00000000000, 0xFFFFA00000000000});
  EXPECT_TRUE(Scan().empty());
  EXPECT_EQ(debugger_.calls.CountOf("GetModuleByOffset"), 2u);
}

TEST_F(StackScan, LooksAgainAtAValueWhoseModuleWasNotNamedTheFirstTime) {
  facts().PutWords(kStack, {kNt + 1, kNt + 1});
  debugger_.calls.Fail("GetModuleByOffset", 0x80004005);
  const auto frames = Scan();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].stackAddress, kStack + 8);
}

TEST_F(StackScan, TellsAFrameWhoseModuleIsNotFoundASecondTime) {
  facts().PutWords(kStack, {kNt + 1});
  debugger_.calls.Fail({"GetModuleByOffset", 2, false, 0x80004005});
  const auto frames = Scan();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].inModule, 0u);
}

TEST_F(StackScan, TellsTheDistanceAloneOfAModuleWhoseNameDoesNotConvert) {
  facts().PutWords(kStack, {kNt + 0x2A});
  plan_.FailForEver("MultiByteToWideChar", 1113);
  const auto frames = Scan();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].symbol, u"+0x2A");
}

TEST_F(StackScan, TakesAReadOfNothingForAnEmptyStack) {
  facts().PutWords(kStack, {kNt + 1});
  debugger_.calls.Fail("ReadVirtual", 1);
  EXPECT_TRUE(Scan().empty());
}

TEST_F(StackScan, StopsAt20Frames) {
  std::vector<std::uint64_t> words;
  for (std::uint64_t i = 0; i < 25; ++i) words.push_back(kNt + i);
  facts().PutWords(kStack, words);
  const auto frames = Scan();
  ASSERT_EQ(frames.size(), 20u);
  EXPECT_EQ(frames.back().codeAddress, kNt + 19);
  EXPECT_EQ(debugger_.calls.CountOf("GetModuleNames"), 40u);  // the other words are not looked at
}

TEST_F(StackScan, ReadsTwoKilobytes) {
  std::vector<std::uint64_t> words(257, 0);
  words[255] = kNt + 1;
  words[256] = kNt + 2;
  facts().PutWords(kStack, words);
  const auto frames = Scan();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].stackAddress, kStack + 255 * 8);
}

TEST_F(StackScan, TakesWhatIsThereOfAShortStackInWholeWords) {
  facts().PutWords(kStack, {kNt + 1, kNt + 2});
  facts().memory[kStack].pop_back();
  const auto frames = Scan();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].codeAddress, kNt + 1);
}

TEST_F(StackScan, FailsWhenTheStackPointerCannotBeRead) {
  std::vector<StackFrameInfo> frames;
  facts().registers.clear();
  EXPECT_EQ(session_->ScanStackForCode(&frames), kE_FAIL);
  facts().registers = {{"rsp", kStack}};
  debugger_.calls.Fail("GetValue", 0x8000FFFF);
  EXPECT_EQ(session_->ScanStackForCode(&frames), kE_FAIL);
}

TEST_F(StackScan, LooksAtNoTypeOfTheStackPointer) {
  facts().registers = {{"rsp", kStack, 6}};
  facts().PutWords(kStack, {kNt + 1});
  EXPECT_EQ(Scan().size(), 1u);
}

TEST_F(StackScan, GivesTheFailureOfTheRead) {
  std::vector<StackFrameInfo> frames;
  EXPECT_EQ(session_->ScanStackForCode(&frames), static_cast<std::int32_t>(0x8007001E));
}

TEST_F(StackScan, SkipsAModuleWithoutAName) {
  facts().modules[0].module_name.clear();
  facts().PutWords(kStack, {kNt + 1, kDriver + 1});
  const auto frames = Scan();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].symbol, u"driver+0x1");
}

class SymbolStack : public OpenDumpFixture {
 protected:
  SymbolStack() { AddModules(); }
  void SetFrames(const std::vector<std::uint64_t>& addresses) {
    facts().frames.emplace();
    for (const std::uint64_t address : addresses) {
      platform::DEBUG_STACK_FRAME frame = {};
      frame.InstructionOffset = address;
      frame.StackOffset = address + 0x100;
      facts().frames->push_back(frame);
    }
  }
  std::vector<StackFrameInfo> Frames() {
    std::vector<StackFrameInfo> frames(3);
    EXPECT_EQ(session_->GetSymbolStack(&frames), 0);
    return frames;
  }
};

TEST_F(SymbolStack, NamesItsFramesWithTheDistanceAlwaysThere) {
  SetFrames({kNt + 0x20, kNt + 0x30});
  facts().names[kNt + 0x20] = {"nt!KeBugCheckEx", 0};
  facts().names[kNt + 0x30] = {"nt!KiPageFault", 0x1AB};
  const auto frames = Frames();
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0].symbol, u"nt!KeBugCheckEx+0x0");
  EXPECT_EQ(frames[0].codeAddress, kNt + 0x20);
  EXPECT_EQ(frames[0].stackAddress, kNt + 0x120);
  EXPECT_EQ(frames[0].memoryProtect, 0u);
  EXPECT_EQ(frames[0].inModule, 1u);
  EXPECT_EQ(frames[1].symbol, u"nt!KiPageFault+0x1AB");
}

TEST_F(SymbolStack, FallsBackToTheModule) {
  SetFrames({kDriver + 0x1C, kNt + 4});
  facts().names[kNt + 4] = {"", 0};
  const auto frames = Frames();
  EXPECT_EQ(frames[0].symbol, u"driver+0x1C");
  EXPECT_EQ(frames[1].symbol, u"nt+0x4");
}

TEST_F(SymbolStack, ShowsTheAddressOutsideOfModules) {
  SetFrames({0x7FF612345678});
  EXPECT_EQ(Frames()[0].symbol, u"0x00007FF612345678");
}

TEST_F(SymbolStack, LeavesANameEmptyThatDoesNotConvert) {
  SetFrames({kNt + 0x20});
  facts().names[kNt + 0x20] = {"nt!KeBugCheckEx", 0};
  plan_.FailForEver("MultiByteToWideChar", 1113);
  const auto frames = Frames();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].symbol, u"");
}

TEST_F(SymbolStack, CutsANameToItsRoom) {
  SetFrames({kNt + 0x20});
  facts().names[kNt + 0x20] = {std::string(600, 'n'), 0x1F};
  EXPECT_EQ(Frames()[0].symbol, std::u16string(511, u'n') + u"+0x1F");
}

TEST_F(SymbolStack, ReadsNamesAsUtf8WhateverTheCodePageIs) {
  SetFrames({kNt + 0x20, kDriver + 1});
  facts().names[kNt + 0x20] = {"nt!t\xC3\xBCr", 0};
  facts().modules[1].module_name = "t\xC3\xBCr";
  platform_.system.narrow_is_latin1 = true;
  const auto frames = Frames();
  EXPECT_EQ(frames[0].symbol, u"nt!t\u00FCr+0x0");
  EXPECT_EQ(frames[1].symbol, u"t\u00FCr+0x1");
}

TEST_F(SymbolStack, MayHaveNoFrames) {
  SetFrames({});
  EXPECT_TRUE(Frames().empty());
}

TEST_F(SymbolStack, HasAtMost64Frames) {
  SetFrames(std::vector<std::uint64_t>(70, kNt));
  EXPECT_EQ(Frames().size(), 64u);
}

TEST_F(SymbolStack, GivesTheEnginesFailure) {
  std::vector<StackFrameInfo> frames(2);
  EXPECT_EQ(session_->GetSymbolStack(&frames), kE_FAIL);
  EXPECT_TRUE(frames.empty());
  EXPECT_TRUE(Logged("[Error] GetStackTrace failed: 0x80004005\n"));
}

}  // namespace
}  // namespace varnel

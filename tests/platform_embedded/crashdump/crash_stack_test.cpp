#include "platform/embedded/crashdump/crash_stack.h"

#include <gtest/gtest.h>

#include "platform/embedded/crashdump/bytes.h"
#include "platform/embedded/crashdump/kernel_image.h"

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kLow = 0xFFFFFB0A55550000;

class CrashStackTest : public testing::Test {
 protected:
  std::uint64_t At(std::uint64_t address) const { return Load<std::uint64_t>(stack_.bytes, address - kLow); }
  LoadedImage image_{KernelImageFile(), 0xFFFFF80123400000};
  CrashStack stack_ =
      BuildCrashStack(image_, kLow, 0x6000, image_.Export("KiStartSystemThread"), image_.Export("KeBugCheckEx"));
};

TEST_F(CrashStackTest, TheStopStandsAtItsFirstInstructionAboveItsReturnAddress) {
  EXPECT_EQ(stack_.registers.rip, image_.Export("KeBugCheckEx"));
  ASSERT_EQ(stack_.frames.size(), 6u);
  EXPECT_EQ(stack_.frames[0].rsp, stack_.registers.general[4]);
  EXPECT_EQ(At(stack_.registers.general[4]), stack_.frames[1].rip);
}

TEST_F(CrashStackTest, EachFramesCallComesBackIntoTheFunction) {
  for (std::size_t i = 1; i < stack_.frames.size(); ++i) {
    EXPECT_GT(stack_.frames[i].rip, stack_.frames[i].function);
    EXPECT_LT(stack_.frames[i].rip - stack_.frames[i].function, 0x200u);
    EXPECT_EQ(At(stack_.frames[i].rsp - 8), stack_.frames[i].rip);
    EXPECT_EQ(stack_.frames[i].rsp % 16, 0u) << "a call finds the stack aligned";
  }
}

TEST_F(CrashStackTest, TheFirstFunctionWasCalledByNobody) {
  const auto steps = image_.PrologOf(stack_.frames.back().function);
  std::uint64_t frame = 0;
  for (const auto& step : steps) frame += step.kind == LoadedImage::PrologStep::Kind::kSetFrame ? 0 : step.size;
  EXPECT_EQ(At(stack_.frames.back().rsp + frame), 0u);
}

TEST_F(CrashStackTest, SavedRegistersAreThoseOfTheCaller) {
  const auto& work = stack_.frames[3];  // the function that saves many
  ASSERT_EQ(work.function, image_.Export("ExQueueWorkItem"));
  std::uint64_t place = work.rsp;
  const auto steps = image_.PrologOf(work.function);
  for (const auto& step : steps) place += step.kind == LoadedImage::PrologStep::Kind::kAllocate ? step.size : 0;
  EXPECT_EQ(At(place) >> 48, 0xC0DEu) << "a value that the caller had left in the register";
}

TEST_F(CrashStackTest, AFrameWithAFrameRegisterIsLargerThanItsProlog) {
  const auto& deferred = stack_.frames[2];
  std::uint64_t frame = 0;
  for (const auto& step : image_.PrologOf(deferred.function)) {
    frame += step.kind == LoadedImage::PrologStep::Kind::kSetFrame ? 0 : step.size;
  }
  EXPECT_GT(stack_.frames[3].rsp - 8 - deferred.rsp, frame);
}

}  // namespace
}  // namespace varnel::embedded

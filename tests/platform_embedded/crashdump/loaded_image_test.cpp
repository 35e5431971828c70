#include "platform/embedded/crashdump/loaded_image.h"

#include <gtest/gtest.h>

#include "platform/embedded/crashdump/bytes.h"
#include "platform/embedded/crashdump/kernel_image.h"

namespace varnel::embedded {
namespace {

using Kind = LoadedImage::PrologStep::Kind;
constexpr std::uint64_t kBase = 0xFFFFF80123400000;

class LoadedImageTest : public testing::Test {
 protected:
  std::uint64_t Qword(std::uint64_t address) const {
    return Load<std::uint64_t>(image_.bytes(), static_cast<std::size_t>(address - kBase));
  }
  LoadedImage image_{KernelImageFile(), kBase};
};

TEST_F(LoadedImageTest, FindsExportsByTheirNames) {
  EXPECT_GT(image_.Export("KeBugCheckEx"), kBase);
  EXPECT_LT(image_.Export("KeBugCheckEx"), kBase + image_.bytes().size());
  EXPECT_NE(image_.Export("KeBugCheckEx"), image_.Export("KiIdleLoop"));
  EXPECT_EQ(image_.Export("KeBugCheck"), 0u);
  EXPECT_EQ(image_.Export("RunDeferredWork"), 0u) << "it is not exported";
}

TEST_F(LoadedImageTest, RelocatesPointersToWhereTheImageStands) {
  const std::uint64_t head = image_.Export("PsLoadedModuleList");
  EXPECT_EQ(Qword(head), head) << "an empty list points to itself";
  EXPECT_EQ(Qword(head + 8), head);
}

TEST_F(LoadedImageTest, FollowsTheCallsFromTheThreadsBeginToTheStop) {
  const auto path = image_.CallPath(image_.Export("KiStartSystemThread"), image_.Export("KeBugCheckEx"));
  ASSERT_EQ(path.size(), 5u);
  EXPECT_EQ(path[0].function, image_.Export("KiStartSystemThread"));
  EXPECT_EQ(path[1].function, image_.Export("PsCreateSystemThread"));
  EXPECT_EQ(path[2].function, image_.Export("ExQueueWorkItem"));
  EXPECT_EQ(path[4].function, image_.Export("KeCheckWatchdogs"));
  for (const auto& call : path) {
    const std::size_t behind = static_cast<std::size_t>(call.return_address - kBase);
    EXPECT_EQ(image_.bytes()[behind - 5], std::byte{0xE8});
  }
}

TEST_F(LoadedImageTest, FindsNoPathWhereNothingCalls) {
  EXPECT_TRUE(image_.CallPath(image_.Export("KiIdleLoop"), image_.Export("KeBugCheckEx")).empty());
}

TEST_F(LoadedImageTest, TellsPrologsOfEachKind) {
  EXPECT_TRUE(image_.PrologOf(image_.Export("KeQueryInterruptTime")).empty());
  std::uint32_t room = 0;
  for (const auto& step : image_.PrologOf(image_.Export("KeCheckWatchdogs"))) {
    if (step.kind == Kind::kAllocate) room += step.size;
  }
  EXPECT_GE(room, 800u) << "a hundred values";
  int pushes = 0;
  for (const auto& step : image_.PrologOf(image_.Export("ExQueueWorkItem"))) pushes += step.kind == Kind::kPush ? 1 : 0;
  EXPECT_GE(pushes, 5);
  const auto path = image_.CallPath(image_.Export("KiStartSystemThread"), image_.Export("KeBugCheckEx"));
  const auto deferred = image_.PrologOf(path.at(3).function);
  EXPECT_TRUE(std::any_of(deferred.begin(), deferred.end(),
                          [](const auto& step) { return step.kind == Kind::kSetFrame && step.reg == 5; }));
}

TEST_F(LoadedImageTest, TellsSectionsWithWhatMayBeDone) {
  bool code = false;
  bool data = false;
  for (const auto& section : image_.sections()) {
    EXPECT_EQ(section.size % 4096, 0u);
    code = code || (section.executable && !section.writable);
    data = data || (section.writable && !section.executable);
  }
  EXPECT_TRUE(code);
  EXPECT_TRUE(data);
}

}  // namespace
}  // namespace varnel::embedded

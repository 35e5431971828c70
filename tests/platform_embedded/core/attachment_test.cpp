#include "platform/embedded/core/attachment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace varnel::embedded {
namespace {

class AttachmentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-attach-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    auto machine = Machine::Create(folder_ + "/m");
    ASSERT_TRUE(machine.ok());
    machine_ = machine.value();
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  bool IsAlone() const {
    const auto alone = Attachment::TryExclusive(*machine_);
    return alone.ok() && alone.value().has_value();
  }

  std::string folder_;
  std::shared_ptr<Machine> machine_;
};

TEST_F(AttachmentTest, SeveralModulesMayBeAttachedAndHoldABootOff) {
  EXPECT_TRUE(IsAlone());
  {
    const auto first = Attachment::AttachShared(*machine_);
    const auto second = Attachment::AttachShared(*machine_);
    EXPECT_TRUE(first.ok() && second.ok());
    EXPECT_FALSE(IsAlone());
  }
  EXPECT_TRUE(IsAlone());
}

TEST_F(AttachmentTest, OnlyOneBootsAtATime) {
  const auto first = Attachment::TryExclusive(*machine_);
  ASSERT_TRUE(first.ok() && first.value().has_value());
  EXPECT_FALSE(IsAlone());
}

TEST_F(AttachmentTest, AMachineWithoutItsLocksIsAnErrorThatNamesThePlace) {
  std::filesystem::remove_all(machine_->LocksPath());
  const auto attached = Attachment::AttachShared(*machine_);
  ASSERT_FALSE(attached.ok());
  EXPECT_NE(attached.error().message.find("locks"), std::string::npos);
}

}  // namespace
}  // namespace varnel::embedded

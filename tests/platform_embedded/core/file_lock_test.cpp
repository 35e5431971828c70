#include "platform/embedded/core/file_lock.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

namespace varnel::embedded {
namespace {

using Mode = FileLock::Mode;

class FileLockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-lock-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    ASSERT_EQ(first_.Open(folder_ + "/lock"), 0);
    ASSERT_EQ(second_.Open(folder_ + "/lock"), 0);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string folder_;
  FileLock first_;
  FileLock second_;
};

TEST_F(FileLockTest, TwoMayShareAByteAndOneAloneMayExcludeTheOther) {
  EXPECT_EQ(first_.TryLock(0, Mode::kShared), 0);
  EXPECT_EQ(second_.TryLock(0, Mode::kShared), 0);
  EXPECT_EQ(second_.TryLock(0, Mode::kExclusive), EAGAIN);
  first_.Unlock(0);
  EXPECT_EQ(second_.TryLock(0, Mode::kExclusive), 0);
  EXPECT_EQ(first_.TryLock(0, Mode::kShared), EAGAIN);
}

TEST_F(FileLockTest, BytesAreLockedEachForItself) {
  EXPECT_EQ(first_.TryLock(0, Mode::kExclusive), 0);
  EXPECT_EQ(second_.TryLock(1, Mode::kExclusive), 0);
}

TEST_F(FileLockTest, ExclusiveBecomesSharedWithoutAGap) {
  EXPECT_EQ(first_.Lock(0, Mode::kExclusive), 0);
  EXPECT_EQ(first_.Lock(0, Mode::kShared), 0);
  EXPECT_EQ(second_.TryLock(0, Mode::kShared), 0);
}

TEST_F(FileLockTest, TheEndOfALockReleasesIt) {
  {
    FileLock third;
    ASSERT_EQ(third.Open(folder_ + "/lock"), 0);
    EXPECT_EQ(third.TryLock(0, Mode::kExclusive), 0);
    EXPECT_EQ(first_.TryLock(0, Mode::kShared), EAGAIN);
  }
  EXPECT_EQ(first_.TryLock(0, Mode::kShared), 0);
}

TEST_F(FileLockTest, AFolderThatIsNotThereIsTold) {
  FileLock lock;
  EXPECT_EQ(lock.Open(folder_ + "/missing/lock"), ENOENT);
  EXPECT_FALSE(lock.is_open());
}

}  // namespace
}  // namespace varnel::embedded

#include "platform/embedded/ring/ofd_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <thread>

namespace {

using namespace varnel::embedded::ring;
using std::chrono::milliseconds;

class OfdLockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-lock-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  UniqueFd Open() const { return UniqueFd(::open((folder_ + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)); }

  std::string folder_;
};

TEST_F(OfdLockTest, TwoOpeningsInOneProcessExcludeEachOther) {
  const UniqueFd first = Open();
  const UniqueFd second = Open();
  EXPECT_TRUE(TryLock(first.get(), LockKind::kExclusive));
  EXPECT_FALSE(TryLock(second.get(), LockKind::kExclusive));
  EXPECT_FALSE(TryLock(second.get(), LockKind::kShared));
  Unlock(first.get());
  EXPECT_TRUE(TryLock(second.get(), LockKind::kExclusive));
}

TEST_F(OfdLockTest, SharedHoldersGoTogetherAndKeepAnExclusiveOneOut) {
  const UniqueFd first = Open();
  const UniqueFd second = Open();
  const UniqueFd third = Open();
  EXPECT_TRUE(TryLock(first.get(), LockKind::kShared));
  EXPECT_TRUE(TryLock(second.get(), LockKind::kShared));
  EXPECT_FALSE(TryLock(third.get(), LockKind::kExclusive));
  Unlock(first.get());
  EXPECT_FALSE(TryLock(third.get(), LockKind::kExclusive));
  Unlock(second.get());
  EXPECT_TRUE(TryLock(third.get(), LockKind::kExclusive));
}

TEST_F(OfdLockTest, ALockGoesWithItsLastDescriptor) {
  UniqueFd first = Open();
  const UniqueFd second = Open();
  EXPECT_TRUE(TryLock(first.get(), LockKind::kExclusive));
  first.Reset();
  EXPECT_FALSE(first.valid());
  EXPECT_TRUE(TryLock(second.get(), LockKind::kExclusive));
}

TEST_F(OfdLockTest, ALockGoesWithAKilledProcess) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const UniqueFd held(::open((folder_ + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    const char told = TryLock(held.get(), LockKind::kExclusive) ? 'y' : 'n';
    static_cast<void>(::write(ready[1], &told, 1) == 1);
    for (;;) ::pause();
  }
  ::close(ready[1]);
  char told = 0;
  ASSERT_EQ(::read(ready[0], &told, 1), 1);
  EXPECT_EQ(told, 'y');
  const UniqueFd own = Open();
  EXPECT_FALSE(TryLock(own.get(), LockKind::kShared));
  ::kill(child, SIGKILL);
  EXPECT_TRUE(LockWithin(own.get(), LockKind::kExclusive, milliseconds(60000)));
  ::waitpid(child, nullptr, 0);
  ::close(ready[0]);
}

TEST_F(OfdLockTest, AWaitEndsWithTheLimitWhenTheHolderStays) {
  const UniqueFd first = Open();
  const UniqueFd second = Open();
  EXPECT_TRUE(TryLock(first.get(), LockKind::kExclusive));
  EXPECT_FALSE(LockWithin(second.get(), LockKind::kShared, milliseconds(0)));
  EXPECT_FALSE(LockWithin(second.get(), LockKind::kShared, milliseconds(5)));
}

TEST_F(OfdLockTest, AWaitEndsWithTheLockWhenTheHolderGoes) {
  const UniqueFd first = Open();
  const UniqueFd second = Open();
  EXPECT_TRUE(TryLock(first.get(), LockKind::kExclusive));
  std::atomic<bool> given{false};
  std::thread waiter([&] {
    EXPECT_TRUE(LockWithin(second.get(), LockKind::kExclusive, milliseconds(60000)));
    EXPECT_TRUE(given);
  });
  given = true;
  Unlock(first.get());
  waiter.join();
}

TEST_F(OfdLockTest, WhatIsNoDescriptorIsNotWaitedFor) {
  EXPECT_FALSE(TryLock(-1, LockKind::kExclusive));
  EXPECT_FALSE(LockWithin(-1, LockKind::kExclusive, milliseconds(60000)));
  EXPECT_EQ(errno, EBADF);
}

TEST_F(OfdLockTest, AScopedLockMakesTheFileAndHoldsItToTheEndOfItsScope) {
  {
    const ScopedFileLock lock(folder_ + "/lock");
    EXPECT_TRUE(lock.held());
    EXPECT_FALSE(TryLock(Open().get(), LockKind::kShared));
  }
  EXPECT_TRUE(TryLock(Open().get(), LockKind::kExclusive));
}

TEST_F(OfdLockTest, AScopedLockOnAFileThatCannotBeIsNotHeld) {
  const ScopedFileLock lock(folder_ + "/none/lock");
  EXPECT_FALSE(lock.held());
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(OfdLockTest, AMovedDescriptorIsClosedOnce) {
  UniqueFd first = Open();
  const int number = first.get();
  UniqueFd second = std::move(first);
  EXPECT_FALSE(first.valid());  // NOLINT(bugprone-use-after-move): what is left is the point
  EXPECT_EQ(second.get(), number);
  second = UniqueFd();
  EXPECT_EQ(::fcntl(number, F_GETFD), -1);
}

}  // namespace

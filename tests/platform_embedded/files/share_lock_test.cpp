#include "platform/embedded/files/share_lock.h"

#include <sys/stat.h>

#include <atomic>
#include <thread>
#include <vector>

#include "helper_process.h"
#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

using platform::kErrorAccessDenied;
using platform::kErrorSharingViolation;
using platform::kErrorSuccess;

class ShareLocks : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeFile("file");
    ASSERT_EQ(::stat(Host("file").c_str(), &status_), 0);
  }

  std::uint32_t Take(const Sharing& sharing, ShareLock* lock) {
    return ShareLock::Take(*machine_, status_.st_dev, status_.st_ino, sharing, lock);
  }
  std::size_t LockFiles() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(machine_->LocksPath()), {}));
  }

  struct stat status_ = {};
};

constexpr Sharing kReader{.reads = true, .share_mode = platform::kFileShareRead};
constexpr Sharing kWriter{.writes = true, .share_mode = platform::kFileShareRead};
constexpr Sharing kDeleter{.deletes = true, .share_mode = kShareAll};

TEST_F(ShareLocks, GoWithTheirOwner) {
  {
    ShareLock reader;
    EXPECT_EQ(Take(kReader, &reader), kErrorSuccess);
    ShareLock writer;
    EXPECT_EQ(Take(kWriter, &writer), kErrorSharingViolation);
    EXPECT_FALSE(writer.held());
  }
  ShareLock writer;
  EXPECT_EQ(Take(kWriter, &writer), kErrorSuccess);
}

TEST_F(ShareLocks, MoveWithTheirOwner) {
  ShareLock first;
  EXPECT_EQ(Take(kReader, &first), kErrorSuccess);
  ShareLock second = std::move(first);
  EXPECT_TRUE(second.held());
  ShareLock writer;
  EXPECT_EQ(Take(kWriter, &writer), kErrorSharingViolation);
  second = ShareLock();
  EXPECT_EQ(Take(kWriter, &writer), kErrorSuccess);
}

TEST_F(ShareLocks, ALoadedLibraryAnswers5ToADeletionAnd32ToAWriter) {
  ShareLock image;
  EXPECT_EQ(Take({.reads = true, .share_mode = platform::kFileShareRead | platform::kFileShareDelete, .is_image = true},
                 &image),
            kErrorSuccess);
  ShareLock other;
  EXPECT_EQ(Take(kDeleter, &other), kErrorAccessDenied);
  EXPECT_EQ(Take(kWriter, &other), kErrorSharingViolation);
  EXPECT_EQ(Take({.reads = true, .share_mode = kShareAll}, &other), kErrorSuccess);
}

TEST_F(ShareLocks, TheLockFileGoesWithADeletedFile) {
  ShareLock lock;
  EXPECT_EQ(Take(kDeleter, &lock), kErrorSuccess);
  EXPECT_EQ(LockFiles(), 1u);
  EXPECT_TRUE(lock.EnterGate());
  lock.RemoveLockFile();
  EXPECT_EQ(LockFiles(), 0u);
  EXPECT_FALSE(lock.IsCurrent());
}

TEST_F(ShareLocks, OneOfADeletedFileIsNotTakenForTheNextFilesOfItsNumber) {
  ShareLock deleter;
  ShareLock late;
  EXPECT_EQ(Take(kDeleter, &deleter), kErrorSuccess);
  EXPECT_EQ(Take(kDeleter, &late), kErrorSuccess);
  EXPECT_TRUE(late.IsCurrent());
  EXPECT_TRUE(deleter.EnterGate());
  deleter.RemoveLockFile();
  deleter = ShareLock();
  EXPECT_FALSE(late.IsCurrent());
  EXPECT_FALSE(late.EnterGate());
  ShareLock next;
  EXPECT_EQ(Take(kWriter, &next), kErrorSuccess);
  EXPECT_TRUE(next.EnterGate());
}

TEST_F(ShareLocks, AFileThatProcessesMakeAndDeleteBelongsToOneOfThemAtATime) {
  std::vector<std::thread> threads;
  std::atomic<int> good{0};
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      HelperProcess helper(machine_->root(), {"contend", "C:\\contended", folder_ + "/witness", "4000"});
      if (helper.ready() && helper.Finish() == 0) ++good;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(good, 4);
}

TEST_F(ShareLocks, TwoThatNeedBothGatesDoNotWaitForEachOther) {
  MakeFile("other");
  struct stat other {};
  ASSERT_EQ(::stat(Host("other").c_str(), &other), 0);
  const auto enter_both = [&](const struct stat& a, const struct stat& b) {
    for (int i = 0; i < 300; ++i) {
      ShareLock first;
      ShareLock second;
      EXPECT_EQ(ShareLock::Take(*machine_, a.st_dev, a.st_ino, kDeleter, &first), kErrorSuccess);
      EXPECT_EQ(ShareLock::Take(*machine_, b.st_dev, b.st_ino, kDeleter, &second), kErrorSuccess);
      EXPECT_TRUE(ShareLock::EnterGates(&first, &second));
    }
  };
  std::thread thread([&] { enter_both(status_, other); });
  enter_both(other, status_);
  thread.join();
}

TEST_F(ShareLocks, OneAppenderAtATime) {
  ShareLock first;
  ShareLock second;
  const Sharing appender{.writes = true, .share_mode = kShareAll};
  EXPECT_EQ(Take(appender, &first), kErrorSuccess);
  EXPECT_EQ(Take(appender, &second), kErrorSuccess);
  EXPECT_TRUE(first.LockAppend());
  first.UnlockAppend();
  EXPECT_TRUE(second.LockAppend());
  second.UnlockAppend();
}

TEST_F(ShareLocks, AnotherProcessSeesThemAndItsDeathReleasesThem) {
  HelperProcess helper(machine_->root(), {"hold", "C:\\file", "80000000", "1"});
  ASSERT_TRUE(helper.ready());
  ShareLock lock;
  EXPECT_EQ(Take(kWriter, &lock), kErrorSharingViolation);
  EXPECT_EQ(Take(kDeleter, &lock), kErrorSharingViolation);
  EXPECT_EQ(Take(kReader, &lock), kErrorSuccess);
  lock = ShareLock();
  helper.Kill();
  EXPECT_EQ(Take(kWriter, &lock), kErrorSuccess);
}

TEST_F(ShareLocks, ALoadInAnotherProcessKeepsTheFileUntilThatProcessIsKilled) {
  MakeFile("Windows/System32/library.dll");
  HelperProcess helper(machine_->root(), {"load", "C:\\Windows\\System32\\library.dll"});
  ASSERT_TRUE(helper.ready());
  EXPECT_FALSE(files_->DeleteFileW(u"C:\\Windows\\System32\\library.dll"));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  helper.Kill();
  EXPECT_TRUE(files_->DeleteFileW(u"C:\\Windows\\System32\\library.dll"));
}

}  // namespace
}  // namespace varnel::embedded

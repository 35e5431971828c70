#include "platform/embedded/registry/copy_io.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace varnel::embedded {
namespace {

class CopyIoTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-copy-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string folder_;
};

TEST_F(CopyIoTest, AFileIsEmptiedWrittenAndMoved) {
  std::ofstream(folder_ + "/a") << "what was there";
  int error = 0;
  auto file = HostCopyIo().Create(folder_ + "/a", &error);
  ASSERT_NE(file, nullptr);
  const std::string text = "new";
  EXPECT_EQ(file->Write(std::as_bytes(std::span(text.data(), text.size()))), 0);
  EXPECT_EQ(file->Write(std::as_bytes(std::span(text.data(), text.size()))), 0);
  EXPECT_EQ(file->Sync(), 0);
  file.reset();
  EXPECT_EQ(HostCopyIo().Rename(folder_ + "/a", folder_ + "/b"), 0);
  EXPECT_EQ(HostCopyIo().SyncFolder(folder_), 0);
  std::ifstream in(folder_ + "/b");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "newnew");
}

TEST_F(CopyIoTest, FailuresComeBackAsTheSystemTellsThem) {
  int error = 0;
  EXPECT_EQ(HostCopyIo().Create(folder_ + "/missing/a", &error), nullptr);
  EXPECT_EQ(error, ENOENT);
  EXPECT_EQ(HostCopyIo().Rename(folder_ + "/missing", folder_ + "/b"), ENOENT);
  EXPECT_EQ(HostCopyIo().SyncFolder(folder_ + "/missing"), ENOENT);
}

TEST_F(CopyIoTest, AFullDeviceIsTold) {
  int error = 0;
  auto file = HostCopyIo().Create("/dev/full", &error);
  if (!file) GTEST_SKIP() << "no /dev/full here";
  const std::string text = "x";
  EXPECT_EQ(file->Write(std::as_bytes(std::span(text.data(), text.size()))), ENOSPC);
}

}  // namespace
}  // namespace varnel::embedded

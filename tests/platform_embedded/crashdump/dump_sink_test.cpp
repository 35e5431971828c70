#include "platform/embedded/crashdump/dump_sink.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace varnel::embedded {
namespace {

constexpr std::array kAbc = {std::byte{'a'}, std::byte{'b'}, std::byte{'c'}};

class FileSinkTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "dump-sink.XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }
  std::string folder_;
};

TEST(MemorySink, IsZeroWhereNothingWasWritten) {
  MemorySink sink;
  ASSERT_TRUE(sink.SetSize(5).ok());
  ASSERT_TRUE(sink.Write(1, kAbc).ok());
  const std::vector<std::byte> expected = {std::byte{0}, std::byte{'a'}, std::byte{'b'}, std::byte{'c'}, std::byte{0}};
  EXPECT_EQ(sink.bytes(), expected);
}

TEST_F(FileSinkTest, ReplacesWhatWasThere) {
  const std::string path = folder_ + "/dump";
  std::ofstream(path) << "something longer than the new file";
  {
    FileSink sink(path);
    ASSERT_TRUE(sink.SetSize(4).ok());
    ASSERT_TRUE(sink.Write(0, kAbc).ok());
  }
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  EXPECT_EQ(text.str(), std::string("abc\0", 4));
}

TEST_F(FileSinkTest, WhatIsNotWrittenTakesNoRoom) {
  const std::string path = folder_ + "/dump";
  FileSink sink(path);
  ASSERT_TRUE(sink.SetSize(std::uint64_t{1} << 33).ok());
  ASSERT_TRUE(sink.Write((std::uint64_t{1} << 33) - 3, kAbc).ok());
  struct stat status = {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, off_t{1} << 33);
  EXPECT_LT(status.st_blocks * 512, 1 << 20);
}

TEST_F(FileSinkTest, TellsThatAFolderIsMissing) {
  FileSink sink(folder_ + "/none/dump");
  const formats::Status sized = sink.SetSize(1);
  ASSERT_FALSE(sized.ok());
  EXPECT_NE(sized.error().message.find("/none/dump: "), std::string::npos);
}

}  // namespace
}  // namespace varnel::embedded

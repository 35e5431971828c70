#include "platform/embedded/debugger/mapped_dump.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

namespace varnel::embedded {
namespace {

constexpr std::size_t kPage = 4096;

/// A file of one test; every byte tells its place and none is zero.
class MappedDumps : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = (std::filesystem::temp_directory_path() / "varnel-dump-XXXXXX").string();
    file_ = UniqueFd(::mkstemp(path_.data()));
    ASSERT_TRUE(file_.valid());
  }
  void TearDown() override { ::unlink(path_.c_str()); }

  static std::byte ByteAt(std::size_t place) { return static_cast<std::byte>(place % 251 + 1); }

  void Fill(std::size_t size) {
    std::vector<std::byte> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = ByteAt(i);
    ASSERT_EQ(::pwrite(file_.get(), bytes.data(), size, 0), static_cast<ssize_t>(size));
  }
  std::unique_ptr<MappedDump> Map() {
    int error = 0;
    auto dump = MappedDump::Map(UniqueFd(::open(path_.c_str(), O_RDONLY | O_CLOEXEC)), &error);
    EXPECT_EQ(error, 0);
    return dump;
  }
  void ExpectBytes(const MappedDump& dump, std::size_t offset, std::size_t asked, std::size_t there) {
    std::vector<std::byte> bytes(asked);
    ASSERT_EQ(dump.Read(offset, bytes), there);
    for (std::size_t i = 0; i < there; ++i) ASSERT_EQ(bytes[i], ByteAt(offset + i)) << i;
  }

  std::string path_;
  UniqueFd file_;
};

TEST_F(MappedDumps, BytesAreReadByTheirPlace) {
  Fill(3 * kPage + 100);
  const auto dump = Map();
  EXPECT_EQ(dump->Size(), 3 * kPage + 100);
  ExpectBytes(*dump, 0, 1, 1);
  ExpectBytes(*dump, kPage - 5, 2 * kPage, 2 * kPage);
}

TEST_F(MappedDumps, AReadEndsWhereTheFileEnds) {
  Fill(kPage + 100);
  const auto dump = Map();
  ExpectBytes(*dump, kPage, 200, 100);
  ExpectBytes(*dump, kPage + 100, 200, 0);
  ExpectBytes(*dump, ~std::size_t{0}, 200, 0);
}

TEST_F(MappedDumps, AnEmptyFileHasNoBytes) {
  const auto dump = Map();
  ASSERT_NE(dump, nullptr);
  EXPECT_EQ(dump->Size(), 0u);
  ExpectBytes(*dump, 0, 10, 0);
}

TEST_F(MappedDumps, PagesThatAreCutOffWhileItIsMappedAreMissing) {
  Fill(4 * kPage);
  const auto dump = Map();
  ExpectBytes(*dump, 0, 4 * kPage, 4 * kPage);
  ASSERT_EQ(::ftruncate(file_.get(), 2 * kPage), 0);
  ExpectBytes(*dump, 0, 4 * kPage, 2 * kPage);
  ExpectBytes(*dump, 3 * kPage, 10, 0);
  EXPECT_EQ(dump->Size(), 4 * kPage);
}

TEST_F(MappedDumps, BytesThatAreCutOutOfAPageAreMissingAndNotZero) {
  Fill(2 * kPage);
  const auto dump = Map();
  ASSERT_EQ(::ftruncate(file_.get(), kPage + 7), 0);
  ExpectBytes(*dump, kPage, kPage, 7);
  ExpectBytes(*dump, kPage + 5, 10, 2);
  ExpectBytes(*dump, kPage + 7, 10, 0);
  ExpectBytes(*dump, kPage + 700, 10, 0);
}

TEST_F(MappedDumps, ZerosOfTheFileItselfAreThere) {
  ASSERT_EQ(::ftruncate(file_.get(), 2 * kPage), 0);
  const auto dump = Map();
  std::vector<std::byte> bytes(kPage, std::byte{1});
  EXPECT_EQ(dump->Read(kPage, bytes), kPage);
  EXPECT_EQ(bytes.back(), std::byte{0});
}

TEST_F(MappedDumps, ASparseFileOf64GigabytesIsMappedWhole) {
  constexpr std::uint64_t kSize = std::uint64_t{64} << 30;
  ASSERT_EQ(::ftruncate(file_.get(), static_cast<off_t>(kSize)), 0);
  ASSERT_EQ(::pwrite(file_.get(), "end", 3, static_cast<off_t>(kSize - 3)), 3);
  const auto dump = Map();
  ASSERT_NE(dump, nullptr);
  std::vector<std::byte> bytes(10);
  ASSERT_EQ(dump->Read(kSize - 3, bytes), 3u);
  EXPECT_EQ(bytes[0], std::byte{'e'});
}

TEST_F(MappedDumps, AFolderIsNoDump) {
  int error = 0;
  const std::string folder = std::filesystem::temp_directory_path().string();
  EXPECT_EQ(MappedDump::Map(UniqueFd(::open(folder.c_str(), O_RDONLY | O_CLOEXEC)), &error), nullptr);
  EXPECT_EQ(error, EINVAL);
}

TEST_F(MappedDumps, NoFileIsNoDump) {
  int error = 0;
  EXPECT_EQ(MappedDump::Map(UniqueFd(), &error), nullptr);
  EXPECT_EQ(error, EBADF);
}

}  // namespace
}  // namespace varnel::embedded

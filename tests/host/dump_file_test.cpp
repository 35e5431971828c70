#include "host/dump_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>
#include <vector>

#include "tests/host/trace_command.h"

namespace varnel::host {
namespace {

std::vector<std::byte> Pattern(std::size_t size) {
  std::vector<std::byte> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::byte>(i % 251);
  return bytes;
}

TEST(DumpFile, GivesTheBytesOfThePlaceThatIsAskedFor) {
  TemporaryFolder folder;
  const auto file = OpenDumpFile(folder.Put("a.dmp", Pattern(10'000)));
  ASSERT_TRUE(file.ok()) << file.error().message;
  EXPECT_EQ(file.value()->Size(), 10'000u);
  std::vector<std::byte> read(5'000);
  ASSERT_EQ(file.value()->Read(4'000, read), read.size());
  for (std::size_t i = 0; i < read.size(); ++i) ASSERT_EQ(read[i], static_cast<std::byte>((4'000 + i) % 251)) << i;
}

TEST(DumpFile, AReadAcrossTheEndGivesWhatIsThere) {
  TemporaryFolder folder;
  const auto file = OpenDumpFile(folder.Put("a.dmp", Pattern(100)));
  ASSERT_TRUE(file.ok());
  std::array<std::byte, 64> read{};
  EXPECT_EQ(file.value()->Read(90, read), 10u);
  EXPECT_EQ(read[9], std::byte{99});
  EXPECT_EQ(file.value()->Read(100, read), 0u);
  EXPECT_EQ(file.value()->Read(~std::uint64_t{0}, read), 0u);
}

TEST(DumpFile, AnEmptyFileHasNoBytes) {
  TemporaryFolder folder;
  const auto file = OpenDumpFile(folder.Put("a.dmp", {}));
  ASSERT_TRUE(file.ok());
  std::array<std::byte, 1> read{};
  EXPECT_EQ(file.value()->Size(), 0u);
  EXPECT_EQ(file.value()->Read(0, read), 0u);
}

TEST(DumpFile, WhatIsCutOffWhileItIsMappedReadsAsMissing) {
  TemporaryFolder folder;
  const std::string path = folder.Put("a.dmp", Pattern(5 * 4096));
  const auto file = OpenDumpFile(path);
  ASSERT_TRUE(file.ok());
  ASSERT_EQ(::truncate(path.c_str(), 2 * 4096), 0);
  std::vector<std::byte> read(5 * 4096);
  EXPECT_EQ(file.value()->Read(4'000, read), 2u * 4096 - 4'000);
  EXPECT_EQ(read[0], static_cast<std::byte>(4'000 % 251));
  EXPECT_EQ(file.value()->Read(3 * 4096, read), 0u);
  EXPECT_EQ(file.value()->Size(), 5u * 4096);
}

TEST(DumpFile, WhatIsNoPlainFileIsRefusedWithTheReason) {
  TemporaryFolder folder;
  EXPECT_EQ(OpenDumpFile(folder.PathOf("")).error().message, "is a folder");
  EXPECT_EQ(OpenDumpFile(folder.PathOf("none.dmp")).error().message, "No such file or directory");
  const std::string pipe = folder.PathOf("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(OpenDumpFile(pipe).error().message, "is no plain file");
}

}  // namespace
}  // namespace varnel::host

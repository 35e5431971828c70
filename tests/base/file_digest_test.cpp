#include "base/file_digest.h"

#include <gtest/gtest.h>

#include <string>

#include "base/log.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::FaultPlan;
using testing::FaultyPlatform;
using testing::ScriptedPlatform;

constexpr char16_t kFile[] = u"C:\\Data\\file.bin";

class FileDigest : public ::testing::Test {
 protected:
  FileDigest() { WrapLogInit(LOG_ERROR, nullptr); }
  ~FileDigest() override { WrapLogClose(); }

  std::string Digest(const char16_t* path = kFile) {
    std::uint8_t digest[kMd5Size] = {};
    result = WrapCalcFileMD5(path, digest);
    std::string text;
    for (const std::uint8_t byte : digest) {
      text += "0123456789abcdef"[byte >> 4];
      text += "0123456789abcdef"[byte & 15];
    }
    return text;
  }
  void ExpectNothingHeld() const {
    EXPECT_EQ(machine.crypto.open_count(), 0u);
    EXPECT_EQ(machine.files.open_files(), 0u);
  }

  ScriptedPlatform machine;
  std::uint32_t result = 99;
};

const std::string kNoDigest(32, '0');

/// Keeps how the last file was opened.
class KeepsTheOpening : public testing::FaultyFiles {
 public:
  using FaultyFiles::FaultyFiles;

  std::uint32_t access = 0;
  std::uint32_t share_mode = 0;
  std::uint32_t disposition = 0;
  std::uint32_t flags = 0;

  platform::HANDLE CreateFileW(const char16_t* path, std::uint32_t wanted, std::uint32_t shared, std::uint32_t how,
                               std::uint32_t flags_and_attributes) override {
    access = wanted;
    share_mode = shared;
    disposition = how;
    flags = flags_and_attributes;
    return FaultyFiles::CreateFileW(path, wanted, shared, how, flags_and_attributes);
  }
};

TEST_F(FileDigest, OpensTheFileToReadItOnceThroughBesideOtherReaders) {
  FaultPlan plan;
  KeepsTheOpening files(&machine.files, &plan);
  platform::Platform ports = machine.ports;
  ports.files = &files;
  const platform::ScopedPlatform in_force(&ports);
  machine.files.AddFile(kFile, "text");
  Digest();
  EXPECT_EQ(result, 1u);
  EXPECT_EQ(files.access, 0x80000000u);
  EXPECT_EQ(files.share_mode, 1u);
  EXPECT_EQ(files.disposition, 3u);
  EXPECT_EQ(files.flags, 0x08000000u);
}

TEST_F(FileDigest, IsTheMd5OfTheBytes) {
  machine.files.AddFile(kFile, "The quick brown fox jumps over the lazy dog");
  EXPECT_EQ(Digest(), "9e107d9d372bb6826bd81d3542a419d6");
  EXPECT_EQ(result, 1u);
  ExpectNothingHeld();
}

TEST_F(FileDigest, AnEmptyFileHasTheMd5OfNoData) {
  machine.files.AddFile(kFile, "");
  EXPECT_EQ(Digest(), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(result, 1u);
}

TEST_F(FileDigest, ReadsInBlocksOf1024Bytes) {
  machine.files.AddFile(kFile, std::string(2048, 'a'));
  FaultPlan plan;
  const FaultyPlatform watched(machine.ports, &plan);
  EXPECT_EQ(Digest(), "b7ea2d21ad2ef3e28085d30247603e0b");
  EXPECT_EQ(plan.CountOf("ReadFile"), 3u) << "two blocks and the end";
  EXPECT_EQ(plan.CountOf("CryptHashData"), 2u);
}

struct Row {
  const char* operation;
  const char* line;
};

class FileDigestFailure : public FileDigest, public ::testing::WithParamInterface<Row> {};

TEST_P(FileDigestFailure, IsToldWithItsLineAndReleasesWhatExists) {
  machine.files.AddFile(kFile, "bytes");
  FaultPlan plan;
  plan.Fail(GetParam().operation, 1117);
  const FaultyPlatform faulty(machine.ports, &plan);
  EXPECT_EQ(Digest(), kNoDigest) << "the digest stays as it was";
  EXPECT_EQ(result, 0u);
  EXPECT_TRUE(machine.system.Logged(GetParam().line)) << machine.system.DebugText();
  EXPECT_EQ(machine.system.DebugLines().size(), 1u);
  ExpectNothingHeld();
}

INSTANTIATE_TEST_SUITE_P(
    EachStep, FileDigestFailure,
    ::testing::Values(
        Row{"CreateFileW", "WrapCalcFileMD5 func CreateFileW(C:\\Data\\file.bin) failed(1117).\r\n"},
        Row{"CryptAcquireContextW", "WrapCalcFileMD5 func (C:\\Data\\file.bin) CryptAcquireContext failed(1117).\r\n"},
        Row{"CryptCreateHash", "WrapCalcFileMD5 func (C:\\Data\\file.bin) CryptCreateHash failed(1117).\r\n"},
        Row{"CryptHashData", "WrapCalcFileMD5 func (C:\\Data\\file.bin) CryptHashData failed(1117).\r\n"},
        Row{"ReadFile", "WrapCalcFileMD5 func ReadFile(C:\\Data\\file.bin) failed(1117).\r\n"},
        Row{"CryptGetHashParam", "WrapCalcFileMD5 func (C:\\Data\\file.bin) CryptGetHashParam failed(1117).\r\n"}),
    [](const auto& info) { return std::string(info.param.operation); });

TEST_F(FileDigest, AMissingFileIsAFailedOpen) {
  EXPECT_EQ(Digest(), kNoDigest);
  EXPECT_TRUE(machine.system.Logged("CreateFileW(C:\\Data\\file.bin) failed(3)"));
}

TEST_F(FileDigest, ReleasesHashThenContextThenFile) {
  machine.files.AddFile(kFile, "bytes");
  FaultPlan plan;
  const FaultyPlatform watched(machine.ports, &plan);
  Digest();
  const auto calls = plan.Calls();
  ASSERT_GE(calls.size(), 3u);
  EXPECT_EQ(std::vector<std::string>(calls.end() - 3, calls.end()),
            (std::vector<std::string>{"CryptDestroyHash", "CryptReleaseContext", "CloseHandle"}));
}

}  // namespace
}  // namespace varnel

#include "platform/embedded/files/narrow_stream.h"

#include <cerrno>

#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

class NarrowStreams : public MachineFixture {
 protected:
  std::uint32_t ErrorOf(const char* mode) {
    std::FILE* stream = nullptr;
    const std::uint32_t error = OpenStream(FileOpener(machine_), u"C:\\file", mode, &stream);
    if (error == 0) std::fclose(stream);
    return error;
  }
};

TEST_F(NarrowStreams, ModesThatAreNoneAnswer87) {
  for (const char* mode : {"", "q", "rz", "rx"}) EXPECT_EQ(ErrorOf(mode), platform::kErrorInvalidParameter) << mode;
}

TEST_F(NarrowStreams, ReadingAMissingFileAnswers2AndMakingAPresentOneAnew80) {
  EXPECT_EQ(ErrorOf("r"), platform::kErrorFileNotFound);
  MakeFile("file");
  EXPECT_EQ(ErrorOf("wx"), platform::kErrorFileExists);
  EXPECT_EQ(ErrorOf("r+b"), 0u);
}

TEST_F(NarrowStreams, KeepToTheSharingOfTheMachineUntilTheyAreClosed) {
  std::FILE* stream = nullptr;
  ASSERT_EQ(OpenStream(FileOpener(machine_), u"C:\\file", "w", &stream), 0u);
  EXPECT_EQ(OpenError(u"C:\\file", platform::kGenericRead, platform::kFileShareRead), platform::kErrorSharingViolation);
  EXPECT_FALSE(files_->DeleteFileW(u"C:\\file"));
  EXPECT_EQ(std::fclose(stream), 0);
  EXPECT_TRUE(files_->DeleteFileW(u"C:\\file"));
}

TEST_F(NarrowStreams, AWriteToAStreamForReadingFails) {
  MakeFile("file");
  std::FILE* stream = nullptr;
  ASSERT_EQ(OpenStream(FileOpener(machine_), u"C:\\file", "r", &stream), 0u);
  EXPECT_LT(std::fputs("x", stream), 0);
  std::fclose(stream);
}

TEST_F(NarrowStreams, ReadAndWriteAnywhereInAFileOpenedForBoth) {
  MakeFile("file", "0123456789");
  std::FILE* stream = nullptr;
  ASSERT_EQ(OpenStream(FileOpener(machine_), u"C:\\file", "r+b", &stream), 0u);
  EXPECT_EQ(std::fseek(stream, 4, SEEK_SET), 0);
  EXPECT_GE(std::fputs("xy", stream), 0);
  EXPECT_EQ(std::fseek(stream, -1, SEEK_END), 0);
  EXPECT_EQ(std::fgetc(stream), '9');
  EXPECT_EQ(std::fclose(stream), 0);
  EXPECT_EQ(ReadHost("file"), "0123xy6789");
}

}  // namespace
}  // namespace varnel::embedded

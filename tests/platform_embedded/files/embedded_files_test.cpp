#include "platform/embedded/files/embedded_files.h"

#include "machine_fixture.h"
#include "platform/embedded/core/wide_buffer.h"

namespace varnel::embedded {
namespace {

using FilesPort = MachineFixture;

TEST_F(FilesPort, HandleValuesAreNeverUsedAgain) {
  MakeFile("file");
  const auto open = [&] {
    return files_->CreateFileW(u"C:\\file", platform::kGenericRead, 1, platform::kOpenExisting, 0);
  };
  const auto first = open();
  Handles().Remove(first);
  const auto second = open();
  EXPECT_NE(first, second);
  Handles().Remove(second);
}

TEST_F(FilesPort, ASearchEndsOnceAndAnswers6Afterwards) {
  platform::WIN32_FIND_DATAW data;
  const auto find = files_->FindFirstFileW(u"C:\\*", &data);
  ASSERT_NE(find, platform::kInvalidHandleValue);
  EXPECT_TRUE(files_->FindClose(find));
  EXPECT_FALSE(files_->FindClose(find));
  EXPECT_EQ(LastError(), platform::kErrorInvalidHandle);
  SetLastError(0);
  EXPECT_FALSE(files_->FindNextFileW(find, &data));
  EXPECT_EQ(LastError(), platform::kErrorInvalidHandle);
}

TEST_F(FilesPort, TheTemporaryFolderIsTheEnvironments) {
  char16_t buffer[260];
  EXPECT_EQ(files_->GetTempPathW(260, buffer), 16u);
  EXPECT_EQ(std::u16string(buffer), u"C:\\Windows\\Temp\\");
  environment_.Set(u"tmp", u"C:\\Elsewhere\\");
  files_->GetTempPathW(260, buffer);
  EXPECT_EQ(std::u16string(buffer), u"C:\\Elsewhere\\");
}

TEST_F(FilesPort, ANullPathIsAnEmptyOne) {
  EXPECT_EQ(files_->GetFileAttributesW(nullptr), platform::kInvalidFileAttributes);
  EXPECT_EQ(LastError(), platform::kErrorPathNotFound);
  EXPECT_FALSE(files_->PathFileExistsA(nullptr));
}

TEST_F(FilesPort, AMoveToNowhereAnswers87) {
  MakeFile("file");
  EXPECT_FALSE(files_->MoveFileExW(u"C:\\file", nullptr, 0));
  EXPECT_EQ(LastError(), platform::kErrorInvalidParameter);
}

TEST_F(FilesPort, AFileOf4GiBLessOneAnswersItsSizeWithoutAnError) {
  MakeFile("big");
  std::filesystem::resize_file(Host("big"), 0xFFFFFFFF);
  const auto file = files_->CreateFileW(u"C:\\big", platform::kGenericRead, 1, platform::kOpenExisting, 0);
  SetLastError(77);
  EXPECT_EQ(files_->GetFileSize(file, nullptr), platform::kInvalidFileSize);
  EXPECT_EQ(LastError(), 0u);
  Handles().Remove(file);
}

}  // namespace
}  // namespace varnel::embedded

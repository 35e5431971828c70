#include "temp_folder.h"

namespace varnel::platform {

TempFolder::TempFolder() {
  char16_t buffer[260];
  GUID guid{};
  FilesPort().GetTempPathW(260, buffer);
  path_ = buffer;
  SystemPort().CoCreateGuid(&guid);
  SystemPort().StringFromGUID2(guid, buffer, 260);
  path_ += buffer;
  EXPECT_EQ(FilesPort().CreateFolders(path_.c_str()), kErrorSuccess);
}

TempFolder::~TempFolder() {
  EXPECT_EQ(FilesPort().RemoveFolders(path_.c_str()), kErrorSuccess);
}

std::u16string TempFolder::operator/(std::u16string_view name) const {
  return path_ + u'\\' + std::u16string(name);
}

std::uint32_t LastError() {
  return SystemPort().GetLastError();
}

void ForgetError() {
  SystemPort().SetLastError(kErrorSuccess);
}

HANDLE OpenFile(const std::u16string& path, std::uint32_t access, std::uint32_t share_mode, std::uint32_t disposition) {
  return FilesPort().CreateFileW(path.c_str(), access, share_mode, disposition, kFileAttributeNormal);
}

std::uint32_t OpenError(const std::u16string& path, std::uint32_t access, std::uint32_t disposition) {
  ForgetError();
  const HANDLE file = OpenFile(path, access, kShareAll, disposition);
  const std::uint32_t error = LastError();
  if (file != kInvalidHandleValue) CloseFile(file);
  return error;
}

std::uint32_t Attributes(const std::u16string& path) {
  return FilesPort().GetFileAttributesW(path.c_str());
}

void CloseFile(HANDLE file) {
  EXPECT_TRUE(SystemPort().CloseHandle(file));
}

void WriteText(const std::u16string& path, std::string_view text) {
  const HANDLE file = OpenFile(path, kGenericWrite, 0, kCreateAlways);
  ASSERT_NE(file, kInvalidHandleValue) << LastError();
  std::uint32_t written = 0;
  EXPECT_TRUE(FilesPort().WriteFile(file, text.data(), static_cast<std::uint32_t>(text.size()), &written, nullptr));
  EXPECT_EQ(written, text.size());
  CloseFile(file);
}

std::string ReadText(const std::u16string& path) {
  const HANDLE file = OpenFile(path, kGenericRead, kFileShareRead | kFileShareWrite | kFileShareDelete);
  if (file == kInvalidHandleValue) return "<error " + std::to_string(LastError()) + ">";
  std::string text;
  char block[4096];
  std::uint32_t read = 0;
  while (FilesPort().ReadFile(file, block, sizeof block, &read, nullptr) && read != 0) text.append(block, read);
  CloseFile(file);
  return text;
}

}  // namespace varnel::platform

#include "base/file_services.h"

#include <cstring>

#include "base/file_digest.h"
#include "base/log.h"
#include "base/text.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::FilesPort;
using platform::SystemPort;

constexpr std::size_t kLongestFolder = 256;  // characters

void JoinPath(char16_t* out, const char16_t* folder, const char16_t* name) {
  CopyText(out, kMaxPath, folder);
  PathAppendW(out, name);
}

/// A folder's text and the separator behind it, with room for the longest entry name.
class FolderPath {
 public:
  explicit FolderPath(const char16_t* folder) : length_(TextLength(folder)) {
    CopyText(text_, kCapacity, folder);
    if (text_[length_ - 1] != u'\\') text_[length_++] = u'\\';
    text_[length_] = 0;
  }
  const char16_t* With(const char16_t* name) {
    CopyText(text_ + length_, kCapacity - length_, name);
    return text_;
  }

 private:
  static constexpr std::size_t kCapacity = kLongestFolder + 1 + kMaxPath;
  char16_t text_[kCapacity];
  std::size_t length_;
};

bool IsFile(const platform::WIN32_FIND_DATAW& entry) {
  if (CompareTextNoCase(entry.cFileName, u".") == 0 || CompareTextNoCase(entry.cFileName, u"..") == 0) return false;
  return (entry.dwFileAttributes & platform::kFileAttributeDirectory) == 0;
}

}  // namespace

std::uint32_t CompareFileInDirs(const char16_t* sourceDir, const char16_t* targetDir, const char16_t* fileName,
                                std::uint32_t* existsInTarget, std::uint32_t* sameContent) {
  *existsInTarget = 0;
  *sameContent = 0;
  char16_t source[kMaxPath];
  char16_t target[kMaxPath];
  JoinPath(source, sourceDir, fileName);
  JoinPath(target, targetDir, fileName);
  if (!FilesPort().PathFileExistsW(target)) return kStatusOk;

  *existsInTarget = 1;
  std::uint8_t source_digest[kMd5Size];
  std::uint8_t target_digest[kMd5Size];
  if (WrapCalcFileMD5(source, source_digest) == 0) return kStatusUnsuccessful;
  if (WrapCalcFileMD5(target, target_digest) == 0) return kStatusUnsuccessful;
  if (std::memcmp(source_digest, target_digest, kMd5Size) == 0) *sameContent = 1;
  return kStatusOk;
}

std::uint32_t WrapCopyFile(const char16_t* sourceDir, const char16_t* targetDir, const char16_t* fileName,
                           std::uint32_t failIfExists) {
  char16_t source[kMaxPath];
  char16_t target[kMaxPath];
  JoinPath(source, sourceDir, fileName);
  JoinPath(target, targetDir, fileName);
  if (FilesPort().CopyFileW(source, target, failIfExists != 0)) return kStatusOk;
  WrapLogPrint(LOG_ERROR, u"WrapCopyFile(%s) -> (%s) failed(%d)!\r\n", source, target, SystemPort().GetLastError());
  return kStatusFail;
}

std::uint32_t EnumTargetDirFile(const char16_t* dir, EnumFileCallback callback, void* context) {
  if (dir == nullptr || callback == nullptr) return platform::kErrorInvalidParameter;
  const std::size_t length = TextLength(dir);
  if (length == 0 || length > kLongestFolder) return platform::kErrorInvalidParameter;

  FolderPath path(dir);
  platform::WIN32_FIND_DATAW entry;
  const platform::HANDLE find = FilesPort().FindFirstFileW(path.With(u"*"), &entry);
  if (find == platform::kInvalidHandleValue) return SystemPort().GetLastError();
  std::uint32_t result = 0;
  do {
    if (IsFile(entry)) result = callback(path.With(entry.cFileName), context);
  } while (result == 0 && FilesPort().FindNextFileW(find, &entry));
  const std::uint32_t error = SystemPort().GetLastError();
  FilesPort().FindClose(find);
  if (result != 0) return result;
  return error == platform::kErrorNoMoreFiles ? platform::kErrorSuccess : error;
}

}  // namespace varnel

#include "base/file_digest.h"

#include "base/file_handle.h"
#include "base/log.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::FilesPort;
using platform::SystemPort;

constexpr std::uint32_t kBlockSize = 1024;  // bytes a read

bool OpenHash(const char16_t* path, Md5Hash* hash) {
  if (!hash->Acquire()) {
    WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func (%s) CryptAcquireContext failed(%d).\r\n", path,
                 SystemPort().GetLastError());
    return false;
  }
  if (!hash->Create()) {
    WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func (%s) CryptCreateHash failed(%d).\r\n", path,
                 SystemPort().GetLastError());
    return false;
  }
  return true;
}

bool HashFile(const char16_t* path, platform::HANDLE file, Md5Hash* hash) {
  std::uint8_t block[kBlockSize];
  for (;;) {
    std::uint32_t read = 0;
    if (!FilesPort().ReadFile(file, block, kBlockSize, &read, nullptr)) {
      WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func ReadFile(%s) failed(%d).\r\n", path, SystemPort().GetLastError());
      return false;
    }
    if (read == 0) return true;
    if (!hash->Add(block, read)) {
      WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func (%s) CryptHashData failed(%d).\r\n", path,
                   SystemPort().GetLastError());
      return false;
    }
  }
}

}  // namespace

std::uint32_t WrapCalcFileMD5(const char16_t* path, std::uint8_t* digest) {
  const FileHandle file(FilesPort().CreateFileW(path, platform::kGenericRead, platform::kFileShareRead,
                                                platform::kOpenExisting, platform::kFileFlagSequentialScan));
  if (!file.valid()) {
    WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func CreateFileW(%s) failed(%d).\r\n", path, SystemPort().GetLastError());
    return 0;
  }
  Md5Hash hash;  // released before the file
  if (!OpenHash(path, &hash) || !HashFile(path, file.get(), &hash)) return 0;
  if (hash.Value(digest)) return 1;
  WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func (%s) CryptGetHashParam failed(%d).\r\n", path,
               SystemPort().GetLastError());
  return 0;
}

}  // namespace varnel

#include "base/file_digest.h"

#include <cstring>

#include "base/log.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::CryptoPort;
using platform::FilesPort;
using platform::SystemPort;

constexpr std::uint32_t kBlockSize = 1024;  // bytes a read

/// What one digest holds while it is taken; released in the order hash, context, file.
struct DigestResources {
  platform::HANDLE file = platform::kInvalidHandleValue;
  platform::HCRYPTPROV provider = 0;
  platform::HCRYPTHASH hash = 0;

  DigestResources() = default;
  DigestResources(const DigestResources&) = delete;
  DigestResources& operator=(const DigestResources&) = delete;
  ~DigestResources() {
    if (hash != 0) CryptoPort().CryptDestroyHash(hash);
    if (provider != 0) CryptoPort().CryptReleaseContext(provider);
    if (file != platform::kInvalidHandleValue) SystemPort().CloseHandle(file);
  }
};

bool OpenResources(const char16_t* path, DigestResources* held) {
  held->file = FilesPort().CreateFileW(path, platform::kGenericRead, platform::kFileShareRead, platform::kOpenExisting,
                                       platform::kFileFlagSequentialScan);
  if (held->file == platform::kInvalidHandleValue) {
    WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func CreateFileW(%s) failed(%d).\r\n", path, SystemPort().GetLastError());
    return false;
  }
  if (!CryptoPort().CryptAcquireContextW(&held->provider, platform::kProvRsaFull, platform::kCryptVerifyContext)) {
    held->provider = 0;
    WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func (%s) CryptAcquireContext failed(%d).\r\n", path,
                 SystemPort().GetLastError());
    return false;
  }
  if (!CryptoPort().CryptCreateHash(held->provider, platform::kCalgMd5, &held->hash)) {
    held->hash = 0;
    WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func (%s) CryptCreateHash failed(%d).\r\n", path,
                 SystemPort().GetLastError());
    return false;
  }
  return true;
}

bool HashFile(const char16_t* path, const DigestResources& held) {
  std::uint8_t block[kBlockSize];
  for (;;) {
    std::uint32_t read = 0;
    if (!FilesPort().ReadFile(held.file, block, kBlockSize, &read, nullptr)) {
      WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func ReadFile(%s) failed(%d).\r\n", path, SystemPort().GetLastError());
      return false;
    }
    if (read == 0) return true;
    if (!CryptoPort().CryptHashData(held.hash, block, read)) {
      WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func (%s) CryptHashData failed(%d).\r\n", path,
                   SystemPort().GetLastError());
      return false;
    }
  }
}

}  // namespace

std::uint32_t WrapCalcFileMD5(const char16_t* path, std::uint8_t* digest) {
  DigestResources held;
  if (!OpenResources(path, &held) || !HashFile(path, held)) return 0;
  std::uint8_t value[kMd5Size];
  std::uint32_t size = kMd5Size;
  if (!CryptoPort().CryptGetHashParam(held.hash, platform::kHpHashVal, value, &size)) {
    WrapLogPrint(LOG_ERROR, u"WrapCalcFileMD5 func (%s) CryptGetHashParam failed(%d).\r\n", path,
                 SystemPort().GetLastError());
    return 0;
  }
  std::memcpy(digest, value, kMd5Size);
  return 1;
}

}  // namespace varnel

#include "base/md5_hash.h"

#include <cstring>

namespace varnel {

using platform::CryptoPort;

Md5Hash::~Md5Hash() {
  if (hash_ != 0) CryptoPort().CryptDestroyHash(hash_);
  if (provider_ != 0) CryptoPort().CryptReleaseContext(provider_);
}

bool Md5Hash::Acquire() {
  platform::HCRYPTPROV provider = 0;
  if (!CryptoPort().CryptAcquireContextW(&provider, platform::kProvRsaFull, platform::kCryptVerifyContext)) {
    return false;
  }
  provider_ = provider;
  return true;
}

bool Md5Hash::Create() {
  platform::HCRYPTHASH hash = 0;
  if (!CryptoPort().CryptCreateHash(provider_, platform::kCalgMd5, &hash)) return false;
  hash_ = hash;
  return true;
}

bool Md5Hash::Add(const void* bytes, std::uint32_t size) {
  return CryptoPort().CryptHashData(hash_, bytes, size);
}

bool Md5Hash::Value(std::uint8_t* digest) {
  std::uint8_t value[kMd5Size];
  std::uint32_t size = kMd5Size;
  if (!CryptoPort().CryptGetHashParam(hash_, platform::kHpHashVal, value, &size)) return false;
  std::memcpy(digest, value, kMd5Size);
  return true;
}

}  // namespace varnel

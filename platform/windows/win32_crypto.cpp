#include "platform/windows/win32_crypto.h"

#include "platform/windows/border.h"
// After the system's own header.
#include <wincrypt.h>

namespace varnel::windows {

bool Win32Crypto::CryptAcquireContextW(HCRYPTPROV* provider, std::uint32_t provider_type, std::uint32_t flags) {
  return ::CryptAcquireContextW(Across<::HCRYPTPROV>(provider), nullptr, nullptr, provider_type, flags) != 0;
}

bool Win32Crypto::CryptCreateHash(HCRYPTPROV provider, std::uint32_t algorithm, HCRYPTHASH* hash) {
  return ::CryptCreateHash(provider, algorithm, 0, 0, Across<::HCRYPTHASH>(hash)) != 0;
}

bool Win32Crypto::CryptHashData(HCRYPTHASH hash, const void* data, std::uint32_t size) {
  return ::CryptHashData(hash, static_cast<const BYTE*>(data), size, 0) != 0;
}

bool Win32Crypto::CryptGetHashParam(HCRYPTHASH hash, std::uint32_t parameter, void* data, std::uint32_t* size) {
  return ::CryptGetHashParam(hash, parameter, static_cast<BYTE*>(data), Across<DWORD>(size), 0) != 0;
}

bool Win32Crypto::CryptDestroyHash(HCRYPTHASH hash) {
  return ::CryptDestroyHash(hash) != 0;
}

bool Win32Crypto::CryptReleaseContext(HCRYPTPROV provider) {
  return ::CryptReleaseContext(provider, 0) != 0;
}

}  // namespace varnel::windows

// MD5 through the platform's cryptographic service, each call apart, since each failure is told apart. A call that
// fails sets the thread's last error.
#pragma once

#include "platform/types.h"

namespace varnel::platform {

using HCRYPTPROV = std::uintptr_t;
using HCRYPTHASH = std::uintptr_t;

inline constexpr std::uint32_t kProvRsaFull = 1;
inline constexpr std::uint32_t kCryptVerifyContext = 0xF0000000;
inline constexpr std::uint32_t kCalgMd5 = 0x8003;
inline constexpr std::uint32_t kHpHashVal = 2;

class Crypto {
 public:
  virtual ~Crypto() = default;

  virtual bool CryptAcquireContextW(HCRYPTPROV* provider, std::uint32_t provider_type, std::uint32_t flags) = 0;
  virtual bool CryptCreateHash(HCRYPTPROV provider, std::uint32_t algorithm, HCRYPTHASH* hash) = 0;
  virtual bool CryptHashData(HCRYPTHASH hash, const void* data, std::uint32_t size) = 0;
  /// `size` in bytes, in and out; 234 when the room is too small.
  virtual bool CryptGetHashParam(HCRYPTHASH hash, std::uint32_t parameter, void* data, std::uint32_t* size) = 0;
  virtual bool CryptDestroyHash(HCRYPTHASH hash) = 0;
  virtual bool CryptReleaseContext(HCRYPTPROV provider) = 0;
};

}  // namespace varnel::platform

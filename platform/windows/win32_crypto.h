// The crypto port by the system's cryptographic service.
#pragma once

#include "platform/crypto.h"

namespace varnel::windows {

class Win32Crypto final : public platform::Crypto {
 public:
  using HCRYPTPROV = platform::HCRYPTPROV;
  using HCRYPTHASH = platform::HCRYPTHASH;

  bool CryptAcquireContextW(HCRYPTPROV* provider, std::uint32_t provider_type, std::uint32_t flags) override;
  bool CryptCreateHash(HCRYPTPROV provider, std::uint32_t algorithm, HCRYPTHASH* hash) override;
  bool CryptHashData(HCRYPTHASH hash, const void* data, std::uint32_t size) override;
  bool CryptGetHashParam(HCRYPTHASH hash, std::uint32_t parameter, void* data, std::uint32_t* size) override;
  bool CryptDestroyHash(HCRYPTHASH hash) override;
  bool CryptReleaseContext(HCRYPTPROV provider) override;
};

}  // namespace varnel::windows

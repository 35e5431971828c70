// The crypto port: MD5 and nothing else. Providers and hashes stand in the process's handle table. Any thread may call,
// one at a time for each hash.
#pragma once

#include "platform/crypto.h"

namespace varnel::embedded {

class EmbeddedCrypto : public platform::Crypto {
 public:
  /// 0x80090017 for another provider type than the one of the port.
  bool CryptAcquireContextW(platform::HCRYPTPROV* provider, std::uint32_t provider_type, std::uint32_t flags) override;
  /// The platform's own numbers for another algorithm, and below for a hash that has given its value (0x80090008,
  /// 0x8009000C).
  bool CryptCreateHash(platform::HCRYPTPROV provider, std::uint32_t algorithm, platform::HCRYPTHASH* hash) override;
  bool CryptHashData(platform::HCRYPTHASH hash, const void* data, std::uint32_t size) override;
  bool CryptGetHashParam(platform::HCRYPTHASH hash, std::uint32_t parameter, void* data, std::uint32_t* size) override;
  bool CryptDestroyHash(platform::HCRYPTHASH hash) override;
  bool CryptReleaseContext(platform::HCRYPTPROV provider) override;
};

}  // namespace varnel::embedded

// The crypto port with a real MD5.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "platform/crypto.h"

namespace varnel::testing {

class FakeCrypto : public platform::Crypto {
 public:
  bool CryptAcquireContextW(platform::HCRYPTPROV* provider, std::uint32_t provider_type, std::uint32_t flags) override;
  bool CryptCreateHash(platform::HCRYPTPROV provider, std::uint32_t algorithm, platform::HCRYPTHASH* hash) override;
  bool CryptHashData(platform::HCRYPTHASH hash, const void* data, std::uint32_t size) override;
  bool CryptGetHashParam(platform::HCRYPTHASH hash, std::uint32_t parameter, void* data, std::uint32_t* size) override;
  bool CryptDestroyHash(platform::HCRYPTHASH hash) override;
  bool CryptReleaseContext(platform::HCRYPTPROV provider) override;

  /// Contexts and hashes that were not released.
  std::size_t open_count() const;

 private:
  mutable std::mutex mutex_;
  std::uintptr_t next_ = 0x50;
  std::map<platform::HCRYPTPROV, bool> providers_;
  struct Hash {
    std::string bytes;  // what was handed in
    bool finished = false;
  };
  std::map<platform::HCRYPTHASH, Hash> hashes_;
};

/// The 16 bytes of the MD5 of a text.
std::string Md5Of(const std::string& bytes);

}  // namespace varnel::testing

// One MD5 through the platform's service, each step apart, since each failure is told apart by who takes it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

namespace varnel {

inline constexpr std::size_t kMd5Size = 16;

/// The steps in their order: Acquire, Create, Add as often as needed, Value. Each gives false, with the last error set,
/// when it fails. Releases the hash, then the context. One thread at a time.
class Md5Hash {
 public:
  Md5Hash() = default;
  ~Md5Hash();
  Md5Hash(const Md5Hash&) = delete;
  Md5Hash& operator=(const Md5Hash&) = delete;

  bool Acquire();
  bool Create();
  bool Add(const void* bytes, std::uint32_t size);
  /// Into kMd5Size bytes, which a failure leaves as they were.
  bool Value(std::uint8_t* digest);

 private:
  platform::HCRYPTPROV provider_ = 0;
  platform::HCRYPTHASH hash_ = 0;
};

}  // namespace varnel

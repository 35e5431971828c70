// MD5 (RFC 1321). A value type; one thread at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace varnel::embedded {

class Md5 {
 public:
  using Digest = std::array<std::uint8_t, 16>;

  void Update(std::span<const std::uint8_t> data);
  /// The digest of all that was added so far; more may be added afterwards.
  Digest Value() const;

 private:
  void Consume(const std::uint8_t* block);

  std::array<std::uint32_t, 4> state_ = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
  std::array<std::uint8_t, 64> pending_{};  // the first size_ % 64 bytes wait for the rest of their block
  std::uint64_t size_ = 0;
};

}  // namespace varnel::embedded

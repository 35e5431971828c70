// The 64-bit cyclic redundancy sum (the reflected ECMA-182 polynomial with all ones before and behind) that closes a
// flushed copy of the registry. Pure; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace varnel::embedded {

class Crc64 {
 public:
  void Add(std::span<const std::byte> bytes);
  /// The sum of all that was added.
  std::uint64_t value() const { return ~state_; }

 private:
  std::uint64_t state_ = ~std::uint64_t{0};
};

}  // namespace varnel::embedded

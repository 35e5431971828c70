// Memory for fuzz targets: bytes at one address, the rest zeros, with pages taken away by a mask.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "formats/address_space.h"

class FuzzMemory final : public varnel::formats::AddressSpace {
 public:
  /// @param missing  bit n: the n-th page of each region is not there
  FuzzMemory(std::uint64_t base, std::span<const std::uint8_t> bytes, std::size_t size, std::uint32_t missing)
      : base_(base), bytes_(size), missing_(missing) {
    std::copy_n(bytes.begin(), std::min(bytes.size(), size), bytes_.begin());
  }

  [[nodiscard]] std::size_t ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept override {
    ++reads_;
    const std::uint64_t begin = address - base_;
    std::size_t done = 0;
    while (done < into.size() && begin + done < bytes_.size() &&
           (missing_ >> ((begin + done) / 0x1000 % 32) & 1) == 0) {
      into[done] = std::byte{bytes_[begin + done]};
      ++done;
    }
    return done;
  }
  std::uint64_t reads() const { return reads_; }

 private:
  std::uint64_t base_;
  std::vector<std::uint8_t> bytes_;
  std::uint32_t missing_;
  mutable std::uint64_t reads_ = 0;
};

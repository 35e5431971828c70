// AddressSpace gives the virtual memory of a machine that no longer runs: a dump's, an image's in a test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace varnel::formats {

/// An implementation says itself from how many threads it may be read.
class AddressSpace {
 public:
  AddressSpace() = default;
  AddressSpace(const AddressSpace&) = delete;
  AddressSpace& operator=(const AddressSpace&) = delete;
  virtual ~AddressSpace() = default;

  /// Copies what is there from `address` on, up to the first byte that is not.
  /// @return how many bytes of `into` were filled from its beginning; 0 when the first one is missing.
  [[nodiscard]] virtual std::size_t ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept = 0;
};

}  // namespace varnel::formats

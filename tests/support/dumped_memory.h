// Memory of a machine for tests: blocks of bytes at addresses, parts of which can be taken away again.
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "formats/address_space.h"

namespace varnel::support {

/// Read by one thread at a time, for it counts its reads.
class DumpedMemory final : public formats::AddressSpace {
 public:
  /// Puts bytes at an address; what was there is overwritten as far as they go.
  DumpedMemory& Put(std::uint64_t address, std::span<const std::byte> bytes);
  DumpedMemory& Put64(std::uint64_t address, std::uint64_t value);
  /// Takes a part away: it reads as not in the dump.
  DumpedMemory& Hide(std::uint64_t address, std::uint64_t size);

  [[nodiscard]] std::size_t ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept override;

  std::uint64_t reads() const { return reads_; }

 private:
  std::size_t ReadPiece(std::uint64_t address, std::span<std::byte> into) const noexcept;

  std::map<std::uint64_t, std::vector<std::byte>> blocks_;  // by address; they do not overlap
  mutable std::uint64_t reads_ = 0;
};

}  // namespace varnel::support

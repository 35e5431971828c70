// DumpMemory is the memory of the machine as one form of dump keeps it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "formats/address_space.h"
#include "formats/dump/dump_records.h"

namespace varnel::formats {

/// One thread at a time: implementations build indexes when they are first read.
class DumpMemory : public AddressSpace {
 public:
  /// kNone when the byte can be read.
  [[nodiscard]] virtual MissingReason WhyMissing(std::uint64_t address) const noexcept = 0;
  [[nodiscard]] virtual std::size_t ReadPhysical(std::uint64_t address, std::span<std::byte> into) const noexcept = 0;
  [[nodiscard]] virtual std::optional<std::uint64_t> Translate(std::uint64_t address) const noexcept = 0;
  /// One of the platform's PAGE_... values.
  [[nodiscard]] virtual std::optional<std::uint32_t> Protection(std::uint64_t address) const noexcept = 0;
};

}  // namespace varnel::formats

// ProcessorContext is the registers of one x64 processor as a dump keeps them: a CONTEXT of 1232 bytes. A plain value.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace varnel::formats {

/// The general registers in the order in which a CONTEXT has them.
enum class X64Register : std::uint8_t {
  kRax,
  kRcx,
  kRdx,
  kRbx,
  kRsp,
  kRbp,
  kRsi,
  kRdi,
  kR8,
  kR9,
  kR10,
  kR11,
  kR12,
  kR13,
  kR14,
  kR15,
  kRip,
};

struct ProcessorContext {
  static constexpr std::size_t kSize = 1232;

  std::array<std::byte, kSize> bytes{};

  /// A number at a place of the record. REQUIRES: `offset` + sizeof(T) <= kSize.
  template <typename T>
  T At(std::size_t offset) const noexcept {
    T value{};
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
  }
  std::uint64_t Get(X64Register which) const noexcept {
    return At<std::uint64_t>(0x78 + 8 * static_cast<std::size_t>(which));
  }
  std::uint64_t Rip() const noexcept { return Get(X64Register::kRip); }
  std::uint64_t Rsp() const noexcept { return Get(X64Register::kRsp); }
  std::uint32_t Flags() const noexcept { return At<std::uint32_t>(0x30); }  ///< ContextFlags
  std::uint32_t EFlags() const noexcept { return At<std::uint32_t>(0x44); }
};

}  // namespace varnel::formats

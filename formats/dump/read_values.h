// Reading whole values out of a dump's file and out of its memory. Little-endian; nothing is aliased.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <type_traits>

#include "formats/address_space.h"
#include "formats/dump/dump_source.h"

namespace varnel::formats {

inline constexpr std::uint64_t kDumpPageSize = 0x1000;
/// Writers fill 4 bytes that they know nothing of with the text "PAGE".
inline constexpr std::uint32_t kAbsent32 = 0x45474150;
inline constexpr std::uint64_t kAbsent64 = 0x4547415045474150;

/// The value at a place of the file; empty when any byte of it is missing.
template <typename T>
std::optional<T> ReadFile(const DumpSource& source, std::uint64_t offset) noexcept {
  static_assert(std::is_trivially_copyable_v<T>);
  T value{};
  if (source.Read(offset, std::as_writable_bytes(std::span(&value, 1))) != sizeof(T)) return {};
  return value;
}

/// The value at an address; empty when any byte of it is missing.
template <typename T>
std::optional<T> ReadMemory(const AddressSpace& memory, std::uint64_t address) noexcept {
  static_assert(std::is_trivially_copyable_v<T>);
  T value{};
  if (memory.ReadVirtual(address, std::as_writable_bytes(std::span(&value, 1))) != sizeof(T)) return {};
  return value;
}

/// A part of a record that was read as a whole. REQUIRES: `offset` + sizeof(T) lies within `bytes`.
template <typename T>
T Field(std::span<const std::byte> bytes, std::size_t offset) noexcept {
  T value{};
  std::memcpy(&value, bytes.data() + offset, sizeof(T));
  return value;
}

}  // namespace varnel::formats

// Little-endian values in blocks of bytes that a dump is made of.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace varnel::embedded {

/// Puts a number at a place of a block. The caller knows the block's layout: a place outside is a mistake in the
/// program.
template <typename T>
void Store(std::span<std::byte> block, std::size_t offset, std::type_identity_t<T> value) {
  static_assert(std::is_integral_v<T>);
  assert(offset + sizeof(T) <= block.size());
  std::memcpy(block.data() + offset, &value, sizeof(T));
}

/// Copies bytes to a place of a block.
inline void StoreBytes(std::span<std::byte> block, std::size_t offset, std::span<const std::byte> bytes) {
  assert(offset + bytes.size() <= block.size());
  if (!bytes.empty()) std::memcpy(block.data() + offset, bytes.data(), bytes.size());
}

template <typename T>
T Load(std::span<const std::byte> block, std::size_t offset) {
  static_assert(std::is_integral_v<T>);
  assert(offset + sizeof(T) <= block.size());
  T value{};
  std::memcpy(&value, block.data() + offset, sizeof(T));
  return value;
}

constexpr std::uint64_t RoundUp(std::uint64_t value, std::uint64_t to) {
  return (value + to - 1) / to * to;
}

}  // namespace varnel::embedded

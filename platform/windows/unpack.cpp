#include "platform/unpack.h"

#include "platform/windows/native_unpack.h"

namespace varnel::platform {

bool Unpack(std::uint16_t format, std::span<const std::byte> in, std::span<std::byte> out) noexcept {
  return UnpackUpTo(format, in, out) == out.size();
}

std::optional<std::size_t> UnpackUpTo(std::uint16_t format, std::span<const std::byte> in,
                                      std::span<std::byte> out) noexcept {
  constexpr std::size_t kLargest = 0xFFFFFFFF;
  if (in.empty() || out.empty() || in.size() > kLargest || out.size() > kLargest) return std::nullopt;
  std::uint32_t size = 0;
  const std::uint32_t status = windows::NativeUnpack(format, out.data(), static_cast<std::uint32_t>(out.size()),
                                                     in.data(), static_cast<std::uint32_t>(in.size()), &size);
  if (status != 0 || size > out.size()) return std::nullopt;
  return size;
}

}  // namespace varnel::platform

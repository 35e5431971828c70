#include "platform/embedded/unpack.h"

#include <libfwnt.h>

namespace varnel::embedded {
namespace {

using Decompress = int (*)(const std::uint8_t*, std::size_t, std::uint8_t*, std::size_t*, libfwnt_error_t**);

constexpr std::uint16_t kLznt1 = 2;
constexpr std::uint16_t kXpress = 3;
constexpr std::uint16_t kXpressHuffman = 4;

Decompress FunctionOf(std::uint16_t format) noexcept {
  switch (format) {
    case kLznt1:
      return libfwnt_lznt1_decompress;
    case kXpress:
      return libfwnt_lzxpress_decompress;
    case kXpressHuffman:
      return libfwnt_lzxpress_huffman_decompress;
    default:
      return nullptr;
  }
}

}  // namespace

bool Unpack(std::uint16_t format, std::span<const std::byte> in, std::span<std::byte> out) noexcept {
  return UnpackUpTo(format, in, out) == out.size();
}

std::optional<std::size_t> UnpackUpTo(std::uint16_t format, std::span<const std::byte> in,
                                      std::span<std::byte> out) noexcept {
  const Decompress decompress = FunctionOf(format);
  if (decompress == nullptr || in.empty() || out.empty()) return std::nullopt;
  std::size_t size = out.size();
  libfwnt_error_t* error = nullptr;
  const int result = decompress(reinterpret_cast<const std::uint8_t*>(in.data()), in.size(),
                                reinterpret_cast<std::uint8_t*>(out.data()), &size, &error);
  libfwnt_error_free(&error);
  if (result != 1 || size > out.size()) return std::nullopt;
  return size;
}

}  // namespace varnel::embedded

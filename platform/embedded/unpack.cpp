#include "platform/unpack.h"

#include <libfwnt.h>

#include <cstring>
#include <memory>
#include <new>

#include "platform/embedded/unpack_lznt1.h"

namespace varnel::platform {
namespace {

using Bytes = std::span<const std::byte>;

constexpr std::uint16_t kLznt1 = 2;
constexpr std::uint16_t kXpress = 3;
constexpr std::uint16_t kXpressHuffman = 4;

// The library that the distribution has reads up to three bytes behind packed data that ends within a word of flags,
// and writes one byte behind its room before it notices that there is none left. Both go into room of our own.
constexpr std::size_t kReadBehind = 4;
constexpr std::size_t kWrittenBehind = 8;

// A table of codes: 512 lengths of four bits each. The library takes room for 1023 nodes, which holds the tree of any
// complete code and no others.
constexpr std::size_t kCodeTableSize = 256;
constexpr unsigned kLongestCode = 15;
// With a larger result there would be another table in the middle of the data, where nothing can check it.
constexpr std::size_t kHuffmanChunk = 0x10000;

bool IsCompleteCode(Bytes table) noexcept {
  std::uint32_t filled = 0;
  for (const std::byte pair : table) {
    for (const unsigned length : {std::to_integer<unsigned>(pair) & 0xF, std::to_integer<unsigned>(pair) >> 4}) {
      if (length > 0) filled += 1u << (kLongestCode - length);
    }
  }
  return filled == 1u << kLongestCode;
}

using Decompress = int (*)(const std::uint8_t*, std::size_t, std::uint8_t*, std::size_t*, libfwnt_error_t**);

std::optional<std::size_t> Call(Decompress decompress, Bytes in, std::span<std::byte> out) noexcept {
  const std::unique_ptr<std::uint8_t[]> from(new (std::nothrow) std::uint8_t[in.size() + kReadBehind]);
  const std::unique_ptr<std::uint8_t[]> to(new (std::nothrow) std::uint8_t[out.size() + kWrittenBehind]);
  if (from == nullptr || to == nullptr) return std::nullopt;
  std::memcpy(from.get(), in.data(), in.size());
  std::memset(from.get() + in.size(), 0, kReadBehind);
  std::size_t size = out.size();
  libfwnt_error_t* error = nullptr;
  const int result = decompress(from.get(), in.size(), to.get(), &size, &error);
  libfwnt_error_free(&error);
  if (result != 1 || size > out.size()) return std::nullopt;
  std::memcpy(out.data(), to.get(), size);
  return size;
}

}  // namespace

bool Unpack(std::uint16_t format, std::span<const std::byte> in, std::span<std::byte> out) noexcept {
  return UnpackUpTo(format, in, out) == out.size();
}

std::optional<std::size_t> UnpackUpTo(std::uint16_t format, std::span<const std::byte> in,
                                      std::span<std::byte> out) noexcept {
  if (in.empty() || out.empty()) return std::nullopt;
  switch (format) {
    case kLznt1:
      return embedded::UnpackLznt1UpTo(in, out);
    case kXpress:
      return Call(libfwnt_lzxpress_decompress, in, out);
    case kXpressHuffman:
      if (in.size() <= kCodeTableSize || out.size() > kHuffmanChunk || !IsCompleteCode(in.first(kCodeTableSize))) {
        return std::nullopt;
      }
      return Call(libfwnt_lzxpress_huffman_decompress, in, out);
    default:
      return std::nullopt;
  }
}

}  // namespace varnel::platform

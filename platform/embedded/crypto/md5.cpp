#include "platform/embedded/crypto/md5.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace varnel::embedded {
namespace {

constexpr std::size_t kBlock = 64;

// floor(2^32 * |sin(i + 1)|), i in radians.
constexpr std::uint32_t kSines[64] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391};

constexpr int kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

std::uint32_t Mix(int round, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
  switch (round) {
    case 0:
      return (b & c) | (~b & d);
    case 1:
      return (b & d) | (c & ~d);
    case 2:
      return b ^ c ^ d;
    default:
      return c ^ (b | ~d);
  }
}

/// Which word of the block a step takes.
int WordOf(int step) {
  constexpr int kFactor[] = {1, 5, 3, 7};
  constexpr int kOffset[] = {0, 1, 5, 0};
  return (kFactor[step / 16] * step + kOffset[step / 16]) % 16;
}

void PutLittleEndian(std::uint64_t value, int bytes, std::uint8_t* out) {
  for (int i = 0; i < bytes; ++i) out[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

}  // namespace

void Md5::Update(std::span<const std::uint8_t> data) {
  while (!data.empty()) {
    const std::size_t used = size_ % kBlock;
    const std::size_t taken = std::min(kBlock - used, data.size());
    if (taken == kBlock) {
      Consume(data.data());
    } else {
      std::memcpy(pending_.data() + used, data.data(), taken);
      if (used + taken == kBlock) Consume(pending_.data());
    }
    size_ += taken;
    data = data.subspan(taken);
  }
}

Md5::Digest Md5::Value() const {
  Md5 ended = *this;
  std::array<std::uint8_t, kBlock + 8> tail{0x80};
  const std::size_t used = size_ % kBlock;
  const std::size_t padding = (used < 56 ? 56 : 120) - used;
  PutLittleEndian(size_ * 8, 8, tail.data() + padding);
  ended.Update({tail.data(), padding + 8});
  Digest digest;
  for (std::size_t i = 0; i < 4; ++i) PutLittleEndian(ended.state_[i], 4, digest.data() + 4 * i);
  return digest;
}

void Md5::Consume(const std::uint8_t* block) {
  std::uint32_t words[16];
  for (int i = 0; i < 16; ++i) {
    words[i] =
        block[4 * i] | (block[4 * i + 1] << 8) | (block[4 * i + 2] << 16) | (std::uint32_t{block[4 * i + 3]} << 24);
  }
  auto [a, b, c, d] = state_;
  for (int step = 0; step < 64; ++step) {
    const int round = step / 16;
    const std::uint32_t sum = a + Mix(round, b, c, d) + kSines[step] + words[WordOf(step)];
    a = d;
    d = c;
    c = b;
    b += std::rotl(sum, kShifts[round][step % 4]);
  }
  state_[0] += a;
  state_[1] += b;
  state_[2] += c;
  state_[3] += d;
}

}  // namespace varnel::embedded

#include "platform/unpack.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/support/etl_bytes.h"

namespace varnel::platform {
namespace {

using support::Blob;
using support::ByteWriter;

std::string Unpacked(std::uint16_t format, const Blob& packed, std::size_t size) {
  Blob out(size);
  if (!Unpack(format, packed, out)) return "(refused)";
  return std::string(reinterpret_cast<const char*>(out.data()), out.size());
}

TEST(Unpack, TakesLiteralsOfXpress) {
  const Blob plain = ByteWriter().Text("all of these letters are literals of their own").Take();
  EXPECT_EQ(Unpacked(3, support::XpressLiterals(plain), plain.size()),
            "all of these letters are literals of their own");
}

TEST(Unpack, TakesAMatchOfXpress) {
  // Three literals, then a match of length 3 + 3 at distance 3: the offset stands above the low three bits of length.
  const Blob packed = ByteWriter().U32(0x10000000).Text("abc").U16((3 - 1) << 3 | 3).Take();
  EXPECT_EQ(Unpacked(3, packed, 9), "abcabcabc");
}

TEST(Unpack, TakesAChunkOfLznt1) {
  // One chunk that is stored: its length less one, and the signature in the bits above.
  const Blob packed = ByteWriter().U16(0x3000 | (5 - 1)).Text("store").Take();
  EXPECT_EQ(Unpacked(2, packed, 5), "store");
}

/// Codes of nine bits for all 512 symbols, so that each symbol is its own code; the bits stand in words of 16, the
/// first in the highest place.
Blob NineBitHuffman(std::string_view text) {
  ByteWriter w;
  w.Fill(256, 0x99);
  std::uint64_t bits = 0;
  int count = 0;
  for (const char c : std::string(text) + std::string(8, '\0')) {
    bits = bits << 9 | static_cast<unsigned char>(c);
    for (count += 9; count >= 16; count -= 16) w.U16(static_cast<std::uint16_t>(bits >> (count - 16)));
  }
  return w.Take();
}

TEST(Unpack, TakesCodesOfHuffman) {
  EXPECT_EQ(Unpacked(4, NineBitHuffman("codes of nine bits"), 18), "codes of nine bits");
}

TEST(Unpack, RefusesCodesThatAreNotComplete) {
  Blob packed = NineBitHuffman("codes");
  packed[200] = std::byte{0x19};
  EXPECT_EQ(Unpacked(4, packed, 5), "(refused)") << "more codes than there is room for";
  packed[200] = std::byte{0x09};
  EXPECT_EQ(Unpacked(4, packed, 5), "(refused)") << "codes left over";
}

TEST(Unpack, RefusesCodesOfMoreThanOneChunk) {
  EXPECT_EQ(Unpacked(4, NineBitHuffman("codes"), 0x10001), "(refused)");
}

TEST(Unpack, NeverWritesBehindItsRoom) {
  std::uint64_t state = 88172645463325252ULL;
  const auto next = [&state] {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
  };
  for (int i = 0; i < 30'000; ++i) {
    const auto format = static_cast<std::uint16_t>(2 + next() % 3);
    Blob packed(4 + next() % 300);
    const bool dense = next() % 2 == 0;
    for (std::byte& byte : packed) byte = dense && next() % 4 != 0 ? std::byte{0xFF} : std::byte(next() & 0xFF);
    if (format == 4) packed.insert(packed.begin(), 256, std::byte{0x99});
    const std::size_t size = 1 + next() % 400;
    Blob room(size + 64, std::byte{0xEE});
    static_cast<void>(Unpack(format, packed, std::span(room).first(size)));
    for (std::size_t at = size; at < room.size(); ++at) ASSERT_EQ(room[at], std::byte{0xEE}) << i;
  }
}

TEST(Unpack, RefusesWhatItCannotFillExactly) {
  const Blob plain = ByteWriter().Text("short").Take();
  EXPECT_EQ(Unpacked(3, support::XpressLiterals(plain), 6), "(refused)") << "shorter than the room";
  EXPECT_EQ(Unpacked(3, {}, 6), "(refused)") << "nothing";
  EXPECT_EQ(Unpacked(3, Blob(3), 6), "(refused)") << "less than one word of flags";
  EXPECT_EQ(Unpacked(3, ByteWriter().U32(0x80000000).U16(0xFFFF).Take(), 6), "(refused)") << "a match before the start";
  EXPECT_EQ(Unpacked(4, Blob(100), 6), "(refused)") << "no table of codes";
  EXPECT_EQ(Unpacked(1, plain, 5), "(refused)") << "a format that is none";
}

}  // namespace
}  // namespace varnel::platform

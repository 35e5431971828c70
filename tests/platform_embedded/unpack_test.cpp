#include "platform/embedded/unpack.h"

#include <gtest/gtest.h>

#include <string_view>

#include "tests/support/etl_bytes.h"

namespace varnel::embedded {
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
}  // namespace varnel::embedded

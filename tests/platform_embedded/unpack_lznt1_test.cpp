#include "platform/embedded/unpack_lznt1.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/etl_bytes.h"

namespace varnel::embedded {
namespace {

using support::Blob;
using support::ByteWriter;

/// A packed chunk: its header tells the size of what follows, less one, and that it is packed.
Blob Packed(const Blob& body) {
  return ByteWriter().U16(static_cast<std::uint16_t>(0xB000 | (body.size() - 1))).Bytes(body).Take();
}

std::string Unpacked(const Blob& packed, std::size_t size) {
  Blob out(size);
  if (!UnpackLznt1(packed, out)) return "(refused)";
  return std::string(reinterpret_cast<const char*>(out.data()), out.size());
}

TEST(UnpackLznt1, TakesLiteralsAndMatches) {
  // Three literals, then a pair: a distance of 3 in the upper four bits, a length of 6 in the others.
  const Blob packed = Packed(ByteWriter().U8(0x08).Text("abc").U16((3 - 1) << 12 | (6 - 3)).Take());
  EXPECT_EQ(Unpacked(packed, 9), "abcabcabc");
}

TEST(UnpackLznt1, GivesTheDistanceMoreBitsAsTheChunkGrows) {
  ByteWriter body;
  body.U8(0).Text("01234567").U8(0).Text("89abcdef").U8(0x02).Text("g");
  body.U16((17 - 1) << 11 | (4 - 3));  // seventeen bytes are written: five bits of distance
  EXPECT_EQ(Unpacked(Packed(body.Take()), 21), "0123456789abcdefg0123");
}

TEST(UnpackLznt1, GoesFromChunkToChunk) {
  Blob packed = ByteWriter().U16(0x3000 | (5 - 1)).Text("store").Take();
  support::Append(&packed, Packed(ByteWriter().U8(0).Text("d").Take()));
  EXPECT_EQ(Unpacked(packed, 6), "stored");
}

TEST(UnpackLznt1, RefusesChunksThatAreNone) {
  EXPECT_EQ(Unpacked({}, 1), "(refused)") << "nothing";
  EXPECT_EQ(Unpacked(Packed(ByteWriter().U8(0).Text("ab").Take()), 3), "(refused)") << "too short";
  EXPECT_EQ(Unpacked(Packed(ByteWriter().U8(0).Text("ab").Take()), 1), "(refused)") << "too long";
  EXPECT_EQ(Unpacked(ByteWriter().U16(0x3000 | 9).Text("ab").Take(), 2), "(refused)") << "passes the end";
  EXPECT_EQ(Unpacked(Packed(ByteWriter().U8(0x02).Text("a").U8(0).Take()), 4), "(refused)") << "ends within a pair";
  EXPECT_EQ(Unpacked(Packed(ByteWriter().U8(0x02).Text("a").U16(1 << 12).Take()), 4), "(refused)")
      << "a match before the chunk";
  EXPECT_EQ(Unpacked(Packed(ByteWriter().U8(0x02).Text("a").U16(0x0FFF).Take()), 4097), "(refused)")
      << "more than a chunk holds";
}

}  // namespace
}  // namespace varnel::embedded

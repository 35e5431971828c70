#include "formats/etl_stream.h"

#include <gtest/gtest.h>

#include "tests/support/etl_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;

EtlBufferEntry EntryOf(const Blob& bytes) {
  EtlBufferEntry entry;
  entry.file_bytes = static_cast<std::uint32_t>(bytes.size());
  EXPECT_TRUE(ParseEtlBufferHeader(bytes, &entry.info));
  return entry;
}

TEST(EtlStream, RefusesABodyThatClaimsToUnfoldBeyondReason) {
  Blob plain = support::Buffer({}, {});
  const Blob packed = support::PackedBuffer(plain, Blob(10));
  bool asked = false;
  const EtlUnpack unpack = [&asked](std::uint16_t, std::span<const std::byte>, std::span<std::byte>) {
    asked = true;
    return true;
  };
  for (const std::uint32_t valid_end : {72u + 4096u + 10u * 512u, 72u + 4097u + 10u * 512u}) {
    Blob bytes = packed;
    support::Patch32(&bytes, 0x30, valid_end);
    const EtlBufferEntry entry = EntryOf(bytes);
    EtlMemorySource source(bytes);
    EtlStream stream((EtlClock()));
    stream.Append({&entry, 0});
    asked = false;
    EXPECT_EQ(stream.Load(source, 3, unpack), asked);
    EXPECT_EQ(asked, valid_end == 72u + 4096u + 10u * 512u);
    EXPECT_TRUE(stream.exhausted());
  }
}

TEST(EtlStream, AnEmptyPackedBufferNeedsNoUnpacking) {
  const Blob bytes = support::PackedBuffer(support::Buffer({}, {}), {});
  const EtlBufferEntry entry = EntryOf(bytes);
  EtlMemorySource source(bytes);
  EtlStream stream((EtlClock()));
  stream.Append({&entry, 0});
  const EtlUnpack refuse = [](std::uint16_t, std::span<const std::byte>, std::span<std::byte>) { return false; };
  EXPECT_TRUE(stream.Load(source, 3, refuse));
  EXPECT_FALSE(stream.Next());
}

}  // namespace
}  // namespace varnel::formats

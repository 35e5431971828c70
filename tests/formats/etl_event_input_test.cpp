#include "formats/etl_event_input.h"

#include <gtest/gtest.h>

#include "formats/guid_text.h"
#include "tests/support/etl_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;
using support::ByteWriter;

Blob EventBytes(std::uint8_t header_type) {
  support::EventSpec spec;
  spec.header_type = header_type;
  spec.id = 7;
  spec.version = 2;
  spec.channel = 11;
  spec.level = 4;
  spec.opcode = 1;
  spec.task = 9;
  spec.keyword = 0x80;
  spec.items.push_back({12, ByteWriter().U16(5).Text("ab").U8(0).Take()});
  spec.items.push_back({11, ByteWriter().U16(5).U8(0).Text("e").U8(0).Take()});
  spec.payload = ByteWriter().Text("xyz").Take();
  return support::Event(spec);
}

EtlEventView Parse(const Blob& bytes) {
  EtlEventView view;
  std::uint32_t size = 0;
  EXPECT_EQ(ParseEtlEvent(bytes, &view, &size), EtlParseOutcome::kEvent);
  return view;
}

TEST(EtlEventInput, TakesOverTheDescriptorTheItemsAndThePayload) {
  const Blob bytes = EventBytes(0x13);
  const EtlEventView view = Parse(bytes);
  const EventInput input = ToEventInput(view);
  EXPECT_EQ(FormatGuid(input.provider), "{11223344-5566-7788-0102-030405060708}");
  EXPECT_EQ(input.id, 7);
  EXPECT_EQ(input.version, 2);
  EXPECT_EQ(input.channel, 11);
  EXPECT_EQ(input.level, 4);
  EXPECT_EQ(input.opcode, 1);
  EXPECT_EQ(input.task, 9);
  EXPECT_EQ(input.keyword, 0x80u);
  EXPECT_EQ(input.traits.size(), 5u);
  EXPECT_EQ(input.schema.size(), 5u);
  EXPECT_EQ(input.schema[3], std::byte{'e'});
  EXPECT_EQ(input.payload.size(), 3u);
  EXPECT_EQ(input.pointer_size(), 8);
}

TEST(EtlEventInput, AWriterOf32BitsHasPointersOf4Bytes) {
  const Blob bytes = EventBytes(0x12);
  EXPECT_EQ(ToEventInput(Parse(bytes)).pointer_size(), 4);
}

}  // namespace
}  // namespace varnel::formats

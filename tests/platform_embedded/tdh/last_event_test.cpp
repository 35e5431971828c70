#include "platform/embedded/tdh/last_event.h"

#include <gtest/gtest.h>

#include <random>

#include "layouts.h"
#include "payload_builder.h"

namespace varnel::embedded {
namespace {

using testing::Data;
using testing::PayloadBuilder;

EventSchema SchemaOf(const std::string& template_body) {
  formats::EventLayout layout = *testing::TestLayout(template_body);
  return EventSchema(std::move(layout), GUID{}, "Provider", 4, 0);
}

std::vector<formats::PropertyPlace> Fresh(const EventSchema& schema, std::uint8_t pointer_size,
                                          const std::vector<std::byte>& payload) {
  std::vector<formats::PropertyPlace> places;
  formats::PlaceProperties(schema.layout(), pointer_size, payload, &places);
  return places;
}

void ExpectFresh(LastEvent* last, const EventSchema& schema, const std::vector<std::byte>& payload,
                 std::uint8_t pointer_size = 8) {
  const auto got = last->Places(schema, pointer_size, payload);
  EXPECT_EQ(std::vector<formats::PropertyPlace>(got.begin(), got.end()), Fresh(schema, pointer_size, payload));
}

TEST(LastEvent, GivesWhatMeasuringGivesWhenAnyByteOfThePayloadChanges) {
  const EventSchema schema = SchemaOf(
      Data("A", "UInt16") + Data("N", "UInt8") + Data("T", "AnsiString") + Data("W", "UnicodeString") +
      Data("B", "Binary", "length=\"N\"") + Data("C", "CountedAnsiString") + Data("S", "SID") +
      "<struct name=\"R\" count=\"2\">" + Data("L", "UInt8") + Data("X", "UInt8", "count=\"L\"") + "</struct>");
  std::vector<std::byte> payload = PayloadBuilder()
                                       .U16(7)
                                       .U8(2)
                                       .Text("abc")
                                       .Wide(u"wide")
                                       .U16(0x1234)
                                       .U16(2)
                                       .U16(0x4142)
                                       .U8(1)
                                       .U8(1)
                                       .Fill(6, 0)
                                       .U32(18)
                                       .U8(1)
                                       .U8(9)
                                       .U8(0);
  LastEvent last;
  ExpectFresh(&last, schema, payload);
  for (std::size_t i = 0; i < payload.size(); ++i) {
    const std::byte kept = payload[i];
    for (const int value : {0, 1, 2, 3, 0x41, 0xFF}) {
      payload[i] = static_cast<std::byte>(value);
      ExpectFresh(&last, schema, payload);
    }
    payload[i] = kept;
    ExpectFresh(&last, schema, payload);
  }
}

TEST(LastEvent, GivesWhatMeasuringGivesForRandomPayloadsAtOnePlace) {
  const EventSchema schema = SchemaOf(Data("N", "UInt8") + Data("T", "AnsiString") +
                                      Data("B", "Binary", "length=\"N\"") + Data("P", "Pointer") + Data("E", "UInt16"));
  std::mt19937 random(20261121);
  LastEvent last;
  std::vector<std::byte> payload(24);
  for (int round = 0; round < 5000; ++round) {
    for (std::byte& byte : payload) byte = static_cast<std::byte>(random() % 8);
    ExpectFresh(&last, schema, payload, random() % 2 == 0 ? 4 : 8);
  }
}

TEST(LastEvent, AnotherSchemaOrPointerSizeOrLengthIsMeasuredAnew) {
  const EventSchema first = SchemaOf(Data("A", "Pointer") + Data("B", "UInt8"));
  const EventSchema second = SchemaOf(Data("A", "UInt8") + Data("B", "UInt8"));
  const std::vector<std::byte> payload(16, std::byte{1});
  LastEvent last;
  ExpectFresh(&last, first, payload);
  ExpectFresh(&last, second, payload);
  ExpectFresh(&last, first, payload);
  ExpectFresh(&last, first, payload, 4);
  ExpectFresh(&last, first, {payload.begin(), payload.begin() + 8});
  last.Forget();
  ExpectFresh(&last, first, payload);
}

}  // namespace
}  // namespace varnel::embedded

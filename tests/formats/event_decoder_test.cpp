#include "formats/event_decoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "formats/guid_text.h"
#include "manifest_text.h"
#include "payload_builder.h"
#include "tracelogging_builder.h"

namespace varnel::formats {
namespace {

using ::testing::ElementsAre;
using testing::ManifestOf;
using testing::PayloadBuilder;
using testing::ToBytes;

const GUID kSample = *ParseGuid("{D8909C24-5BE9-4502-98CA-AB7BDC24899D}");
const GUID kTest = *ParseGuid("{11111111-2222-3333-4444-555555555555}");

std::string JsonOf(const DecodedEvent& event) {
  std::string out;
  AppendJsonObject(event.properties, &out);
  return out;
}

EventDecoder WithManifest(const std::string& text) {
  EventDecoder decoder;
  const Status status = decoder.AddManifest(ToBytes(text), "m.xml");
  EXPECT_TRUE(status.ok()) << (status.ok() ? "" : status.error().message);
  return decoder;
}

TEST(EventDecoder, DecodesAWardletEventToItsNamedValues) {
  const EventDecoder decoder = WithManifest(testing::WardletManifest());
  const auto payload = PayloadBuilder().U32(7).U32(1).Text("Main").U32(42).U32(0).Wide(u"text").Build();
  EventInput input;
  input.provider = kSample;
  input.id = 2;
  input.level = 2;
  input.keyword = 0x8000000000000012;
  input.flags = kEventFlag64BitHeader;
  input.payload = payload;
  const DecodedEvent event = decoder.Decode(input);
  EXPECT_EQ(event.source, DecodingSource::kManifest);
  EXPECT_EQ(event.provider_name, "ProviderSample");
  EXPECT_EQ(event.level_name, "Error") << "the event's own level, not the manifest's";
  EXPECT_THAT(event.keyword_names, ElementsAre("DefaultWithMsgWide", "ModuleReserve1"));
  EXPECT_EQ(event.message, "ID(%1) Message has sent.");
  EXPECT_TRUE(event.complete);
  EXPECT_EQ(JsonOf(event),
            R"({"Counter":7,"Flags":1,"Function":"Main","CodeLine":42,"status":0,"AdditionalMsgWide":"text"})");
}

TEST(EventDecoder, AnEventWithoutALayoutComesBackWithoutProperties) {
  const EventDecoder decoder = WithManifest(testing::WardletManifest());
  EventInput input;
  EXPECT_EQ(decoder.Decode(input).source, DecodingSource::kNone) << "unknown provider";
  input.provider = kSample;
  input.id = 4;
  EXPECT_EQ(decoder.Decode(input).source, DecodingSource::kNone) << "unknown id";
  EXPECT_EQ(decoder.Decode(input).provider_name, "ProviderSample");
  input.id = 1;
  input.version = 1;
  EXPECT_EQ(decoder.Decode(input).source, DecodingSource::kNone) << "unknown version";
  input.version = 0;
  input.flags = kEventFlagClassicHeader;
  EXPECT_EQ(decoder.Decode(input).source, DecodingSource::kNone) << "classic event";
  input.flags = kEventFlagTraceMessage;
  EXPECT_EQ(decoder.Decode(input).source, DecodingSource::kNone) << "trace message";
}

TEST(EventDecoder, AnEventThatIsOneTextNeedsNoManifest) {
  const EventDecoder decoder;
  const auto payload = PayloadBuilder().Wide(u"hello").Build();
  EventInput input;
  input.flags = kEventFlagStringOnly;
  input.payload = payload;
  const DecodedEvent event = decoder.Decode(input);
  EXPECT_EQ(event.source, DecodingSource::kString);
  EXPECT_EQ(JsonOf(event), R"({"Message":"hello"})");
}

TEST(EventDecoder, AnEventThatDescribesItselfNeedsNoManifest) {
  const EventDecoder decoder;
  const auto schema = testing::TraceLoggingBuilder("Started").Field("Pid", 8).Field("Where", 16).Build();
  const auto traits = testing::ProviderTraits("My.Provider");
  const auto payload = PayloadBuilder().U32(7).U32(0x1000).Build();
  EventInput input;
  input.schema = schema;
  input.traits = traits;
  input.payload = payload;
  input.flags = kEventFlag32BitHeader;
  input.level = 5;
  input.opcode = 1;
  const DecodedEvent event = decoder.Decode(input);
  EXPECT_EQ(event.source, DecodingSource::kTraceLogging);
  EXPECT_EQ(event.provider_name, "My.Provider");
  EXPECT_EQ(event.event_name, "Started");
  EXPECT_EQ(event.level_name, "Verbose");
  EXPECT_EQ(event.opcode_name, "Start");
  EXPECT_EQ(JsonOf(event), R"({"Pid":7,"Where":"0x1000"})");
}

TEST(EventDecoder, ADamagedDescriptionLeavesTheEventUndecoded) {
  const EventDecoder decoder;
  const auto schema = PayloadBuilder().U16(9).U8(0).Build();
  EventInput input;
  input.schema = schema;
  EXPECT_EQ(decoder.Decode(input).source, DecodingSource::kNone);
}

TEST(EventDecoder, ACutPayloadIsToldAsIncomplete) {
  const EventDecoder decoder = WithManifest(testing::WardletManifest());
  const auto payload = PayloadBuilder().U32(7).U16(1).Build();
  EventInput input;
  input.provider = kSample;
  input.id = 1;
  input.payload = payload;
  const DecodedEvent event = decoder.Decode(input);
  EXPECT_FALSE(event.complete);
  EXPECT_EQ(JsonOf(event), R"({"Counter":7})");
}

TEST(EventDecoder, ALaterManifestWinsAndEarlierEventsStay) {
  EventDecoder decoder = WithManifest(ManifestOf(R"(<events><event value="1" symbol="a"/><event value="2"
                                                    symbol="b"/></events>)"));
  ASSERT_TRUE(
      decoder.AddManifest(ToBytes(ManifestOf(R"(<events><event value="1" symbol="c"/></events>)", "", "New")), "n.xml")
          .ok());
  EventInput input;
  input.provider = kTest;
  input.id = 1;
  EXPECT_EQ(decoder.Decode(input).event_name, "c");
  input.id = 2;
  EXPECT_EQ(decoder.Decode(input).event_name, "b");
  EXPECT_EQ(decoder.ProviderName(kTest), "New");
  EXPECT_EQ(decoder.ProviderName(kSample), "");
}

TEST(EventDecoder, AManifestThatIsNoneAddsNothingAndSaysWhy) {
  EventDecoder decoder = WithManifest(testing::WardletManifest());
  const Status status = decoder.AddManifest(ToBytes("<a>"), "bad.xml");
  ASSERT_FALSE(status.ok());
  EXPECT_THAT(status.error().message, ::testing::StartsWith("bad.xml:1: not well-formed XML"));
  EXPECT_EQ(decoder.ProviderName(kSample), "ProviderSample");
}

}  // namespace
}  // namespace varnel::formats

#include "host/event_json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/etl_bytes.h"

namespace varnel::host {
namespace {

using support::Blob;
using support::ByteWriter;
using testing::HasSubstr;
using testing::Not;

formats::EtlEventView Parse(const Blob& bytes) {
  formats::EtlEventView event;
  std::uint32_t size = 0;
  EXPECT_EQ(formats::ParseEtlEvent(bytes, &event, &size), formats::EtlParseOutcome::kEvent);
  return event;
}

constexpr GUID kRelated = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

TEST(EventJson, HasHeaderAndDescriptorAndThePayloadInHexadecimal) {
  support::EventSpec spec;
  spec.stamp = 5;
  spec.id = 7;
  spec.version = 1;
  spec.channel = 16;
  spec.opcode = 2;
  spec.task = 3;
  spec.keyword = 0x8000000000000010;
  spec.payload = ByteWriter().U8(0).U8(0xAB).U8(0xFF).Take();
  const Blob bytes = support::Event(spec);
  formats::EtlEventView event = Parse(bytes);
  event.file_time = 132'500'000'000'000'001;
  event.processor = 9;
  EXPECT_EQ(EventJson(event, {}),
            "{\"time\":\"2020-11-16T11:33:20.0000001Z\",\"stamp\":\"5\",\"kind\":\"event\","
            "\"provider\":\"{11223344-5566-7788-0102-030405060708}\",\"id\":7,\"version\":1,\"channel\":16,\"level\":4,"
            "\"opcode\":2,\"task\":3,\"keyword\":\"0x8000000000000010\",\"process_id\":33,\"thread_id\":44,"
            "\"processor\":9,\"pointer_size\":8,\"kernel_time\":5,\"user_time\":6,"
            "\"activity_id\":\"{000000AC-0000-0000-0000-000000000001}\",\"payload\":\"00ABFF\"}");
}

TEST(EventJson, ShowsNamesAndPropertiesWhereTheLayoutIsKnown) {
  const Blob bytes = support::Event({.items = {}, .payload = Blob(4)});
  formats::DecodedEvent decoded;
  decoded.source = formats::DecodingSource::kManifest;
  decoded.provider_name = "Sample";
  decoded.event_name = "EV";
  decoded.level_name = "Information";
  decoded.keyword_names = {"a", "b"};
  decoded.message = "text %1";
  decoded.properties = {{"Counter", {formats::DecodedValue::Kind::kNumber, "12", {}}},
                        {"Text", {formats::DecodedValue::Kind::kText, "\"q\"", {}}}};
  decoded.complete = false;
  const std::string json = EventJson(Parse(bytes), decoded);
  EXPECT_THAT(json, HasSubstr("\"provider_name\":\"Sample\",\"event\":\"EV\",\"id\":1"));
  EXPECT_THAT(json, HasSubstr("\"level\":4,\"level_name\":\"Information\""));
  EXPECT_THAT(json, HasSubstr("\"keyword_names\":[\"a\",\"b\"]"));
  EXPECT_THAT(json, HasSubstr("\"message\":\"text %1\",\"decoded_by\":\"manifest\",\"complete\":false,"
                              "\"properties\":{\"Counter\":12,\"Text\":\"\\\"q\\\"\"}}"));
  EXPECT_THAT(json, Not(HasSubstr("payload")));
}

TEST(EventJson, LeavesOutWhatAHeaderDoesNotTell) {
  const std::string json = EventJson(Parse(support::PerfInfoEvent(0x10, 15, 46, 1, {})), {});
  EXPECT_THAT(json, HasSubstr("\"kind\":\"perfinfo\""));
  EXPECT_THAT(json, HasSubstr("\"pointer_size\":4"));
  EXPECT_THAT(json, Not(HasSubstr("process_id")));
  EXPECT_THAT(json, Not(HasSubstr("thread_id")));
  EXPECT_THAT(json, Not(HasSubstr("activity_id")));
}

TEST(EventJson, ShowsRelatedActivitiesAndInstances) {
  support::EventSpec spec;
  spec.items = {{1, ByteWriter().Guid(kRelated).Take()}};
  const Blob related = support::Event(spec);
  EXPECT_THAT(EventJson(Parse(related), {}),
              HasSubstr("\"related_activity_id\":\"{00000001-0002-0003-0405-060708090A0B}\""));
  const Blob instance = support::InstanceEvent(0x15, kRelated, 1, 21, 22, kRelated, {});
  EXPECT_THAT(EventJson(Parse(instance), {}), HasSubstr("\"instance_id\":21,\"parent_instance_id\":22"));
}

TEST(EventJson, TextsThatAreNotUtf8AreShownWithReplacements) {
  formats::DecodedEvent decoded;
  decoded.provider_name = "a\xFFz";
  const Blob bytes = support::Event({.items = {}, .payload = {}});
  EXPECT_THAT(EventJson(Parse(bytes), decoded), HasSubstr("\"provider_name\":\"a\xEF\xBF\xBDz\""));
}

}  // namespace
}  // namespace varnel::host

#include "formats/etl_log_header.h"

#include <gtest/gtest.h>

#include "tests/support/etl_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;

void ExpectAllFields(bool layout32) {
  support::LogHeaderSpec spec;
  spec.layout32 = layout32;
  spec.pointer_size = layout32 ? 4 : 8;
  spec.mode = 0x8000002;
  spec.events_lost = 3;
  spec.buffers_lost = 4;
  EtlLogHeader header;
  ASSERT_TRUE(ParseEtlLogHeader(support::HeaderBuffer(spec), &header));
  EXPECT_EQ(header.layout32, layout32);
  EXPECT_EQ(header.buffer_size, 4096u);
  EXPECT_EQ(header.os_major, 10);
  EXPECT_EQ(header.os_minor, 0);
  EXPECT_EQ(header.layout_major, 1);
  EXPECT_EQ(header.layout_minor, 5);
  EXPECT_EQ(header.provider_version, 19045u);
  EXPECT_EQ(header.processors, 2u);
  EXPECT_EQ(header.end_time, spec.end_time);
  EXPECT_EQ(header.timer_resolution, 156250u);
  EXPECT_EQ(header.maximum_file_size, 64u);
  EXPECT_EQ(header.log_file_mode, 0x8000002u);
  EXPECT_EQ(header.buffers_written, 1u);
  EXPECT_EQ(header.start_buffers, 1u);
  EXPECT_EQ(header.pointer_size, layout32 ? 4u : 8u);
  EXPECT_EQ(header.events_lost, 3u);
  EXPECT_EQ(header.cpu_speed_mhz, 2000u);
  EXPECT_EQ(header.time_zone[0], 0xC4) << "the bias of -60 minutes stands first";
  EXPECT_EQ(header.boot_time, spec.boot_time);
  EXPECT_EQ(header.perf_freq, spec.perf_freq);
  EXPECT_EQ(header.start_time, spec.start_time);
  EXPECT_EQ(header.clock_type, 1u);
  EXPECT_EQ(header.buffers_lost, 4u);
  EXPECT_EQ(header.logger_name, u"TestSession");
  EXPECT_EQ(header.log_file_name, u"C:\\test.etl");
  EXPECT_EQ(header.process_id, 500u);
  EXPECT_EQ(header.thread_id, 501u);
  EXPECT_EQ(header.origin_stamp, spec.origin_stamp);
}

TEST(EtlLogHeader, ReadsTheLayoutOf64Bits) {
  ExpectAllFields(/*layout32=*/false);
}

TEST(EtlLogHeader, ReadsTheLayoutOf32Bits) {
  ExpectAllFields(/*layout32=*/true);
}

TEST(EtlLogHeader, TakesTheLayoutFromTheHeaderTypeAndNotFromThePointerSize) {
  support::LogHeaderSpec spec;
  spec.pointer_size = 4;
  EtlLogHeader header;
  ASSERT_TRUE(ParseEtlLogHeader(support::HeaderBuffer(spec), &header));
  EXPECT_FALSE(header.layout32);
  EXPECT_EQ(header.start_time, spec.start_time);
}

TEST(EtlLogHeader, NamesMayBeEmpty) {
  support::LogHeaderSpec spec;
  spec.logger_name = u"";
  spec.file_name = u"";
  EtlLogHeader header;
  ASSERT_TRUE(ParseEtlLogHeader(support::HeaderBuffer(spec), &header));
  EXPECT_TRUE(header.logger_name.empty());
  EXPECT_TRUE(header.log_file_name.empty());
}

TEST(EtlLogHeader, ANameWithoutItsNulEndsWithTheEvent) {
  Blob event = support::LogHeaderEvent({});
  event.resize(event.size() - 2);
  support::Patch16(&event, 4, static_cast<std::uint16_t>(event.size()));
  EtlLogHeader header;
  ASSERT_TRUE(ParseEtlLogHeader(support::Buffer({}, {event}), &header));
  EXPECT_EQ(header.log_file_name, u"C:\\test.etl");
}

TEST(EtlLogHeader, RefusesAFirstEventThatIsNone) {
  EtlLogHeader header;
  EXPECT_FALSE(ParseEtlLogHeader({}, &header));
  EXPECT_FALSE(ParseEtlLogHeader(support::Buffer({}, {}), &header)) << "no event";
  EXPECT_FALSE(ParseEtlLogHeader(support::Buffer({}, {support::Event({.items = {}, .payload = {}})}), &header));
  const Blob other_group = support::SystemEvent(2, 1, 0, 1, Blob(300));
  EXPECT_FALSE(ParseEtlLogHeader(support::Buffer({}, {other_group}), &header)) << "another group";
  const Blob other_type = support::SystemEvent(2, 0, 80, 1, Blob(300));
  EXPECT_FALSE(ParseEtlLogHeader(support::Buffer({}, {other_type}), &header)) << "another type";
  EXPECT_FALSE(ParseEtlLogHeader(support::Buffer({}, {support::SystemEvent(2, 0, 0, 1, Blob(279))}), &header));
  EXPECT_FALSE(ParseEtlLogHeader(support::Buffer({}, {support::SystemEvent(1, 0, 0, 1, Blob(271))}), &header));
  EXPECT_TRUE(ParseEtlLogHeader(support::Buffer({}, {support::SystemEvent(1, 0, 0, 1, Blob(272))}), &header));
}

TEST(EtlLogHeader, MakesTheClockOfItsSession) {
  EtlLogHeader header;
  ASSERT_TRUE(ParseEtlLogHeader(support::HeaderBuffer({}), &header));
  EXPECT_EQ(header.Clock().ToFileTime(header.origin_stamp + 5), header.start_time + 5);
}

}  // namespace
}  // namespace varnel::formats

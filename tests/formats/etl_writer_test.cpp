#include "formats/etl_writer.h"

#include <gtest/gtest.h>

#include <cstring>

#include "formats/etl_reader.h"
#include "tests/support/etl_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;
using support::ByteWriter;

constexpr GUID kProvider = {0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};
constexpr std::int64_t kStart = 132'500'000'000'000'000;

EtlSink SinkInto(Blob* file) {
  return [file](std::uint64_t offset, std::span<const std::byte> bytes) {
    if (file->size() < offset + bytes.size()) file->resize(offset + bytes.size());
    std::copy(bytes.begin(), bytes.end(), file->begin() + static_cast<std::ptrdiff_t>(offset));
    return true;
  };
}

EtlLogHeader SmallHeader() {
  EtlLogHeader header = EtlFileWriter::DefaultHeader(kStart);
  header.buffer_size = 4096;
  header.processors = 2;
  header.logger_name = u"Composed";
  header.log_file_name = u"C:\\composed.etl";
  return header;
}

TEST(EtlWriter, ComposesTheHeaderBufferByteForByte) {
  support::LogHeaderSpec spec;
  EtlLogHeader header;
  ASSERT_TRUE(ParseEtlLogHeader(support::HeaderBuffer(spec), &header));
  Blob written(4096);
  ASSERT_TRUE(FillEtlHeaderBuffer(header, 3, written));
  Blob expected = support::HeaderBuffer(spec);
  support::Patch64(&expected, 72 + 24, 0);  // processor times are not kept
  EXPECT_EQ(written, expected);
}

TEST(EtlWriter, ComposesADataBufferByteForByte) {
  support::EventSpec spec;
  spec.stamp = 77;
  spec.payload = ByteWriter().Text("abc").Take();
  support::BufferSpec buffer;
  buffer.processor = 5;
  buffer.sequence = 9;
  buffer.flags = 0x23;
  buffer.time_stamp = 78;
  Blob expected = support::Buffer(buffer, {support::Event(spec)});
  support::Patch64(&expected, 72 + 56, 0);  // processor times
  support::Patch32(&expected, 72 + 64, 0);  // activity
  expected[72 + 79] = std::byte{0};

  EtlEventFields fields;
  fields.stamp = 77;
  fields.provider = spec.provider;
  fields.id = 1;
  fields.level = 4;
  fields.thread_id = 44;
  fields.process_id = 33;
  Blob written(4096, std::byte{0xEE});
  const std::size_t size = PutEtlEvent(fields, spec.payload, std::span(written).subspan(72));
  EXPECT_EQ(size, 88u);
  EtlDataBuffer data;
  data.processor = 5;
  data.logger_id = 3;
  data.sequence = 9;
  data.flags = 0x03;
  data.time_stamp = 78;
  data.end = 72 + 88;
  FillEtlDataBuffer(data, written);
  EXPECT_EQ(written, expected);
}

TEST(EtlWriter, RefusesNamesThatDoNotFit) {
  EtlLogHeader header = SmallHeader();
  Blob buffer(4096);
  header.logger_name = std::u16string((4096 - 72 - 312 - 4) / 2 - header.log_file_name.size(), u'n');
  EXPECT_TRUE(FillEtlHeaderBuffer(header, 0, buffer)) << "to the last byte";
  header.logger_name += u'n';
  EXPECT_FALSE(FillEtlHeaderBuffer(header, 0, buffer));
  header.logger_name = std::u16string(40'000, u'n');
  Blob large(1 << 20);
  EXPECT_FALSE(FillEtlHeaderBuffer(header, 0, large)) << "longer than an event";
}

TEST(EtlWriter, AnEventThatDoesNotFitLeavesItsRoomUntouched) {
  Blob room(88, std::byte{0xEE});
  EXPECT_EQ(PutEtlEvent({}, Blob(9), room), 0u);
  EXPECT_EQ(room, Blob(88, std::byte{0xEE}));
  EXPECT_EQ(PutEtlEvent({}, Blob(8), room), 88u);
  EXPECT_EQ(EtlEventSpace(0xFFFF - 80), 0x10000u);
  EXPECT_EQ(EtlEventSpace(0xFFFF - 79), 0u) << "sizes have 16 bits";
}

TEST(EtlWriter, A32BitProcessHasANarrowHeader) {
  EtlEventFields fields;
  fields.pointer32 = true;
  Blob room(80);
  ASSERT_EQ(PutEtlEvent(fields, {}, room), 80u);
  EXPECT_EQ(room[2], std::byte{0x12});
}

TEST(EtlWriter, WritesAFileThatReadsBackWithEveryFieldAndTime) {
  Blob file;
  auto writer = EtlFileWriter::Create(SmallHeader(), SinkInto(&file));
  ASSERT_TRUE(writer.ok());
  constexpr int kEvents = 300;
  for (int i = 0; i < kEvents; ++i) {
    EtlEventFields fields;
    fields.stamp = writer.value()->StampAt(kStart + i * 10);
    fields.provider = kProvider;
    fields.id = static_cast<std::uint16_t>(i);
    fields.keyword = 0x10;
    fields.thread_id = 7;
    fields.process_id = 8;
    ASSERT_TRUE(writer.value()->Write(static_cast<std::uint16_t>(i % 2), fields, support::CounterPayload(i)));
  }
  ASSERT_TRUE(writer.value()->Close(kStart + 1'000'000, 3, 4));

  EtlMemorySource source(file);
  auto reader = EtlReader::Open(source, {});
  ASSERT_TRUE(reader.ok());
  const EtlLogHeader& header = reader.value()->header();
  EXPECT_EQ(header.logger_name, u"Composed");
  EXPECT_EQ(header.log_file_name, u"C:\\composed.etl");
  EXPECT_EQ(header.end_time, kStart + 1'000'000);
  EXPECT_EQ(header.events_lost, 3u);
  EXPECT_EQ(header.buffers_lost, 4u);
  EXPECT_EQ(std::uint64_t{header.buffers_written} * 4096, file.size());
  ASSERT_NE(reader.value()->Next(), nullptr);
  for (int i = 0; i < kEvents; ++i) {
    const EtlEventView* event = reader.value()->Next();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->id, i);
    EXPECT_EQ(event->processor, i % 2);
    EXPECT_EQ(event->file_time, kStart + i * 10);
    EXPECT_EQ(event->provider, kProvider);
    EXPECT_EQ(event->keyword, 0x10u);
    const Blob payload = support::CounterPayload(i);
    EXPECT_TRUE(std::equal(event->payload.begin(), event->payload.end(), payload.begin(), payload.end()));
  }
  EXPECT_EQ(reader.value()->Next(), nullptr);
  EXPECT_EQ(reader.value()->account().skipped_bytes, 0u);
}

TEST(EtlWriter, KeepsTheRulesThatReadersAskForInEveryBuffer) {
  Blob file;
  auto writer = EtlFileWriter::Create(SmallHeader(), SinkInto(&file));
  ASSERT_TRUE(writer.ok());
  for (int i = 0; i < 200; ++i) {
    EtlEventFields fields;
    fields.stamp = i;
    ASSERT_TRUE(writer.value()->Write(static_cast<std::uint16_t>(i % 2), fields, Blob(100)));
  }
  ASSERT_TRUE(writer.value()->Close(kStart));
  EtlMemorySource source(file);
  const auto index = BuildEtlIndex(source);
  ASSERT_TRUE(index.ok());
  for (std::size_t i = 0; i < index.value().entries.size(); ++i) {
    const EtlBufferEntry& entry = index.value().entries[i];
    const bool last = i + 1 == index.value().entries.size();
    EXPECT_EQ(entry.info.size, 4096u);
    EXPECT_EQ(entry.info.sequence, static_cast<std::int64_t>(i));
    EXPECT_EQ(entry.info.flags, i == 0 || last ? 0x21 : 0x20);
    EXPECT_EQ(entry.info.type, i == 0 ? 4 : 0);
    EXPECT_EQ(entry.info.state, 3u);
    EtlBufferCursor cursor(source.View(entry.offset, 4096), entry.info, {});
    EtlEventView event;
    std::size_t events = 0;
    std::int64_t latest = INT64_MIN;
    for (; cursor.Next(&event); ++events) latest = std::max(latest, event.stamp);
    EXPECT_GT(events, 0u);
    EXPECT_TRUE(i == 0 || entry.info.time_stamp >= latest);
  }
}

TEST(EtlWriter, AWriterThatWasKilledLeavesAFileThatReadsAsOneInUse) {
  Blob file;
  auto writer = EtlFileWriter::Create(SmallHeader(), SinkInto(&file));
  ASSERT_TRUE(writer.ok());
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(writer.value()->Write(0, {}, Blob(100)));
  EtlMemorySource source(file);
  auto reader = EtlReader::Open(source, {});
  ASSERT_TRUE(reader.ok());
  EXPECT_EQ(reader.value()->header().end_time, 0);
  EXPECT_EQ(reader.value()->header().buffers_written, 1u);
  std::size_t events = 0;
  while (reader.value()->Next() != nullptr) ++events;
  EXPECT_GT(events, 50u);
}

TEST(EtlWriter, AnEmptyFileHasItsHeaderBufferOnly) {
  Blob file;
  auto writer = EtlFileWriter::Create(SmallHeader(), SinkInto(&file));
  ASSERT_TRUE(writer.ok());
  ASSERT_TRUE(writer.value()->Close(kStart + 5));
  EXPECT_EQ(file.size(), 4096u);
}

TEST(EtlWriter, RefusesWhatReadersRefuse) {
  const auto create = [](std::uint32_t size, std::uint32_t processors, std::size_t name) {
    EtlLogHeader header = SmallHeader();
    header.buffer_size = size;
    header.processors = processors;
    header.logger_name = std::u16string(name, u'n');
    Blob file;
    return EtlFileWriter::Create(header, SinkInto(&file)).ok();
  };
  EXPECT_TRUE(create(4096, 1, 1));
  EXPECT_TRUE(create(1024 * 1024, 2047, 1));
  EXPECT_FALSE(create(3072, 1, 1)) << "too small a buffer";
  EXPECT_FALSE(create(4097, 1, 1)) << "an odd buffer size";
  EXPECT_FALSE(create(1025 * 1024, 1, 1)) << "too large a buffer";
  EXPECT_FALSE(create(4096, 0, 1)) << "no processor";
  EXPECT_FALSE(create(4096, 2048, 1)) << "too many processors";
  EXPECT_FALSE(create(4096, 1, 4096)) << "too long a name";
}

TEST(EtlWriter, RefusesEventsThatNoBufferHolds) {
  Blob file;
  auto writer = EtlFileWriter::Create(SmallHeader(), SinkInto(&file));
  ASSERT_TRUE(writer.ok());
  EXPECT_TRUE(writer.value()->Write(0, {}, Blob(4096 - 72 - 80)));
  EXPECT_FALSE(writer.value()->Write(0, {}, Blob(4096 - 72 - 79)));
  EXPECT_FALSE(writer.value()->Write(2, {}, {})) << "a processor that the header does not know";
}

TEST(EtlWriter, TellsWhenTheSinkSaysNo) {
  int calls_left = 0;
  const EtlSink sink = [&calls_left](std::uint64_t, std::span<const std::byte>) { return calls_left-- > 0; };
  EXPECT_FALSE(EtlFileWriter::Create(SmallHeader(), sink).ok());
  calls_left = 1;
  auto writer = EtlFileWriter::Create(SmallHeader(), sink);
  ASSERT_TRUE(writer.ok());
  ASSERT_TRUE(writer.value()->Write(0, {}, Blob(3000)));
  EXPECT_FALSE(writer.value()->Write(0, {}, Blob(3000)));
  EXPECT_FALSE(writer.value()->Close(kStart));
}

}  // namespace
}  // namespace varnel::formats

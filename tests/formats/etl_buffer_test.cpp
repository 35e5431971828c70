#include "formats/etl_buffer.h"

#include <gtest/gtest.h>

#include "tests/support/etl_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;
using support::ByteWriter;

Blob SmallEvent(std::int64_t stamp, std::uint16_t id, std::size_t payload = 3) {
  support::EventSpec spec;
  spec.stamp = stamp;
  spec.id = id;
  spec.payload = ByteWriter().Fill(payload, 'p').Take();
  return support::Event(spec);
}

struct Walked {
  std::vector<std::uint16_t> ids;
  EtlBufferAccount account;
};
Walked Walk(const Blob& bytes, const EtlClock& clock = {}) {
  EtlBufferInfo info;
  EXPECT_TRUE(ParseEtlBufferHeader(bytes, &info));
  EtlBufferCursor cursor(bytes, info, clock);
  EtlEventView event;
  Walked walked;
  while (cursor.Next(&event)) walked.ids.push_back(event.id);
  walked.account = cursor.account();
  EXPECT_EQ(walked.account.event_bytes + walked.account.filler_bytes + walked.account.skipped_bytes, bytes.size() - 72);
  return walked;
}

TEST(EtlBuffer, ReadsItsHeader) {
  support::BufferSpec spec;
  spec.processor = 700;
  spec.sequence = 5;
  spec.flags = 0x27;
  spec.time_stamp = 4242;
  const Blob bytes = support::Buffer(spec, {SmallEvent(1, 1)});
  EtlBufferInfo info;
  ASSERT_TRUE(ParseEtlBufferHeader(bytes, &info));
  EXPECT_EQ(info.size, 4096u);
  EXPECT_EQ(info.valid_end, 72u + 88u);
  EXPECT_EQ(info.processor, 700);
  EXPECT_EQ(info.logger_id, 3);
  EXPECT_EQ(info.flags, 0x27);
  EXPECT_EQ(info.type, 0);
  EXPECT_EQ(info.state, 3u);
  EXPECT_EQ(info.sequence, 5);
  EXPECT_EQ(info.time_stamp, 4242);
  EXPECT_FALSE(info.packed());
}

TEST(EtlBuffer, TakesTheProcessorAsAByteWhereTheFlagOfTheIndexIsMissing) {
  support::BufferSpec spec;
  spec.flags = 0x01;
  spec.processor = 2;
  EtlBufferInfo info;
  ASSERT_TRUE(ParseEtlBufferHeader(support::Buffer(spec, {SmallEvent(1, 1)}), &info));
  EXPECT_EQ(info.processor, 2) << "the alignment behind it is no part of the number";
}

TEST(EtlBuffer, MasksTheProcessorIndex) {
  support::BufferSpec spec;
  spec.processor = 0xF803;
  EtlBufferInfo info;
  ASSERT_TRUE(ParseEtlBufferHeader(support::Buffer(spec, {}), &info));
  EXPECT_EQ(info.processor, 3);
}

TEST(EtlBuffer, RefusesHeadersThatNoWriterMakes) {
  const Blob good = support::Buffer({}, {SmallEvent(1, 1)});
  EtlBufferInfo info;
  EXPECT_FALSE(ParseEtlBufferHeader(std::span(good).first(71), &info)) << "too few bytes";
  const auto refused = [&](std::size_t place, std::uint16_t value) {
    Blob bytes = good;
    support::Patch16(&bytes, place, value);
    return !ParseEtlBufferHeader(bytes, &info);
  };
  EXPECT_TRUE(refused(0, 71)) << "a size below the header";
  EXPECT_TRUE(refused(0, 4095)) << "a size off the alignment";
  EXPECT_TRUE(refused(0x34, 0x80)) << "an unknown flag";
  EXPECT_TRUE(refused(0x36, 8)) << "an unknown type";
  Blob no_end = good;
  support::Patch32(&no_end, 0x30, 4097);
  EXPECT_TRUE(ParseEtlBufferHeader(no_end, &info)) << "the older end of data is good";
  support::Patch32(&no_end, 0x04, 71);
  EXPECT_FALSE(ParseEtlBufferHeader(no_end, &info)) << "no end of data";
}

TEST(EtlBuffer, TakesTheOffsetForTheEndOfDataAndTheOlderFieldWhereThatIsNone) {
  Blob bytes = support::Buffer({}, {SmallEvent(1, 1), SmallEvent(2, 2)});
  support::Patch32(&bytes, 0x04, 0);
  EXPECT_EQ(Walk(bytes).ids.size(), 2u) << "a header buffer of older systems keeps no saved offset";
  Blob other = support::Buffer({}, {SmallEvent(1, 1), SmallEvent(2, 2)});
  support::Patch32(&other, 0x30, 0);
  EXPECT_EQ(Walk(other).ids.size(), 2u);
}

TEST(EtlBuffer, AHeaderBufferWithoutAnyEndIsReadToItsFiller) {
  support::BufferSpec spec;
  spec.type = 4;
  Blob bytes = support::Buffer(spec, {SmallEvent(1, 1)});
  support::Patch32(&bytes, 0x04, 0);
  support::Patch32(&bytes, 0x30, 0);
  const Walked walked = Walk(bytes);
  EXPECT_EQ(walked.ids.size(), 1u);
  EXPECT_FALSE(walked.account.damaged);
  EXPECT_EQ(walked.account.skipped_bytes, 0u);
}

TEST(EtlBuffer, CountsPaddingAndWhatFollowsTheDataAsFiller) {
  const Walked walked = Walk(support::Buffer({}, {SmallEvent(1, 1, 3), SmallEvent(2, 2, 8)}));
  EXPECT_EQ(walked.account.events, 2u);
  EXPECT_EQ(walked.account.event_bytes, 83u + 88u);
  EXPECT_EQ(walked.account.filler_bytes, 4096u - 72 - 83 - 88);
  EXPECT_EQ(walked.account.skipped_bytes, 0u);
  EXPECT_FALSE(walked.account.damaged);
}

TEST(EtlBuffer, ZerosAreFillerToo) {
  support::BufferSpec spec;
  spec.filler = 0;
  EXPECT_EQ(Walk(support::Buffer(spec, {SmallEvent(1, 1)})).account.skipped_bytes, 0u);
}

TEST(EtlBuffer, AnEventMayEndWithTheBuffer) {
  support::BufferSpec spec;
  spec.size = 72 + 88;
  EXPECT_EQ(Walk(support::Buffer(spec, {SmallEvent(1, 1, 8)})).account.filler_bytes, 0u);
}

TEST(EtlBuffer, AnEmptyBufferHasNoEvents) {
  const Walked walked = Walk(support::Buffer({}, {}));
  EXPECT_TRUE(walked.ids.empty());
  EXPECT_EQ(walked.account.filler_bytes, 4096u - 72);
}

TEST(EtlBuffer, ABrokenEventEndsTheBufferAndItsRestIsSkipped) {
  Blob bytes = support::Buffer({}, {SmallEvent(1, 1), SmallEvent(2, 2), SmallEvent(3, 3)});
  support::Patch16(&bytes, 72 + 88, 79);
  const Walked walked = Walk(bytes);
  EXPECT_EQ(walked.ids, (std::vector<std::uint16_t>{1}));
  EXPECT_TRUE(walked.account.damaged);
  EXPECT_EQ(walked.account.skipped_bytes, 2u * 88);
}

TEST(EtlBuffer, FillerInTheMiddleOfDataIsDamageWhenDataFollows) {
  Blob bytes = support::Buffer({}, {SmallEvent(1, 1), SmallEvent(2, 2), SmallEvent(3, 3)});
  std::fill_n(bytes.begin() + 72 + 88, 88, std::byte{0xFF});
  const Walked walked = Walk(bytes);
  EXPECT_EQ(walked.ids.size(), 1u);
  EXPECT_TRUE(walked.account.damaged);
  EXPECT_EQ(walked.account.skipped_bytes, 2u * 88);
}

TEST(EtlBuffer, DataBehindTheEndOfDataIsCountedAsSkipped) {
  Blob bytes = support::Buffer({}, {SmallEvent(1, 1), SmallEvent(2, 2)});
  support::Patch32(&bytes, 0x30, 72 + 88);
  const Walked walked = Walk(bytes);
  EXPECT_EQ(walked.ids.size(), 1u);
  EXPECT_GT(walked.account.skipped_bytes, 0u);
}

TEST(EtlBuffer, WhatFilesDoNotUseIsSteppedOverAndCountedAsSkipped) {
  const Blob error = ByteWriter().U16(24).U8(0x0D).U8(0xC0).Fill(20, 1).Take();
  const Walked walked = Walk(support::Buffer({}, {SmallEvent(1, 1), error, SmallEvent(2, 2)}));
  EXPECT_EQ(walked.ids, (std::vector<std::uint16_t>{1, 2}));
  EXPECT_EQ(walked.account.skipped_bytes, 24u);
  EXPECT_FALSE(walked.account.damaged);
}

TEST(EtlBuffer, ABufferCutShortGivesTheEventsThatAreWhole) {
  const Blob whole = support::Buffer({}, {SmallEvent(1, 1), SmallEvent(2, 2)});
  EtlBufferInfo info;
  ASSERT_TRUE(ParseEtlBufferHeader(whole, &info));
  for (const std::size_t size : {72u, 100u, 72u + 83, 72u + 88, 72u + 88 + 82, 72u + 88 + 83, 4000u}) {
    const std::span<const std::byte> part = std::span(whole).first(size);
    EtlBufferCursor cursor(part, info, {});
    EtlEventView event;
    std::size_t count = 0;
    while (cursor.Next(&event)) ++count;
    EXPECT_EQ(count, size < 72 + 83 ? 0u : size < 72 + 88 + 83 ? 1u : 2u) << size;
    const EtlBufferAccount& account = cursor.account();
    EXPECT_EQ(account.event_bytes + account.filler_bytes + account.skipped_bytes, size - 72) << size;
  }
}

TEST(EtlBuffer, GivesEachEventItsProcessorLoggerAndFileTime) {
  support::BufferSpec spec;
  spec.processor = 9;
  const Blob bytes = support::Buffer(spec, {SmallEvent(1100, 1)});
  EtlBufferInfo info;
  ASSERT_TRUE(ParseEtlBufferHeader(bytes, &info));
  EtlBufferCursor cursor(bytes, info, EtlClock(1, 1'000'000, 0, 1000, 5000));
  EtlEventView event;
  ASSERT_TRUE(cursor.Next(&event));
  EXPECT_EQ(event.processor, 9);
  EXPECT_EQ(event.logger_id, 3);
  EXPECT_EQ(event.stamp, 1100);
  EXPECT_EQ(event.file_time, 6000);
}

TEST(EtlBuffer, AMessageWithoutATimeBearsTheStampBeforeIt) {
  const Blob bytes = support::Buffer({}, {SmallEvent(1100, 1), support::MessageEvent(2, 0, {}), SmallEvent(1200, 3)});
  EtlBufferInfo info;
  ASSERT_TRUE(ParseEtlBufferHeader(bytes, &info));
  EtlBufferCursor cursor(bytes, info, {});
  EtlEventView event;
  std::vector<std::int64_t> stamps;
  while (cursor.Next(&event)) stamps.push_back(event.stamp);
  EXPECT_EQ(stamps, (std::vector<std::int64_t>{1100, 1100, 1200}));
}

}  // namespace
}  // namespace varnel::formats

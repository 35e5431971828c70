#include "formats/etl_event.h"

#include <gtest/gtest.h>

#include "tests/support/etl_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;
using support::ByteWriter;

constexpr GUID kClass = {0xAABBCCDD, 0x1122, 0x3344, {9, 8, 7, 6, 5, 4, 3, 2}};
constexpr GUID kParent = {0x01020304, 0x0506, 0x0708, {1, 1, 2, 3, 5, 8, 13, 21}};
const Blob kPayload = ByteWriter().Text("payload").Take();

struct Parsed {
  EtlParseOutcome outcome = EtlParseOutcome::kDamaged;
  EtlEventView view;
  std::uint32_t size = 0;
};
Parsed Parse(const Blob& bytes) {
  Parsed parsed;
  parsed.view.stamp = -7;
  parsed.outcome = ParseEtlEvent(bytes, &parsed.view, &parsed.size);
  return parsed;
}

std::string TextOf(std::span<const std::byte> bytes) {
  return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

TEST(EtlEvent, ReadsAnEventHeaderWithAllItsFields) {
  support::EventSpec spec;
  spec.stamp = 123456789012;
  spec.provider = kClass;
  spec.id = 1001;
  spec.version = 2;
  spec.channel = 3;
  spec.level = 4;
  spec.opcode = 5;
  spec.task = 6;
  spec.keyword = 0x8000000000000010;
  spec.payload = kPayload;
  const Blob bytes = support::Event(spec);
  const Parsed p = Parse(bytes);
  ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent);
  EXPECT_EQ(p.size, bytes.size());
  EXPECT_EQ(p.view.kind, EtlEventKind::kEvent);
  EXPECT_EQ(p.view.header_type, 0x13);
  EXPECT_FALSE(p.view.pointer32);
  EXPECT_EQ(p.view.stamp, 123456789012);
  EXPECT_EQ(p.view.provider, kClass);
  EXPECT_EQ(p.view.id, 1001);
  EXPECT_EQ(p.view.version, 2);
  EXPECT_EQ(p.view.channel, 3);
  EXPECT_EQ(p.view.level, 4);
  EXPECT_EQ(p.view.opcode, 5);
  EXPECT_EQ(p.view.task, 6);
  EXPECT_EQ(p.view.keyword, 0x8000000000000010u);
  EXPECT_EQ(p.view.thread_id, 44u);
  EXPECT_EQ(p.view.process_id, 33u);
  EXPECT_EQ(p.view.kernel_time, 5u);
  EXPECT_EQ(p.view.user_time, 6u);
  EXPECT_EQ(p.view.activity_id.Data1, 0xACu);
  EXPECT_TRUE(p.view.extended.empty());
  EXPECT_EQ(TextOf(p.view.payload), "payload");
}

TEST(EtlEvent, AHeaderOf32BitsTellsThePointerSizeOfItsProcess) {
  const std::pair<std::uint8_t, std::uint8_t> pairs[] = {{0x12, 0x13}, {0x0A, 0x14}, {0x0B, 0x15}};
  for (const auto& [narrow, wide] : pairs) {
    const auto event = [](std::uint8_t type) {
      return type == 0x12 || type == 0x13   ? support::Event({.header_type = type, .items = {}, .payload = {}})
             : type == 0x0A || type == 0x14 ? support::ClassicEvent(type, kClass, 1, 1, {})
                                            : support::InstanceEvent(type, kClass, 1, 2, 3, kParent, {});
    };
    EXPECT_TRUE(Parse(event(narrow)).view.pointer32);
    EXPECT_FALSE(Parse(event(wide)).view.pointer32);
  }
  EXPECT_TRUE(Parse(support::SystemEvent(1, 1, 1, 1, {})).view.pointer32);
  EXPECT_TRUE(Parse(support::SystemEvent(3, 1, 1, 1, {})).view.pointer32);
  EXPECT_TRUE(Parse(support::PerfInfoEvent(0x10, 1, 1, 1, {})).view.pointer32);
}

TEST(EtlEvent, PutsTheUserDataBehindTheExtendedItems) {
  support::EventSpec spec;
  spec.items = {{1, ByteWriter().Guid(kParent).Take()}, {12, ByteWriter().Text("traits").Take()}};
  spec.payload = kPayload;
  const Blob bytes = support::Event(spec);
  const Parsed p = Parse(bytes);
  ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent);
  EXPECT_EQ(p.view.flags, 1);
  EXPECT_EQ(TextOf(p.view.payload), "payload");
  EXPECT_EQ(p.view.extended.size(), 24u + 16u);
  EXPECT_EQ(TextOf(EtlFindItem(p.view, 12)), "traits");
  EXPECT_EQ(EtlFindItem(p.view, 1).size(), 16u);
  EXPECT_TRUE(EtlFindItem(p.view, 11).empty());
  EtlItemWalk walk(p.view.extended);
  EtlItemView item;
  ASSERT_TRUE(walk.Next(&item));
  EXPECT_TRUE(item.linked);
  ASSERT_TRUE(walk.Next(&item));
  EXPECT_FALSE(item.linked);
  EXPECT_FALSE(walk.Next(&item));
}

TEST(EtlEvent, DropsTheRestOfTheItemsAtOneThatIsNotWhole) {
  support::EventSpec spec;
  spec.items = {{1, ByteWriter().Guid(kParent).Take()}, {12, ByteWriter().Text("traits").Take()}};
  for (const std::uint16_t total : {0, 7, 4000}) {
    Blob bytes = support::Event(spec);
    support::Patch16(&bytes, 80 + 24, total);
    const Parsed p = Parse(bytes);
    ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent) << total;
    EXPECT_EQ(p.view.extended.size(), 24u) << total;
    EXPECT_EQ(p.view.payload.size(), 16u) << total;
  }
  Blob bytes = support::Event(spec);
  support::Patch16(&bytes, 80 + 6, 17);  // more data than the item's own size has room for
  EXPECT_TRUE(Parse(bytes).view.extended.empty());
}

TEST(EtlEvent, ReadsSystemAndCompactHeadersThreadBeforeProcess) {
  for (const std::uint8_t type : {1, 2, 3, 4}) {
    const Blob bytes = support::SystemEvent(type, 5, 36, 777, kPayload);
    const Parsed p = Parse(bytes);
    ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent);
    EXPECT_EQ(p.view.kind, type <= 2 ? EtlEventKind::kSystem : EtlEventKind::kCompact);
    EXPECT_EQ(p.view.thread_id, 44u);
    EXPECT_EQ(p.view.process_id, 33u);
    EXPECT_EQ(p.view.kernel_time, type <= 2 ? 5u : 0u);
    EXPECT_EQ(p.view.opcode, 36);
    EXPECT_EQ(p.view.group, 5);
    EXPECT_EQ(p.view.version, 2);
    EXPECT_EQ(p.view.stamp, 777);
    EXPECT_EQ(p.view.provider, EtlGroupProvider(5, 36));
    EXPECT_EQ(TextOf(p.view.payload), "payload");
  }
}

TEST(EtlEvent, APerformanceHeaderHasNoThreadAndNoProcess) {
  const Blob bytes = support::PerfInfoEvent(0x11, 15, 46, 777, kPayload);
  const Parsed p = Parse(bytes);
  ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent);
  EXPECT_EQ(p.view.kind, EtlEventKind::kPerfInfo);
  EXPECT_FALSE(p.view.has_thread);
  EXPECT_EQ(p.view.thread_id, 0xFFFFFFFFu);
  EXPECT_EQ(p.view.stamp, 777);
  EXPECT_EQ(TextOf(p.view.payload), "payload");
}

TEST(EtlEvent, CountersThatTheVersionAnnouncesStandBeforeThePayload) {
  const Blob counters = ByteWriter().U64(1).U64(2).U64(3).Take();
  Blob rest = counters;
  support::Append(&rest, kPayload);
  // Bit 15: a sampling index; bits 8 to 10: two counters.
  const Blob bytes = support::PerfInfoEvent(0x11, 15, 46, 1, rest, 0x8202);
  const Parsed p = Parse(bytes);
  ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent);
  EXPECT_EQ(p.view.version, 2);
  EXPECT_EQ(p.view.counters.size(), 24u);
  EXPECT_EQ(TextOf(p.view.payload), "payload");
  EXPECT_EQ(Parse(support::PerfInfoEvent(0x11, 15, 46, 1, kPayload, 0x8202)).outcome, EtlParseOutcome::kDamaged);
}

TEST(EtlEvent, ReadsClassicEventsByTheirClass) {
  const Blob bytes = support::ClassicEvent(0x14, kClass, 10, 99, kPayload);
  const Parsed p = Parse(bytes);
  ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent);
  EXPECT_EQ(p.view.kind, EtlEventKind::kFull);
  EXPECT_EQ(p.view.provider, kClass);
  EXPECT_EQ(p.view.opcode, 10);
  EXPECT_EQ(p.view.level, 4);
  EXPECT_EQ(p.view.version, 2);
  EXPECT_EQ(p.view.stamp, 99);
  EXPECT_EQ(TextOf(p.view.payload), "payload");
}

TEST(EtlEvent, ReadsInstancesWithTheirParent) {
  const Blob bytes = support::InstanceEvent(0x15, kClass, 99, 21, 22, kParent, kPayload);
  const Parsed p = Parse(bytes);
  ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent);
  EXPECT_EQ(p.view.kind, EtlEventKind::kInstance);
  EXPECT_EQ(p.view.provider, kClass);
  EXPECT_EQ(p.view.instance_id, 21u);
  EXPECT_EQ(p.view.parent_instance_id, 22u);
  EXPECT_EQ(p.view.parent_guid, kParent);
  EXPECT_EQ(TextOf(p.view.payload), "payload");
}

TEST(EtlEvent, ReadsTheOptionalPartsOfAMessageInTheirOrder) {
  ByteWriter parts;
  parts.U32(17).Guid(kClass).I64(555).U32(44).U32(33).Bytes(kPayload);
  const Blob bytes = support::MessageEvent(12, 0x01 | 0x02 | 0x08 | 0x20 | 0x80, parts.Take());
  const Parsed p = Parse(bytes);
  ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent);
  EXPECT_EQ(p.view.kind, EtlEventKind::kMessage);
  EXPECT_EQ(p.view.header_type, kEtlMessage);
  EXPECT_EQ(p.view.id, 12);
  EXPECT_EQ(p.view.message_sequence, 17u);
  EXPECT_EQ(p.view.provider, kClass);
  EXPECT_EQ(p.view.stamp, 555);
  EXPECT_EQ(p.view.thread_id, 44u);
  EXPECT_EQ(p.view.process_id, 33u);
  EXPECT_FALSE(p.view.pointer32);
  EXPECT_EQ(TextOf(p.view.payload), "payload");
}

TEST(EtlEvent, AMessageOfAComponentHasANumberForAProvider) {
  const Blob bytes = support::MessageEvent(1, 0x04 | 0x10 | 0x40, ByteWriter().U32(0x77).I64(9).Take());
  const Parsed p = Parse(bytes);
  ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent);
  EXPECT_EQ(p.view.provider, (GUID{0x77, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}}));
  EXPECT_EQ(p.view.stamp, 9);
  EXPECT_TRUE(p.view.pointer32);
}

TEST(EtlEvent, AMessageWithoutATimeKeepsTheStampBeforeIt) {
  const Blob bytes = support::MessageEvent(3, 0, kPayload);
  const Parsed p = Parse(bytes);
  ASSERT_EQ(p.outcome, EtlParseOutcome::kEvent);
  EXPECT_FALSE(p.view.has_own_stamp);
  EXPECT_FALSE(p.view.has_thread);
  EXPECT_EQ(p.view.stamp, -7);
  EXPECT_EQ(TextOf(p.view.payload), "payload");
}

TEST(EtlEvent, AMessageWithoutRoomForItsPartsIsDamaged) {
  EXPECT_EQ(Parse(support::MessageEvent(3, 0x02, ByteWriter().U64(0).Take())).outcome, EtlParseOutcome::kDamaged);
  EXPECT_EQ(Parse(support::MessageEvent(3, 0x08, ByteWriter().U32(0).Take())).outcome, EtlParseOutcome::kDamaged);
  EXPECT_EQ(Parse(support::MessageEvent(3, 0x20, ByteWriter().U32(0).Take())).outcome, EtlParseOutcome::kDamaged);
  EXPECT_EQ(Parse(support::MessageEvent(3, 0x01, {})).outcome, EtlParseOutcome::kDamaged);
}

TEST(EtlEvent, AllOnesAreFiller) {
  EXPECT_EQ(Parse(ByteWriter().Fill(16, 0xFF).Take()).outcome, EtlParseOutcome::kFiller);
}

TEST(EtlEvent, WhatFilesDoNotUseIsSteppedOverByItsSize) {
  for (const std::uint8_t type : {0x0C, 0x0D, 0x0E}) {
    const Blob bytes = ByteWriter().U16(24).U8(type).U8(0xC0).Fill(40, 0).Take();
    const Parsed p = Parse(bytes);
    EXPECT_EQ(p.outcome, EtlParseOutcome::kStepOver) << int{type};
    EXPECT_EQ(p.size, 24u);
  }
}

TEST(EtlEvent, BytesThatAreNoEventAreDamage) {
  const Blob good = support::Event({.items = {}, .payload = kPayload});
  EXPECT_EQ(Parse({}).outcome, EtlParseOutcome::kDamaged);
  EXPECT_EQ(Parse(ByteWriter().Fill(16, 0).Take()).outcome, EtlParseOutcome::kDamaged) << "zeros";
  EXPECT_EQ(Parse(ByteWriter().U32(0x00130050).Fill(80, 0).Take()).outcome, EtlParseOutcome::kDamaged) << "no marker";
  EXPECT_EQ(Parse(ByteWriter().U32(0x80130050).Fill(80, 0).Take()).outcome, EtlParseOutcome::kDamaged) << "no kind";
  EXPECT_EQ(Parse(ByteWriter().U32(0xC0770050).Fill(80, 0).Take()).outcome, EtlParseOutcome::kDamaged) << "no type";
  Blob longer = good;
  support::Patch16(&longer, 0, static_cast<std::uint16_t>(good.size() + 1));
  EXPECT_EQ(Parse(longer).outcome, EtlParseOutcome::kDamaged) << "passes the end of data";
  Blob shorter = good;
  support::Patch16(&shorter, 0, 79);
  EXPECT_EQ(Parse(shorter).outcome, EtlParseOutcome::kDamaged) << "smaller than its header";
}

TEST(EtlEvent, EachKindRefusesASizeBelowItsHeader) {
  struct Row {
    Blob bytes;
    std::size_t size_at;
    std::uint16_t header;
  };
  const Row rows[] = {
      {support::SystemEvent(2, 1, 1, 1, kPayload), 4, 32},
      {support::SystemEvent(4, 1, 1, 1, kPayload), 4, 24},
      {support::PerfInfoEvent(0x11, 1, 1, 1, kPayload), 4, 16},
      {support::ClassicEvent(0x14, kClass, 1, 1, kPayload), 0, 48},
      {support::InstanceEvent(0x15, kClass, 1, 1, 1, kParent, kPayload), 0, 72},
      {support::Event({.items = {}, .payload = kPayload}), 0, 80},
  };
  for (const Row& row : rows) {
    Blob bytes = row.bytes;
    support::Patch16(&bytes, row.size_at, row.header);
    EXPECT_EQ(Parse(bytes).outcome, EtlParseOutcome::kEvent) << row.header;
    EXPECT_TRUE(Parse(bytes).view.payload.empty()) << row.header;
    support::Patch16(&bytes, row.size_at, static_cast<std::uint16_t>(row.header - 1));
    EXPECT_EQ(Parse(bytes).outcome, EtlParseOutcome::kDamaged) << row.header;
  }
}

TEST(EtlEvent, AViewThatIsUsedAgainKeepsNothingOfTheEventBefore) {
  support::EventSpec full;
  full.id = full.task = 9;
  full.version = full.channel = full.opcode = 9;
  full.keyword = 9;
  full.items = {{12, ByteWriter().Text("traits").Take()}};
  full.payload = kPayload;
  const Blob events[] = {
      support::Event(full),
      support::Event({.items = {}, .payload = {}}),
      support::SystemEvent(2, 5, 36, 1, {}),
      support::SystemEvent(4, 5, 36, 1, {}),
      support::PerfInfoEvent(0x11, 15, 46, 1, Blob(24), 0x8202),
      support::PerfInfoEvent(0x10, 15, 46, 1, {}),
      support::ClassicEvent(0x14, kClass, 10, 99, {}),
      support::InstanceEvent(0x15, kClass, 99, 21, 22, kParent, kPayload),
      support::MessageEvent(12, 0x2B, ByteWriter().U32(17).Guid(kClass).I64(5).U32(1).U32(2).Take()),
      support::MessageEvent(3, 0x10, ByteWriter().I64(5).Take()),
  };
  const auto same = [](const EtlEventView& a, const EtlEventView& b) {
    return a.kind == b.kind && a.header_type == b.header_type && a.pointer32 == b.pointer32 &&
           a.has_own_stamp == b.has_own_stamp && a.has_thread == b.has_thread && a.group == b.group &&
           a.flags == b.flags && a.event_property == b.event_property && a.id == b.id && a.version == b.version &&
           a.channel == b.channel && a.level == b.level && a.opcode == b.opcode && a.task == b.task &&
           a.message_options == b.message_options && a.keyword == b.keyword && a.thread_id == b.thread_id &&
           a.process_id == b.process_id && a.kernel_time == b.kernel_time && a.user_time == b.user_time &&
           a.stamp == b.stamp && a.provider == b.provider && a.activity_id == b.activity_id &&
           a.parent_guid == b.parent_guid && a.instance_id == b.instance_id &&
           a.parent_instance_id == b.parent_instance_id && a.message_sequence == b.message_sequence &&
           a.extended.size() == b.extended.size() && a.counters.size() == b.counters.size() &&
           a.payload.size() == b.payload.size();
  };
  for (const Blob& first : events) {
    for (const Blob& second : events) {
      Parsed used = Parse(first);
      ASSERT_EQ(ParseEtlEvent(second, &used.view, &used.size), EtlParseOutcome::kEvent);
      EXPECT_TRUE(same(used.view, Parse(second).view)) << int{used.view.header_type};
    }
  }
}

TEST(EtlEvent, RecordFlagsTellPointerSizeAndKindOfHeader) {
  EXPECT_EQ(EtlRecordFlags(Parse(support::Event({.items = {}, .payload = {}})).view), 0x0240);
  EXPECT_EQ(EtlRecordFlags(Parse(support::Event({.header_type = 0x12, .items = {}, .payload = {}})).view), 0x0220);
  EXPECT_EQ(EtlRecordFlags(Parse(support::ClassicEvent(0x14, kClass, 1, 1, {})).view), 0x0340);
  EXPECT_EQ(EtlRecordFlags(Parse(support::SystemEvent(1, 1, 1, 1, {})).view), 0x0320);
  EXPECT_EQ(EtlRecordFlags(Parse(support::MessageEvent(3, 0, {})).view), 0x0248);
  support::EventSpec with_item;
  with_item.items = {{12, ByteWriter().Text("x").Take()}};
  EXPECT_EQ(EtlRecordFlags(Parse(support::Event(with_item)).view), 0x0241);
}

}  // namespace
}  // namespace varnel::formats

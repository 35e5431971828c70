#include "platform/embedded/trace/event_record.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using varnel::embedded::RecordBuilder;
using varnel::formats::EtlEventKind;
using varnel::formats::EtlEventView;
namespace vp = varnel::platform;

std::span<const std::byte> Bytes(const std::string& text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

/// An extended item as it stands in a file.
std::string Item(std::uint16_t type, bool linked, std::string data) {
  const auto data_size = static_cast<std::uint16_t>(data.size());
  data.resize((data.size() + 7) / 8 * 8);
  const std::uint16_t words[4] = {static_cast<std::uint16_t>(8 + data.size()), type,
                                  static_cast<std::uint16_t>(linked ? 1 : 0), data_size};
  return std::string(reinterpret_cast<const char*>(words), sizeof words) + data;
}

EtlEventView View() {
  EtlEventView view;
  view.kind = EtlEventKind::kEvent;
  view.header_type = varnel::formats::kEtlEvent64;
  view.processor = 3;
  view.logger_id = 9;
  view.id = 700;
  view.version = 1;
  view.channel = 11;
  view.level = 4;
  view.opcode = 5;
  view.task = 600;
  view.keyword = 0x8000000000000001;
  view.thread_id = 22;
  view.process_id = 33;
  view.kernel_time = 44;
  view.user_time = 55;
  view.stamp = 1000;
  view.file_time = 2000;
  view.provider = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  view.activity_id = {12, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  return view;
}

TEST(EventRecordTest, EveryFieldOfTheHeaderIsCarriedOver) {
  int context = 0;
  RecordBuilder builder(false, &context);
  auto view = View();
  const std::string payload = "payload";
  view.payload = Bytes(payload);
  const vp::EVENT_RECORD& record = *builder.Make(view);
  EXPECT_EQ(record.EventHeader.Size, 80 + 7);
  EXPECT_EQ(record.EventHeader.ThreadId, 22u);
  EXPECT_EQ(record.EventHeader.ProcessId, 33u);
  EXPECT_EQ(record.EventHeader.TimeStamp, 2000);
  EXPECT_TRUE(record.EventHeader.ProviderId == view.provider);
  EXPECT_TRUE(record.EventHeader.ActivityId == view.activity_id);
  EXPECT_EQ(record.EventHeader.EventDescriptor.Id, 700);
  EXPECT_EQ(record.EventHeader.EventDescriptor.Version, 1);
  EXPECT_EQ(record.EventHeader.EventDescriptor.Channel, 11);
  EXPECT_EQ(record.EventHeader.EventDescriptor.Level, 4);
  EXPECT_EQ(record.EventHeader.EventDescriptor.Opcode, 5);
  EXPECT_EQ(record.EventHeader.EventDescriptor.Task, 600);
  EXPECT_EQ(record.EventHeader.EventDescriptor.Keyword, 0x8000000000000001u);
  EXPECT_EQ(record.EventHeader.KernelTime, 44u);
  EXPECT_EQ(record.EventHeader.UserTime, 55u);
  EXPECT_EQ(record.BufferContext.ProcessorIndex, 3);
  EXPECT_EQ(record.BufferContext.LoggerId, 9);
  EXPECT_NE(record.EventHeader.Flags & vp::kEventHeaderFlag64BitHeader, 0);
  EXPECT_EQ(record.UserData, static_cast<const void*>(payload.data()));
  EXPECT_EQ(record.UserDataLength, 7);
  EXPECT_EQ(record.UserContext, &context);
  EXPECT_EQ(record.ExtendedDataCount, 0);
  EXPECT_EQ(record.ExtendedData, nullptr);
}

TEST(EventRecordTest, RawRecordsBearTheStampOfTheSessionsClock) {
  RecordBuilder builder(true, nullptr);
  EXPECT_EQ(builder.Make(View())->EventHeader.TimeStamp, 1000);
}

TEST(EventRecordTest, ExtendedItemsPointAtTheirDataAndKeepTheirLinks) {
  RecordBuilder builder(false, nullptr);
  auto view = View();
  view.flags = 1;
  const std::string items =
      Item(vp::kExtTypeProvTraits, true, "0123456789") + Item(vp::kExtTypeEventSchemaTl, false, "schema");
  view.extended = Bytes(items);
  const vp::EVENT_RECORD& record = *builder.Make(view);
  ASSERT_EQ(record.ExtendedDataCount, 2);
  EXPECT_EQ(record.ExtendedData[0].ExtType, vp::kExtTypeProvTraits);
  EXPECT_EQ(record.ExtendedData[0].Linkage & 1, 1);
  EXPECT_EQ(record.ExtendedData[0].DataSize, 10);
  EXPECT_EQ(std::memcmp(reinterpret_cast<const void*>(record.ExtendedData[0].DataPtr), "0123456789", 10), 0);
  EXPECT_EQ(record.ExtendedData[1].ExtType, vp::kExtTypeEventSchemaTl);
  EXPECT_EQ(record.ExtendedData[1].Linkage & 1, 0);
  EXPECT_EQ(std::memcmp(reinterpret_cast<const void*>(record.ExtendedData[1].DataPtr), "schema", 6), 0);
  EXPECT_NE(record.EventHeader.Flags & vp::kEventHeaderFlagExtendedInfo, 0);
}

TEST(EventRecordTest, ItemsOfOneEventAreNotShownWithTheNext) {
  RecordBuilder builder(false, nullptr);
  auto view = View();
  const std::string items = Item(1, false, std::string(16, 'x'));
  view.extended = Bytes(items);
  EXPECT_EQ(builder.Make(view)->ExtendedDataCount, 1);
  EXPECT_EQ(builder.Make(View())->ExtendedDataCount, 0);
}

}  // namespace

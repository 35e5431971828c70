#include "tests/support/etl_bytes.h"

#include <algorithm>

namespace varnel::support {

ByteWriter& ByteWriter::U8(std::uint8_t value) {
  bytes_.push_back(std::byte{value});
  return *this;
}

ByteWriter& ByteWriter::U16(std::uint16_t value) {
  return U8(static_cast<std::uint8_t>(value)).U8(static_cast<std::uint8_t>(value >> 8));
}

ByteWriter& ByteWriter::U32(std::uint32_t value) {
  return U16(static_cast<std::uint16_t>(value)).U16(static_cast<std::uint16_t>(value >> 16));
}

ByteWriter& ByteWriter::U64(std::uint64_t value) {
  return U32(static_cast<std::uint32_t>(value)).U32(static_cast<std::uint32_t>(value >> 32));
}

ByteWriter& ByteWriter::Guid(const GUID& guid) {
  U32(guid.Data1).U16(guid.Data2).U16(guid.Data3);
  for (const std::uint8_t byte : guid.Data4) U8(byte);
  return *this;
}

ByteWriter& ByteWriter::Bytes(std::span<const std::byte> bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  return *this;
}

ByteWriter& ByteWriter::Utf16z(std::u16string_view text) {
  for (const char16_t unit : text) U16(unit);
  return U16(0);
}

ByteWriter& ByteWriter::Text(std::string_view text) {
  for (const char c : text) U8(static_cast<std::uint8_t>(c));
  return *this;
}

ByteWriter& ByteWriter::Fill(std::size_t count, std::uint8_t value) {
  bytes_.insert(bytes_.end(), count, std::byte{value});
  return *this;
}

ByteWriter& ByteWriter::PadTo(std::size_t size, std::uint8_t value) {
  return bytes_.size() < size ? Fill(size - bytes_.size(), value) : *this;
}

ByteWriter& ByteWriter::Align8(std::uint8_t value) {
  return PadTo((bytes_.size() + 7) / 8 * 8, value);
}

ByteWriter& ByteWriter::SizeAt(std::size_t place) {
  Patch16(&bytes_, place, static_cast<std::uint16_t>(bytes_.size()));
  return *this;
}

void Patch16(Blob* bytes, std::size_t place, std::uint16_t value) {
  (*bytes)[place] = std::byte(value & 0xFF);
  (*bytes)[place + 1] = std::byte(value >> 8);
}

void Patch32(Blob* bytes, std::size_t place, std::uint32_t value) {
  Patch16(bytes, place, static_cast<std::uint16_t>(value));
  Patch16(bytes, place + 2, static_cast<std::uint16_t>(value >> 16));
}

void Patch64(Blob* bytes, std::size_t place, std::uint64_t value) {
  Patch32(bytes, place, static_cast<std::uint32_t>(value));
  Patch32(bytes, place + 4, static_cast<std::uint32_t>(value >> 32));
}

void Append(Blob* bytes, const Blob& more) {
  bytes->insert(bytes->end(), more.begin(), more.end());
}

Blob LogHeaderEvent(const LogHeaderSpec& spec) {
  ByteWriter w;
  // Version 2, the 32- or 64-bit system header, size, then type and group 0, thread and process.
  w.U16(2).U8(spec.layout32 ? 1 : 2).U8(0xC0).U16(0).U8(0).U8(0).U32(501).U32(500);
  w.I64(spec.origin_stamp).U32(7).U32(8);
  w.U32(spec.buffer_size).U8(10).U8(0).U8(1).U8(5).U32(19045).U32(spec.processors).I64(spec.end_time);
  w.U32(156250).U32(64).U32(spec.mode).U32(spec.buffers_written).U32(1).U32(spec.pointer_size);
  w.U32(spec.events_lost).U32(spec.cpu_mhz);
  w.Fill(spec.layout32 ? 8 : 16, 0);
  w.U32(static_cast<std::uint32_t>(spec.bias_minutes)).Fill(168, 0);
  w.U32(0).I64(spec.boot_time).I64(spec.perf_freq).I64(spec.start_time).U32(spec.clock_type).U32(spec.buffers_lost);
  w.Utf16z(spec.logger_name).Utf16z(spec.file_name);
  return w.SizeAt(4).Take();
}

Blob Buffer(const BufferSpec& spec, const std::vector<Blob>& events) {
  ByteWriter body;
  for (const Blob& event : events) body.Bytes(event).Align8();
  const auto end = static_cast<std::uint32_t>(72 + body.size());
  ByteWriter w;
  w.U32(spec.size).U32(end).U32(end).U32(0).I64(spec.time_stamp).I64(spec.sequence).U64(0);
  if ((spec.flags & 0x20) != 0) {
    w.U16(spec.processor);
  } else {
    w.U8(static_cast<std::uint8_t>(spec.processor)).U8(8);
  }
  w.U16(spec.logger_id).U32(spec.state).U32(end).U16(spec.flags).U16(spec.type).U64(0).U64(0);
  w.Bytes(body.Take()).PadTo(spec.size, spec.filler);
  return w.Take();
}

Blob HeaderBuffer(const LogHeaderSpec& spec, const std::vector<Blob>& more_events) {
  std::vector<Blob> events = {LogHeaderEvent(spec)};
  events.insert(events.end(), more_events.begin(), more_events.end());
  BufferSpec buffer;
  buffer.size = spec.buffer_size;
  buffer.sequence = 0;
  buffer.flags = 0x21;
  buffer.type = 4;
  return Buffer(buffer, events);
}

Blob PackedBuffer(const Blob& plain, const Blob& packed_body) {
  Blob out(plain.begin(), plain.begin() + 72);
  Append(&out, packed_body);
  Patch32(&out, 0, static_cast<std::uint32_t>(out.size()));
  out[0x34] |= std::byte{0x40};
  return out;
}

namespace {

/// An item's size counts its header, the data and zeros up to a multiple of eight.
void PutItem(const ItemSpec& item, bool linked, ByteWriter* w) {
  const std::size_t total = (8 + item.data.size() + 7) / 8 * 8;
  w->U16(static_cast<std::uint16_t>(total)).U16(item.type).U16(linked ? 1 : 0);
  w->U16(static_cast<std::uint16_t>(item.data.size())).Bytes(item.data);
  w->Fill(total - 8 - item.data.size(), 0);
}

}  // namespace

Blob Event(const EventSpec& spec) {
  ByteWriter w;
  w.U16(0).U8(spec.header_type).U8(0xC0).U16(spec.items.empty() ? 0 : 1).U16(0);
  w.U32(spec.thread_id).U32(spec.process_id).I64(spec.stamp).Guid(spec.provider);
  w.U16(spec.id).U8(spec.version).U8(spec.channel).U8(spec.level).U8(spec.opcode).U16(spec.task).U64(spec.keyword);
  w.U32(5).U32(6).Guid({0xAC, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}});
  for (std::size_t i = 0; i < spec.items.size(); ++i) PutItem(spec.items[i], i + 1 < spec.items.size(), &w);
  return w.Bytes(spec.payload).SizeAt(0).Take();
}

Blob SystemEvent(std::uint8_t header_type, std::uint8_t group, std::uint8_t type, std::int64_t stamp, const Blob& rest,
                 std::uint16_t version) {
  ByteWriter w;
  w.U16(version).U8(header_type).U8(0xC0).U16(0).U8(type).U8(group).U32(44).U32(33).I64(stamp);
  if (header_type <= 2) w.U32(5).U32(6);
  return w.Bytes(rest).SizeAt(4).Take();
}

Blob PerfInfoEvent(std::uint8_t header_type, std::uint8_t group, std::uint8_t type, std::int64_t stamp,
                   const Blob& rest, std::uint16_t version) {
  ByteWriter w;
  w.U16(version).U8(header_type).U8(0xC0).U16(0).U8(type).U8(group).I64(stamp);
  return w.Bytes(rest).SizeAt(4).Take();
}

namespace {

ByteWriter ClassicHeader(std::uint8_t header_type, const GUID& guid, std::uint8_t type, std::int64_t stamp) {
  ByteWriter w;
  w.U16(0).U8(header_type).U8(0xC0).U8(type).U8(4).U16(2).U32(44).U32(33).I64(stamp).Guid(guid).U32(5).U32(6);
  return w;
}

}  // namespace

Blob ClassicEvent(std::uint8_t header_type, const GUID& guid, std::uint8_t type, std::int64_t stamp,
                  const Blob& payload) {
  return ClassicHeader(header_type, guid, type, stamp).Bytes(payload).SizeAt(0).Take();
}

Blob InstanceEvent(std::uint8_t header_type, const GUID& guid, std::int64_t stamp, std::uint32_t instance,
                   std::uint32_t parent, const GUID& parent_guid, const Blob& payload) {
  ByteWriter w = ClassicHeader(header_type, guid, 1, stamp);
  return w.U32(instance).U32(parent).Guid(parent_guid).Bytes(payload).SizeAt(0).Take();
}

Blob MessageEvent(std::uint16_t number, std::uint16_t options, const Blob& parts) {
  ByteWriter w;
  w.U16(0).U8(0).U8(0x90).U16(number).U16(options);
  return w.Bytes(parts).SizeAt(0).Take();
}

Blob CounterPayload(std::uint32_t counter, std::string_view text) {
  ByteWriter w;
  return w.U32(counter).U32(8).Text("Function").U8(0).U32(12).U32(0).Text(text).U8(0).Take();
}

Blob XpressLiterals(std::span<const std::byte> bytes) {
  // Thirty-two flags stand before the bytes that they tell of; a flag of zero is a literal.
  ByteWriter w;
  for (std::size_t i = 0; i < bytes.size(); i += 32) {
    w.U32(0).Bytes(bytes.subspan(i, std::min<std::size_t>(32, bytes.size() - i)));
  }
  return w.Take();
}

}  // namespace varnel::support

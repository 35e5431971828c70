#include "formats/etl_log_header.h"

#include <cstring>

#include "formats/byte_cursor.h"
#include "formats/etl_event.h"

namespace varnel::formats {
namespace {

using Bytes = std::span<const std::byte>;

/// The 32-bit layout differs in the two pointers and in where the 8-byte fields behind the zone begin.
bool LoadLayout(Bytes payload, bool layout32, EtlLogHeader64Format* out) noexcept {
  if (!layout32) {
    if (payload.size() < sizeof(*out)) return false;
    std::memcpy(out, payload.data(), sizeof(*out));
    return true;
  }
  if (payload.size() < kEtlLogHeader32Size) return false;
  *out = {};
  std::memcpy(out, payload.data(), offsetof(EtlLogHeader64Format, logger_name));
  std::memcpy(out->time_zone, payload.data() + kEtlLogHeader32TimeZone, kEtlTimeZoneSize);
  std::memcpy(&out->boot_time, payload.data() + kEtlLogHeader32BootTime, kEtlLogHeader32Size - kEtlLogHeader32BootTime);
  return true;
}

void CopyFacts(const EtlLogHeader64Format& header, EtlLogHeader* out) noexcept {
  out->buffer_size = header.buffer_size;
  out->os_major = header.os_major;
  out->os_minor = header.os_minor;
  out->layout_major = header.layout_major;
  out->layout_minor = header.layout_minor;
  out->provider_version = header.provider_version;
  out->processors = header.number_of_processors;
  out->end_time = header.end_time;
  out->timer_resolution = header.timer_resolution;
  out->maximum_file_size = header.maximum_file_size;
  out->log_file_mode = header.log_file_mode;
  out->buffers_written = header.buffers_written;
  out->start_buffers = header.start_buffers;
  out->pointer_size = header.pointer_size;
  out->events_lost = header.events_lost;
  out->cpu_speed_mhz = header.cpu_speed_mhz;
  std::memcpy(out->time_zone.data(), header.time_zone, kEtlTimeZoneSize);
  out->boot_time = header.boot_time;
  out->perf_freq = header.perf_freq;
  out->start_time = header.start_time;
  out->clock_type = header.clock_type;
  out->buffers_lost = header.buffers_lost;
}

std::u16string ReadName(ByteCursor* cursor) {
  std::u16string name;
  char16_t unit = 0;
  while (cursor->Read(&unit) && unit != 0) name.push_back(unit);
  return name;
}

bool IsLogHeaderEvent(const EtlEventView& event) noexcept {
  return event.kind == EtlEventKind::kSystem && event.group == 0 && event.opcode == 0;
}

}  // namespace

bool ParseEtlLogHeader(std::span<const std::byte> bytes, EtlLogHeader* out) {
  if (bytes.size() < kEtlBufferHeaderSize) return false;
  EtlEventView event;
  std::uint32_t size = 0;
  const Bytes events = bytes.subspan(kEtlBufferHeaderSize);
  if (ParseEtlEvent(events, &event, &size) != EtlParseOutcome::kEvent || !IsLogHeaderEvent(event)) return false;
  EtlLogHeader64Format header;
  if (!LoadLayout(event.payload, event.pointer32, &header)) return false;
  CopyFacts(header, out);
  out->layout32 = event.pointer32;
  out->thread_id = event.thread_id;
  out->process_id = event.process_id;
  out->origin_stamp = event.stamp;
  ByteCursor names(event.payload.subspan(event.pointer32 ? kEtlLogHeader32Size : sizeof(EtlLogHeader64Format)));
  out->logger_name = ReadName(&names);
  out->log_file_name = ReadName(&names);
  return true;
}

}  // namespace varnel::formats

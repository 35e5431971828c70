#include "formats/etl_writer.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace varnel::formats {
namespace {

constexpr std::size_t kLargestEvent = 0xFFFF;
constexpr std::uint32_t kDefaultBufferSize = 64 * 1024;
constexpr std::uint32_t kDefaultBuild = 19045;
constexpr std::uint32_t kDefaultTimerResolution = 156250;
constexpr std::int64_t kDefaultFrequency = 10'000'000;
constexpr std::uint32_t kDefaultCpuMhz = 2000;
constexpr std::int64_t kDefaultUptime = 60 * kDefaultFrequency;
constexpr std::uint16_t kBufferSizeStep = 1024;
constexpr std::uint16_t kLogHeaderVersion = 2;

void Fill(std::span<std::byte> bytes) noexcept {
  if (!bytes.empty()) std::memset(bytes.data(), kEtlFillerByte, bytes.size());
}

EtlLogHeader64Format FormatOf(const EtlLogHeader& header) noexcept {
  EtlLogHeader64Format out = {};
  out.buffer_size = header.buffer_size;
  out.os_major = header.os_major;
  out.os_minor = header.os_minor;
  out.layout_major = header.layout_major;
  out.layout_minor = header.layout_minor;
  out.provider_version = header.provider_version;
  out.number_of_processors = header.processors;
  out.end_time = header.end_time;
  out.timer_resolution = header.timer_resolution;
  out.maximum_file_size = header.maximum_file_size;
  out.log_file_mode = header.log_file_mode;
  out.buffers_written = header.buffers_written;
  out.start_buffers = header.start_buffers;
  out.pointer_size = header.pointer_size;
  out.events_lost = header.events_lost;
  out.cpu_speed_mhz = header.cpu_speed_mhz;
  std::memcpy(out.time_zone, header.time_zone.data(), kEtlTimeZoneSize);
  out.boot_time = header.boot_time;
  out.perf_freq = header.perf_freq;
  out.start_time = header.start_time;
  out.clock_type = header.clock_type;
  out.buffers_lost = header.buffers_lost;
  return out;
}

void PutBufferHeader(const EtlDataBuffer& data, std::uint16_t type, std::span<std::byte> buffer) noexcept {
  EtlBufferHeaderFormat header = {};
  header.buffer_size = static_cast<std::uint32_t>(buffer.size());
  header.saved_offset = data.end;
  header.current_offset = data.end;
  header.offset = data.end;
  header.time_stamp = data.time_stamp;
  header.sequence_number = data.sequence;
  header.processor = data.processor;
  header.logger_id = data.logger_id;
  header.state = kEtlBufferStateFlushed;
  header.buffer_flag = data.flags | kEtlBufferFlagProcessorIndex;
  header.buffer_type = type;
  std::memcpy(buffer.data(), &header, sizeof(header));
  Fill(buffer.subspan(data.end));
}

std::size_t PutName(std::u16string_view name, std::byte* at) noexcept {
  const std::size_t size = name.size() * sizeof(char16_t);
  std::memcpy(at, name.data(), size);
  std::memset(at + size, 0, sizeof(char16_t));
  return size + sizeof(char16_t);
}

}  // namespace

bool FillEtlHeaderBuffer(const EtlLogHeader& header, std::uint16_t logger_id, std::span<std::byte> buffer) noexcept {
  const std::size_t names = (header.logger_name.size() + header.log_file_name.size() + 2) * sizeof(char16_t);
  const std::size_t size = sizeof(EtlSystemHeaderFormat) + sizeof(EtlLogHeader64Format) + names;
  if (size > kLargestEvent || EtlAlign(static_cast<std::uint32_t>(size)) + kEtlBufferHeaderSize > buffer.size()) {
    return false;
  }
  EtlSystemHeaderFormat event = {};
  event.version = kLogHeaderVersion;
  event.header_type = kEtlSystem64;
  event.marker = kEtlMarkerTrace;
  event.size = static_cast<std::uint16_t>(size);
  event.thread_id = header.thread_id;
  event.process_id = header.process_id;
  event.system_time = header.origin_stamp;
  const EtlLogHeader64Format facts = FormatOf(header);
  std::byte* at = buffer.data() + kEtlBufferHeaderSize;
  std::memcpy(at, &event, sizeof(event));
  at += sizeof(event);
  std::memcpy(at, &facts, sizeof(facts));
  at += sizeof(facts);
  at += PutName(header.logger_name, at);
  at += PutName(header.log_file_name, at);
  const auto unpadded = static_cast<std::size_t>(at - buffer.data());
  EtlDataBuffer data;
  data.logger_id = logger_id;
  data.flags = kEtlBufferFlagFlushMarker;
  data.end = EtlAlign(static_cast<std::uint32_t>(unpadded));
  std::memset(at, 0, data.end - unpadded);
  PutBufferHeader(data, kEtlBufferTypeHeader, buffer);
  return true;
}

void FillEtlDataBuffer(const EtlDataBuffer& data, std::span<std::byte> buffer) noexcept {
  PutBufferHeader(data, kEtlBufferTypeGeneric, buffer);
}

std::size_t EtlEventSpace(std::size_t payload_size) noexcept {
  if (payload_size > kLargestEvent - sizeof(EtlEventHeaderFormat)) return 0;
  return EtlAlign(static_cast<std::uint32_t>(sizeof(EtlEventHeaderFormat) + payload_size));
}

std::size_t PutEtlEvent(const EtlEventFields& fields, std::span<const std::byte> payload,
                        std::span<std::byte> out) noexcept {
  const std::size_t space = EtlEventSpace(payload.size());
  if (space == 0 || space > out.size()) return 0;
  EtlEventHeaderFormat header = {};
  header.size = static_cast<std::uint16_t>(sizeof(header) + payload.size());
  header.header_type = fields.pointer32 ? kEtlEvent32 : kEtlEvent64;
  header.marker = kEtlMarkerTrace;
  header.thread_id = fields.thread_id;
  header.process_id = fields.process_id;
  header.time_stamp = fields.stamp;
  header.provider_id = fields.provider;
  header.id = fields.id;
  header.version = fields.version;
  header.channel = fields.channel;
  header.level = fields.level;
  header.opcode = fields.opcode;
  header.task = fields.task;
  header.keyword = fields.keyword;
  header.activity_id = fields.activity_id;
  std::memcpy(out.data(), &header, sizeof(header));
  if (!payload.empty()) std::memcpy(out.data() + sizeof(header), payload.data(), payload.size());
  std::memset(out.data() + header.size, 0, space - header.size);
  return space;
}

EtlLogHeader EtlFileWriter::DefaultHeader(std::int64_t start_time) {
  EtlLogHeader header;
  header.buffer_size = kDefaultBufferSize;
  header.provider_version = kDefaultBuild;
  header.processors = 1;
  header.timer_resolution = kDefaultTimerResolution;
  header.cpu_speed_mhz = kDefaultCpuMhz;
  header.boot_time = start_time - kDefaultUptime;
  header.perf_freq = kDefaultFrequency;
  header.start_time = start_time;
  header.clock_type = kEtlClockPerformanceCounter;
  header.origin_stamp = kDefaultUptime;
  return header;
}

EtlFileWriter::EtlFileWriter(EtlLogHeader header, EtlSink sink)
    : header_(std::move(header)), sink_(std::move(sink)), header_buffer_(header_.buffer_size) {
  open_.resize(header_.processors);
}

Result<std::unique_ptr<EtlFileWriter>> EtlFileWriter::Create(EtlLogHeader header, EtlSink sink) {
  const std::uint32_t size = header.buffer_size;
  if (size < kEtlSmallestBuffer || size > kEtlLargestBuffer || size % kBufferSizeStep != 0) {
    return Error{"the buffer size must be a multiple of 1024 between 4096 and 1048576"};
  }
  if (header.processors == 0 || header.processors > kEtlProcessorIndexMask) {
    return Error{"the number of processors must be between 1 and 2047"};
  }
  header.end_time = 0;
  header.buffers_written = 1;
  std::unique_ptr<EtlFileWriter> writer(new EtlFileWriter(std::move(header), std::move(sink)));
  if (!FillEtlHeaderBuffer(writer->header_, 0, writer->header_buffer_)) {
    return Error{"the names do not fit into the header buffer"};
  }
  if (!writer->sink_(0, writer->header_buffer_)) return Error{"the header buffer could not be written", 0};
  return writer;
}

bool EtlFileWriter::Flush(std::uint16_t processor, bool last) {
  Open& open = open_[processor];
  EtlDataBuffer data;
  data.processor = processor;
  data.flags = last ? kEtlBufferFlagFlushMarker : std::uint16_t{0};
  data.sequence = buffers_written_;
  data.time_stamp = open.last_stamp;
  data.end = open.end;
  FillEtlDataBuffer(data, open.bytes);
  if (!sink_(std::uint64_t{buffers_written_} * header_.buffer_size, open.bytes)) return false;
  ++buffers_written_;
  open.end = kEtlBufferHeaderSize;
  return true;
}

bool EtlFileWriter::Write(std::uint16_t processor, const EtlEventFields& fields, std::span<const std::byte> payload) {
  const std::size_t space = EtlEventSpace(payload.size());
  if (processor >= open_.size() || space == 0 || space > header_.buffer_size - kEtlBufferHeaderSize) return false;
  Open& open = open_[processor];
  if (open.bytes.empty()) open.bytes.resize(header_.buffer_size);
  if (space > open.bytes.size() - open.end && !Flush(processor, /*last=*/false)) return false;
  const bool first = open.end == kEtlBufferHeaderSize;
  open.end += static_cast<std::uint32_t>(PutEtlEvent(fields, payload, std::span(open.bytes).subspan(open.end)));
  open.last_stamp = first ? fields.stamp : std::max(open.last_stamp, fields.stamp);
  return true;
}

bool EtlFileWriter::Close(std::int64_t end_time, std::uint32_t events_lost, std::uint32_t buffers_lost) {
  std::vector<std::uint16_t> filled;
  for (std::size_t i = 0; i < open_.size(); ++i) {
    if (open_[i].end > kEtlBufferHeaderSize) filled.push_back(static_cast<std::uint16_t>(i));
  }
  for (const std::uint16_t processor : filled) {
    if (!Flush(processor, /*last=*/processor == filled.back())) return false;
  }
  header_.end_time = end_time;
  header_.buffers_written = buffers_written_;
  header_.events_lost = events_lost;
  header_.buffers_lost = buffers_lost;
  return FillEtlHeaderBuffer(header_, 0, header_buffer_) && sink_(0, header_buffer_);
}

std::int64_t EtlFileWriter::StampAt(std::int64_t file_time) const noexcept {
  if (header_.clock_type == kEtlClockSystemTime) return file_time;
  return header_.origin_stamp + (file_time - header_.start_time);
}

}  // namespace varnel::formats

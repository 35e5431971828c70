// Trace files for tests, written byte by byte after the format's own description and not through the structures of the
// reader, so that a wrong structure makes a test fail. All numbers are little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "interfaces/guid.h"

namespace varnel::support {

using Blob = std::vector<std::byte>;

class ByteWriter {
 public:
  ByteWriter& U8(std::uint8_t value);
  ByteWriter& U16(std::uint16_t value);
  ByteWriter& U32(std::uint32_t value);
  ByteWriter& U64(std::uint64_t value);
  ByteWriter& I64(std::int64_t value) { return U64(static_cast<std::uint64_t>(value)); }
  ByteWriter& Guid(const GUID& guid);
  ByteWriter& Bytes(std::span<const std::byte> bytes);
  ByteWriter& Utf16z(std::u16string_view text);  // with its NUL
  ByteWriter& Text(std::string_view text);       // without one
  ByteWriter& Fill(std::size_t count, std::uint8_t value);
  ByteWriter& PadTo(std::size_t size, std::uint8_t value);
  ByteWriter& Align8(std::uint8_t value = 0);
  /// Puts the number of bytes so far at a place, as 16 bits.
  ByteWriter& SizeAt(std::size_t place);

  std::size_t size() const { return bytes_.size(); }
  Blob Take() { return std::move(bytes_); }

 private:
  Blob bytes_;
};

/// Writes a number over bytes that are there.
void Patch16(Blob* bytes, std::size_t place, std::uint16_t value);
void Patch32(Blob* bytes, std::size_t place, std::uint32_t value);
void Patch64(Blob* bytes, std::size_t place, std::uint64_t value);
void Append(Blob* bytes, const Blob& more);

struct LogHeaderSpec {
  bool layout32 = false;
  std::uint32_t buffer_size = 4096;
  std::uint32_t processors = 2;
  std::int64_t end_time = 132'500'000'100'000'000;
  std::uint32_t mode = 0;
  std::uint32_t buffers_written = 1;
  std::uint32_t pointer_size = 8;
  std::uint32_t events_lost = 0;
  std::uint32_t cpu_mhz = 2000;
  std::int32_t bias_minutes = -60;
  std::int64_t boot_time = 132'499'999'000'000'000;
  std::int64_t perf_freq = 10'000'000;
  std::int64_t start_time = 132'500'000'000'000'000;
  std::uint32_t clock_type = 1;
  std::uint32_t buffers_lost = 0;
  std::int64_t origin_stamp = 1'000'000;
  std::u16string logger_name = u"TestSession";
  std::u16string file_name = u"C:\\test.etl";
};
/// The log file header's event.
Blob LogHeaderEvent(const LogHeaderSpec& spec);

struct BufferSpec {
  std::uint32_t size = 4096;
  std::uint16_t processor = 0;
  std::int64_t sequence = 1;
  std::uint16_t flags = 0x20;
  std::uint16_t type = 0;
  std::uint16_t logger_id = 3;
  std::uint32_t state = 3;
  std::int64_t time_stamp = 0;
  std::uint8_t filler = 0xFF;
};
/// A buffer of events, each of which is padded to eight bytes. With flag 0x20 clear the processor is written as a byte
/// with the alignment 8 behind it.
Blob Buffer(const BufferSpec& spec, const std::vector<Blob>& events);
/// The header buffer: flags 0x21, type 4, number 0.
Blob HeaderBuffer(const LogHeaderSpec& spec, const std::vector<Blob>& more_events = {});
/// A packed buffer: the header of `plain` with the packed flag, and a body as given.
Blob PackedBuffer(const Blob& plain, const Blob& packed_body);

struct ItemSpec {
  std::uint16_t type;
  Blob data;
};
struct EventSpec {
  std::int64_t stamp = 0;
  GUID provider = {0x11223344, 0x5566, 0x7788, {1, 2, 3, 4, 5, 6, 7, 8}};
  std::uint16_t id = 1;
  std::uint8_t version = 0;
  std::uint8_t channel = 0;
  std::uint8_t level = 4;
  std::uint8_t opcode = 0;
  std::uint16_t task = 0;
  std::uint64_t keyword = 0;
  std::uint32_t thread_id = 44;
  std::uint32_t process_id = 33;
  std::uint8_t header_type = 0x13;
  std::vector<ItemSpec> items;
  Blob payload;
};
Blob Event(const EventSpec& spec);

/// SYSTEM (types 1, 2) and COMPACT (3, 4).
Blob SystemEvent(std::uint8_t header_type, std::uint8_t group, std::uint8_t type, std::int64_t stamp, const Blob& rest,
                 std::uint16_t version = 2);
/// PERFINFO (0x10, 0x11).
Blob PerfInfoEvent(std::uint8_t header_type, std::uint8_t group, std::uint8_t type, std::int64_t stamp,
                   const Blob& rest, std::uint16_t version = 2);
/// FULL_HEADER (0x0A, 0x14) and, with the parent, INSTANCE (0x0B, 0x15).
Blob ClassicEvent(std::uint8_t header_type, const GUID& guid, std::uint8_t type, std::int64_t stamp,
                  const Blob& payload);
Blob InstanceEvent(std::uint8_t header_type, const GUID& guid, std::int64_t stamp, std::uint32_t instance,
                   std::uint32_t parent, const GUID& parent_guid, const Blob& payload);
/// A message; `parts` stand in the order of the format behind the header.
Blob MessageEvent(std::uint16_t number, std::uint16_t options, const Blob& parts);

/// The payload "Counter", "Flags", "Function", "CodeLine", "status", text, as our own providers write it.
Blob CounterPayload(std::uint32_t counter, std::string_view text = "x");

/// A packing of nothing but literals, as XPRESS stores bytes that don't repeat.
Blob XpressLiterals(std::span<const std::byte> bytes);

}  // namespace varnel::support

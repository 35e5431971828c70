// The layout of trace files (.etl) on disk: structures, offsets and constants, all little-endian. The structures are
// only ever the source or the target of a memcpy; nothing points into foreign bytes through them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "interfaces/guid.h"

namespace varnel::formats {

/// Every buffer of a file begins with this. What stands in `reference_count`, `clock` and `reference_time` on disk is
/// what the writer's memory held; it means nothing to a reader.
struct EtlBufferHeaderFormat {
  std::uint32_t buffer_size;     // bytes in the file, this header included; packed size for a packed buffer
  std::uint32_t saved_offset;    // end of the last event, unpacked; not kept up in some header buffers
  std::uint32_t current_offset;  // where the next reservation would have begun; never an end of data
  std::int32_t reference_count;
  std::int64_t time_stamp;       // when the buffer was flushed, in the session's clock (relogged files: FILETIME)
  std::int64_t sequence_number;  // 0 for the header buffer, then shared by all processors
  std::uint64_t clock;
  std::uint16_t processor;  // see kEtlBufferFlagProcessorIndex
  std::uint16_t logger_id;
  std::uint32_t state;   // header buffer of a packed file: low 16 bits are the packing format
  std::uint32_t offset;  // end of valid data, from the start of the buffer
  std::uint16_t buffer_flag;
  std::uint16_t buffer_type;
  std::uint64_t reference_time[2];
};
static_assert(sizeof(EtlBufferHeaderFormat) == 0x48);
static_assert(offsetof(EtlBufferHeaderFormat, time_stamp) == 0x10);
static_assert(offsetof(EtlBufferHeaderFormat, sequence_number) == 0x18);
static_assert(offsetof(EtlBufferHeaderFormat, processor) == 0x28);
static_assert(offsetof(EtlBufferHeaderFormat, logger_id) == 0x2A);
static_assert(offsetof(EtlBufferHeaderFormat, state) == 0x2C);
static_assert(offsetof(EtlBufferHeaderFormat, offset) == 0x30);
static_assert(offsetof(EtlBufferHeaderFormat, buffer_flag) == 0x34);
static_assert(offsetof(EtlBufferHeaderFormat, buffer_type) == 0x36);

inline constexpr std::uint32_t kEtlBufferHeaderSize = sizeof(EtlBufferHeaderFormat);

inline constexpr std::uint16_t kEtlBufferFlagFlushMarker = 0x01;
inline constexpr std::uint16_t kEtlBufferFlagEventsLost = 0x02;
inline constexpr std::uint16_t kEtlBufferFlagBufferLost = 0x04;
inline constexpr std::uint16_t kEtlBufferFlagProcessorIndex = 0x20;  // the 16-bit form of the processor number
inline constexpr std::uint16_t kEtlBufferFlagPacked = 0x40;
inline constexpr std::uint16_t kEtlBufferFlagsKnown = 0x7F;

inline constexpr std::uint16_t kEtlBufferTypeGeneric = 0;
inline constexpr std::uint16_t kEtlBufferTypeHeader = 4;
inline constexpr std::uint16_t kEtlBufferTypeLast = 7;

inline constexpr std::uint32_t kEtlBufferStateFlushed = 3;
inline constexpr std::uint16_t kEtlProcessorIndexMask = 0x07FF;
inline constexpr std::uint8_t kEtlFillerByte = 0xFF;
inline constexpr std::uint32_t kEtlFillerDword = 0xFFFFFFFF;
inline constexpr std::uint32_t kEtlEventAlignment = 8;

/// Packing formats, as the platform's own unpacking function counts them.
inline constexpr std::uint16_t kEtlPackingLznt1 = 2;
inline constexpr std::uint16_t kEtlPackingXpress = 3;
inline constexpr std::uint16_t kEtlPackingXpressHuffman = 4;

/// Header types: the third byte of an event when the fourth is 0xC0.
enum EtlHeaderType : std::uint8_t {
  kEtlSystem32 = 0x01,
  kEtlSystem64 = 0x02,
  kEtlCompact32 = 0x03,
  kEtlCompact64 = 0x04,
  kEtlFull32 = 0x0A,
  kEtlInstance32 = 0x0B,
  kEtlTimed = 0x0C,
  kEtlError = 0x0D,
  kEtlWnode = 0x0E,
  kEtlMessage = 0x0F,
  kEtlPerfInfo32 = 0x10,
  kEtlPerfInfo64 = 0x11,
  kEtlEvent32 = 0x12,
  kEtlEvent64 = 0x13,
  kEtlFull64 = 0x14,
  kEtlInstance64 = 0x15,
};
inline constexpr std::uint8_t kEtlMarkerTrace = 0xC0;    // the fourth byte of all events but messages
inline constexpr std::uint8_t kEtlMarkerMessage = 0x90;  // the fourth byte of message events

/// SYSTEM and, without its last two fields, COMPACT.
struct EtlSystemHeaderFormat {
  std::uint16_t version;
  std::uint8_t header_type;
  std::uint8_t marker;
  std::uint16_t size;
  std::uint8_t type;
  std::uint8_t group;
  std::uint32_t thread_id;
  std::uint32_t process_id;
  std::int64_t system_time;
  std::uint32_t kernel_time;
  std::uint32_t user_time;
};
static_assert(sizeof(EtlSystemHeaderFormat) == 32 && offsetof(EtlSystemHeaderFormat, system_time) == 16);
inline constexpr std::size_t kEtlCompactHeaderSize = 24;

struct EtlPerfInfoHeaderFormat {
  std::uint16_t version;
  std::uint8_t header_type;
  std::uint8_t marker;
  std::uint16_t size;
  std::uint8_t type;
  std::uint8_t group;
  std::int64_t system_time;
};
static_assert(sizeof(EtlPerfInfoHeaderFormat) == 16 && offsetof(EtlPerfInfoHeaderFormat, system_time) == 8);

/// In the version of kernel headers: the low byte counts versions, the rest tells what follows the header.
inline constexpr std::uint16_t kEtlVersionPebsIndex = 0x8000;
inline constexpr unsigned kEtlVersionCounterShift = 8;
inline constexpr std::uint16_t kEtlVersionCounterMask = 0x7;

/// The first 48 bytes of INSTANCE are laid out alike but for the time fields; see EtlInstanceHeaderFormat.
struct EtlFullHeaderFormat {
  std::uint16_t size;
  std::uint8_t header_type;
  std::uint8_t marker;
  std::uint8_t type;
  std::uint8_t level;
  std::uint16_t version;
  std::uint32_t thread_id;
  std::uint32_t process_id;
  std::int64_t time_stamp;
  GUID guid;
  std::uint32_t kernel_time;
  std::uint32_t user_time;
};
static_assert(sizeof(EtlFullHeaderFormat) == 48 && offsetof(EtlFullHeaderFormat, guid) == 24);

struct EtlInstanceHeaderFormat {
  EtlFullHeaderFormat full;
  std::uint32_t instance_id;
  std::uint32_t parent_instance_id;
  GUID parent_guid;
};
static_assert(sizeof(EtlInstanceHeaderFormat) == 72 && offsetof(EtlInstanceHeaderFormat, parent_guid) == 56);

struct EtlEventHeaderFormat {
  std::uint16_t size;
  std::uint8_t header_type;
  std::uint8_t marker;
  std::uint16_t flags;
  std::uint16_t event_property;
  std::uint32_t thread_id;
  std::uint32_t process_id;
  std::int64_t time_stamp;
  GUID provider_id;
  std::uint16_t id;
  std::uint8_t version;
  std::uint8_t channel;
  std::uint8_t level;
  std::uint8_t opcode;
  std::uint16_t task;
  std::uint64_t keyword;
  std::uint32_t kernel_time;
  std::uint32_t user_time;
  GUID activity_id;
};
static_assert(sizeof(EtlEventHeaderFormat) == 80);
static_assert(offsetof(EtlEventHeaderFormat, provider_id) == 24 && offsetof(EtlEventHeaderFormat, id) == 40);
static_assert(offsetof(EtlEventHeaderFormat, keyword) == 48 && offsetof(EtlEventHeaderFormat, activity_id) == 64);
inline constexpr std::uint16_t kEtlEventFlagExtendedInfo = 0x0001;

struct EtlMessageHeaderFormat {
  std::uint16_t size;
  std::uint8_t reserved;
  std::uint8_t marker;
  std::uint16_t message_number;
  std::uint16_t options;
};
static_assert(sizeof(EtlMessageHeaderFormat) == 8);
inline constexpr std::uint16_t kEtlMessageSequence = 0x01;
inline constexpr std::uint16_t kEtlMessageGuid = 0x02;
inline constexpr std::uint16_t kEtlMessageComponentId = 0x04;
inline constexpr std::uint16_t kEtlMessageTimeStamp = 0x08;
inline constexpr std::uint16_t kEtlMessagePerformanceTimeStamp = 0x10;
inline constexpr std::uint16_t kEtlMessageSystemInfo = 0x20;
inline constexpr std::uint16_t kEtlMessagePointer32 = 0x40;

/// An extended data item as it stands behind an event header; `total_size` counts header, data and zeros behind it.
struct EtlExtendedItemFormat {
  std::uint16_t total_size;
  std::uint16_t ext_type;
  std::uint16_t linkage;  // bit 0: another item follows
  std::uint16_t data_size;
};
static_assert(sizeof(EtlExtendedItemFormat) == 8);
inline constexpr std::uint16_t kEtlItemRelatedActivity = 1;
inline constexpr std::uint16_t kEtlItemEventSchemaTl = 11;
inline constexpr std::uint16_t kEtlItemProviderTraits = 12;

/// TIME_ZONE_INFORMATION; kept as bytes but for the bias, since nobody but a caller's record wants more.
inline constexpr std::size_t kEtlTimeZoneSize = 172;

/// The log file header, the payload of a file's first event, as 64-bit systems lay it out.
struct EtlLogHeader64Format {
  std::uint32_t buffer_size;
  std::uint8_t os_major;
  std::uint8_t os_minor;
  std::uint8_t layout_major;
  std::uint8_t layout_minor;
  std::uint32_t provider_version;
  std::uint32_t number_of_processors;
  std::int64_t end_time;
  std::uint32_t timer_resolution;
  std::uint32_t maximum_file_size;
  std::uint32_t log_file_mode;
  std::uint32_t buffers_written;
  std::uint32_t start_buffers;
  std::uint32_t pointer_size;
  std::uint32_t events_lost;
  std::uint32_t cpu_speed_mhz;
  std::uint64_t logger_name;
  std::uint64_t log_file_name;
  std::uint8_t time_zone[kEtlTimeZoneSize];
  std::uint32_t padding;
  std::int64_t boot_time;
  std::int64_t perf_freq;
  std::int64_t start_time;
  std::uint32_t clock_type;
  std::uint32_t buffers_lost;
};
static_assert(sizeof(EtlLogHeader64Format) == 280);
static_assert(offsetof(EtlLogHeader64Format, end_time) == 16 && offsetof(EtlLogHeader64Format, log_file_mode) == 32);
static_assert(offsetof(EtlLogHeader64Format, events_lost) == 48 && offsetof(EtlLogHeader64Format, time_zone) == 72);
static_assert(offsetof(EtlLogHeader64Format, boot_time) == 248 && offsetof(EtlLogHeader64Format, clock_type) == 272);

/// Where the 32-bit layout (two pointers of 4 bytes) has what follows the pointers.
inline constexpr std::size_t kEtlLogHeader32Size = 272;
inline constexpr std::size_t kEtlLogHeader32TimeZone = 64;
inline constexpr std::size_t kEtlLogHeader32BootTime = 240;

inline constexpr std::uint32_t kEtlModeCircular = 0x00000002;
inline constexpr std::uint32_t kEtlModeAppend = 0x00000004;
inline constexpr std::uint32_t kEtlModePacked = 0x04000000;

inline constexpr std::uint32_t kEtlClockRaw = 0;
inline constexpr std::uint32_t kEtlClockPerformanceCounter = 1;
inline constexpr std::uint32_t kEtlClockSystemTime = 2;
inline constexpr std::uint32_t kEtlClockCpuCycles = 3;

inline constexpr std::uint32_t EtlAlign(std::uint32_t size) noexcept {
  return (size + kEtlEventAlignment - 1) & ~(kEtlEventAlignment - 1);
}

}  // namespace varnel::formats

#include "formats/etl_event.h"

#include <array>
#include <cstring>

namespace varnel::formats {
namespace {

constexpr std::uint32_t kNotRecorded = 0xFFFFFFFF;
constexpr std::uint32_t kBit28 = 0x10000000;
constexpr std::uint32_t kBit30 = 0x40000000;
constexpr std::uint32_t kBit31 = 0x80000000;

// Flags of the platform's event records.
constexpr std::uint16_t kRecordTraceMessage = 0x0008;
constexpr std::uint16_t kRecordPointer32 = 0x0020;
constexpr std::uint16_t kRecordPointer64 = 0x0040;
constexpr std::uint16_t kRecordClassicHeader = 0x0100;
constexpr std::uint16_t kRecordProcessorIndex = 0x0200;

using Bytes = std::span<const std::byte>;

/// Copies a header out when the event's own size and the bytes at hand both have room for it.
template <typename T>
bool CopyHeader(Bytes event, T* out) noexcept {
  if (event.size() < sizeof(T)) return false;
  std::memcpy(out, event.data(), sizeof(T));
  return true;
}

template <typename T>
T LoadAt(Bytes bytes, std::size_t offset) noexcept {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof(T));
  return value;
}

/// Loads a field straight from the event into a field of the view of the same width. Headers are not copied out whole
/// first: what was just stored in one piece is slow to load again in others, and this is where all events pass.
template <typename T>
void Load(Bytes event, std::size_t offset, T* out) noexcept {
  std::memcpy(out, event.data() + offset, sizeof(T));
}

/// The sampling index and the performance counters, which a kernel header's version announces.
std::size_t CounterBytes(std::uint16_t version) noexcept {
  const std::size_t counters = (version >> kEtlVersionCounterShift) & kEtlVersionCounterMask;
  return (counters + ((version & kEtlVersionPebsIndex) != 0 ? 1 : 0)) * sizeof(std::uint64_t);
}

bool FinishKernel(Bytes event, std::size_t header_size, std::uint16_t version, EtlEventView* out) noexcept {
  const std::size_t counters = CounterBytes(version);
  if (event.size() - header_size < counters) return false;
  out->version = static_cast<std::uint8_t>(version);
  out->provider = EtlGroupProvider(out->group, out->opcode);
  out->counters = event.subspan(header_size, counters);
  out->payload = event.subspan(header_size + counters);
  return true;
}

bool ParseSystem(Bytes event, bool compact, EtlEventView* out) noexcept {
  const std::size_t header_size = compact ? kEtlCompactHeaderSize : sizeof(EtlSystemHeaderFormat);
  if (event.size() < header_size) return false;
  EtlSystemHeaderFormat header = {};
  std::memcpy(&header, event.data(), header_size);
  out->kind = compact ? EtlEventKind::kCompact : EtlEventKind::kSystem;
  out->opcode = header.type;
  out->group = header.group;
  out->thread_id = header.thread_id;
  out->process_id = header.process_id;
  out->kernel_time = header.kernel_time;
  out->user_time = header.user_time;
  out->stamp = header.system_time;
  return FinishKernel(event, header_size, header.version, out);
}

bool ParsePerfInfo(Bytes event, EtlEventView* out) noexcept {
  EtlPerfInfoHeaderFormat header;
  if (!CopyHeader(event, &header)) return false;
  out->kind = EtlEventKind::kPerfInfo;
  out->opcode = header.type;
  out->group = header.group;
  out->has_thread = false;
  out->thread_id = kNotRecorded;
  out->process_id = kNotRecorded;
  out->stamp = header.system_time;
  return FinishKernel(event, sizeof(header), header.version, out);
}

void FillFull(const EtlFullHeaderFormat& header, EtlEventView* out) noexcept {
  out->opcode = header.type;
  out->level = header.level;
  out->version = static_cast<std::uint8_t>(header.version);
  out->thread_id = header.thread_id;
  out->process_id = header.process_id;
  out->stamp = header.time_stamp;
  out->provider = header.guid;
  out->kernel_time = header.kernel_time;
  out->user_time = header.user_time;
}

bool ParseFull(Bytes event, EtlEventView* out) noexcept {
  EtlFullHeaderFormat header;
  if (!CopyHeader(event, &header)) return false;
  out->kind = EtlEventKind::kFull;
  FillFull(header, out);
  out->payload = event.subspan(sizeof(header));
  return true;
}

bool ParseInstance(Bytes event, EtlEventView* out) noexcept {
  EtlInstanceHeaderFormat header;
  if (!CopyHeader(event, &header)) return false;
  out->kind = EtlEventKind::kInstance;
  FillFull(header.full, out);
  out->instance_id = header.instance_id;
  out->parent_instance_id = header.parent_instance_id;
  out->parent_guid = header.parent_guid;
  out->payload = event.subspan(sizeof(header));
  return true;
}

bool ParseEvent(Bytes event, EtlEventView* out) noexcept {
  using Format = EtlEventHeaderFormat;
  if (event.size() < sizeof(Format)) return false;
  out->kind = EtlEventKind::kEvent;
  Load(event, offsetof(Format, flags), &out->flags);
  Load(event, offsetof(Format, event_property), &out->event_property);
  Load(event, offsetof(Format, thread_id), &out->thread_id);
  Load(event, offsetof(Format, process_id), &out->process_id);
  Load(event, offsetof(Format, time_stamp), &out->stamp);
  Load(event, offsetof(Format, provider_id), &out->provider);
  Load(event, offsetof(Format, id), &out->id);
  Load(event, offsetof(Format, version), &out->version);
  Load(event, offsetof(Format, channel), &out->channel);
  Load(event, offsetof(Format, level), &out->level);
  Load(event, offsetof(Format, opcode), &out->opcode);
  Load(event, offsetof(Format, task), &out->task);
  Load(event, offsetof(Format, keyword), &out->keyword);
  Load(event, offsetof(Format, kernel_time), &out->kernel_time);
  Load(event, offsetof(Format, user_time), &out->user_time);
  Load(event, offsetof(Format, activity_id), &out->activity_id);
  out->payload = event.subspan(sizeof(Format));
  out->extended = {};
  if ((out->flags & kEtlEventFlagExtendedInfo) == 0) return true;
  EtlItemWalk walk(out->payload);
  EtlItemView item;
  while (walk.Next(&item)) {
  }
  out->extended = out->payload.first(out->payload.size() - walk.rest().size());
  out->payload = walk.rest();
  return true;
}

/// Takes the parts of a message that its options announce, one behind the other.
class MessageParts {
 public:
  explicit MessageParts(Bytes event) noexcept : event_(event), offset_(sizeof(EtlMessageHeaderFormat)) {}

  template <typename T>
  bool Take(T* out) noexcept {
    if (event_.size() - offset_ < sizeof(T)) return false;
    *out = LoadAt<T>(event_, offset_);
    offset_ += sizeof(T);
    return true;
  }
  Bytes rest() const noexcept { return event_.subspan(offset_); }

 private:
  Bytes event_;
  std::size_t offset_;
};

bool TakeMessageIdentity(std::uint16_t options, MessageParts* parts, EtlEventView* out) noexcept {
  if ((options & kEtlMessageSequence) != 0 && !parts->Take(&out->message_sequence)) return false;
  if ((options & kEtlMessageGuid) != 0) return parts->Take(&out->provider);
  if ((options & kEtlMessageComponentId) == 0) return true;
  // A component has a number in place of a GUID; it takes the place of the GUID's first field.
  return parts->Take(&out->provider.Data1);
}

bool ParseMessage(Bytes event, EtlEventView* out) noexcept {
  EtlMessageHeaderFormat header;
  if (!CopyHeader(event, &header)) return false;
  out->kind = EtlEventKind::kMessage;
  out->header_type = kEtlMessage;
  out->id = header.message_number;
  out->message_options = header.options;
  out->pointer32 = (header.options & kEtlMessagePointer32) != 0;
  MessageParts parts(event);
  if (!TakeMessageIdentity(header.options, &parts, out)) return false;
  out->has_own_stamp = (header.options & (kEtlMessageTimeStamp | kEtlMessagePerformanceTimeStamp)) != 0;
  if (out->has_own_stamp && !parts.Take(&out->stamp)) return false;
  out->has_thread = (header.options & kEtlMessageSystemInfo) != 0;
  out->thread_id = out->process_id = kNotRecorded;
  if (out->has_thread && !(parts.Take(&out->thread_id) && parts.Take(&out->process_id))) return false;
  out->payload = parts.rest();
  return true;
}

/// Where a kind of header keeps the event's size.
constexpr std::uint8_t kSizeFirst = 0;
constexpr std::uint8_t kSizeThird = 4;

struct HeaderShape {
  bool known = false;
  bool step_over = false;  // not used in files
  bool pointer32 = false;
  std::uint8_t size_at = kSizeFirst;
  EtlEventKind kind = EtlEventKind::kEvent;
};

constexpr std::size_t kHeaderTypes = 0x16;
using ShapeTable = std::array<HeaderShape, kHeaderTypes>;

constexpr ShapeTable MakeShapes() noexcept {
  ShapeTable shapes = {};
  shapes[kEtlSystem32] = {true, false, true, kSizeThird, EtlEventKind::kSystem};
  shapes[kEtlSystem64] = {true, false, false, kSizeThird, EtlEventKind::kSystem};
  shapes[kEtlCompact32] = {true, false, true, kSizeThird, EtlEventKind::kCompact};
  shapes[kEtlCompact64] = {true, false, false, kSizeThird, EtlEventKind::kCompact};
  shapes[kEtlPerfInfo32] = {true, false, true, kSizeThird, EtlEventKind::kPerfInfo};
  shapes[kEtlPerfInfo64] = {true, false, false, kSizeThird, EtlEventKind::kPerfInfo};
  shapes[kEtlFull32] = {true, false, true, kSizeFirst, EtlEventKind::kFull};
  shapes[kEtlFull64] = {true, false, false, kSizeFirst, EtlEventKind::kFull};
  shapes[kEtlInstance32] = {true, false, true, kSizeFirst, EtlEventKind::kInstance};
  shapes[kEtlInstance64] = {true, false, false, kSizeFirst, EtlEventKind::kInstance};
  shapes[kEtlEvent32] = {true, false, true, kSizeFirst, EtlEventKind::kEvent};
  shapes[kEtlEvent64] = {true, false, false, kSizeFirst, EtlEventKind::kEvent};
  shapes[kEtlTimed] = shapes[kEtlError] = shapes[kEtlWnode] = {true, true, false, kSizeFirst, EtlEventKind::kEvent};
  return shapes;
}
constexpr ShapeTable kShapes = MakeShapes();
constexpr HeaderShape kMessageShape = {true, false, false, kSizeFirst, EtlEventKind::kMessage};

HeaderShape ShapeOf(bool message, std::uint8_t type) noexcept {
  if (message) return kMessageShape;
  return type < kShapes.size() ? kShapes[type] : HeaderShape{};
}

bool ParseByKind(Bytes event, EtlEventKind kind, EtlEventView* out) noexcept {
  switch (kind) {
    case EtlEventKind::kSystem:
      return ParseSystem(event, /*compact=*/false, out);
    case EtlEventKind::kCompact:
      return ParseSystem(event, /*compact=*/true, out);
    case EtlEventKind::kPerfInfo:
      return ParsePerfInfo(event, out);
    case EtlEventKind::kFull:
      return ParseFull(event, out);
    case EtlEventKind::kInstance:
      return ParseInstance(event, out);
    case EtlEventKind::kMessage:
      return ParseMessage(event, out);
    case EtlEventKind::kEvent:
      break;
  }
  return ParseEvent(event, out);
}

/// Everything but what the caller keeps over events and fills itself. Mostly this is not called: an event that follows
/// one of its own kind finds the fields of other kinds clear and writes over all of its own.
void ClearEvent(EtlEventView* out) noexcept {
  const std::int64_t stamp = out->stamp;
  const std::uint16_t processor = out->processor;
  const std::uint16_t logger_id = out->logger_id;
  *out = EtlEventView{};
  out->stamp = stamp;
  out->processor = processor;
  out->logger_id = logger_id;
}

}  // namespace

EtlParseOutcome ParseEtlEvent(std::span<const std::byte> bytes, EtlEventView* out, std::uint32_t* size) noexcept {
  if (bytes.size() < sizeof(std::uint64_t)) return EtlParseOutcome::kDamaged;
  const auto marker = LoadAt<std::uint32_t>(bytes, 0);
  if (marker == kEtlFillerDword) return EtlParseOutcome::kFiller;
  if ((marker & kBit31) == 0) return EtlParseOutcome::kDamaged;
  const bool message = (marker & kBit30) == 0;
  if (message && (marker & kBit28) == 0) return EtlParseOutcome::kDamaged;
  const auto type = static_cast<std::uint8_t>(marker >> 16);
  const HeaderShape shape = ShapeOf(message, type);
  if (!shape.known) return EtlParseOutcome::kDamaged;
  const std::uint32_t event_size = LoadAt<std::uint16_t>(bytes, shape.size_at);
  if (event_size < sizeof(EtlMessageHeaderFormat) || event_size > bytes.size()) return EtlParseOutcome::kDamaged;
  *size = event_size;
  if (shape.step_over) return EtlParseOutcome::kStepOver;
  if (message || out->kind != shape.kind) ClearEvent(out);
  out->header_type = type;
  out->pointer32 = shape.pointer32;
  return ParseByKind(bytes.first(event_size), shape.kind, out) ? EtlParseOutcome::kEvent : EtlParseOutcome::kDamaged;
}

std::uint16_t EtlRecordFlags(const EtlEventView& event) noexcept {
  auto flags = static_cast<std::uint16_t>(event.flags | kRecordProcessorIndex |
                                          (event.pointer32 ? kRecordPointer32 : kRecordPointer64));
  if (event.kind == EtlEventKind::kMessage) flags |= kRecordTraceMessage;
  if (event.kind != EtlEventKind::kEvent && event.kind != EtlEventKind::kMessage) flags |= kRecordClassicHeader;
  return flags;
}

bool EtlItemWalk::Next(EtlItemView* out) noexcept {
  if (done_ || rest_.size() < sizeof(EtlExtendedItemFormat)) return false;
  const auto header = LoadAt<EtlExtendedItemFormat>(rest_, 0);
  const bool whole = header.total_size >= sizeof(header) && header.total_size <= rest_.size() &&
                     header.data_size <= header.total_size - sizeof(header);
  if (!whole) {
    done_ = true;
    return false;
  }
  out->type = header.ext_type;
  out->linked = (header.linkage & 1) != 0;
  out->data = rest_.subspan(sizeof(header), header.data_size);
  rest_ = rest_.subspan(header.total_size);
  done_ = !out->linked;
  return true;
}

std::span<const std::byte> EtlFindItem(const EtlEventView& event, std::uint16_t type) noexcept {
  EtlItemWalk walk(event.extended);
  EtlItemView item;
  while (walk.Next(&item)) {
    if (item.type == type) return item.data;
  }
  return {};
}

}  // namespace varnel::formats

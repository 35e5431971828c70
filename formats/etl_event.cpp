#include "formats/etl_event.h"

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
  EtlEventHeaderFormat header;
  if (!CopyHeader(event, &header)) return false;
  out->kind = EtlEventKind::kEvent;
  out->flags = header.flags;
  out->event_property = header.event_property;
  out->thread_id = header.thread_id;
  out->process_id = header.process_id;
  out->stamp = header.time_stamp;
  out->provider = header.provider_id;
  out->id = header.id;
  out->version = header.version;
  out->channel = header.channel;
  out->level = header.level;
  out->opcode = header.opcode;
  out->task = header.task;
  out->keyword = header.keyword;
  out->kernel_time = header.kernel_time;
  out->user_time = header.user_time;
  out->activity_id = header.activity_id;
  out->payload = event.subspan(sizeof(header));
  if ((header.flags & kEtlEventFlagExtendedInfo) == 0) return true;
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
constexpr std::size_t kSizeFirst = 0;
constexpr std::size_t kSizeThird = 4;

struct HeaderShape {
  bool known = false;
  bool pointer32 = false;
  std::uint8_t size_at = kSizeFirst;
};

constexpr HeaderShape ShapeOf(std::uint8_t type) noexcept {
  switch (type) {
    case kEtlSystem32:
    case kEtlCompact32:
    case kEtlPerfInfo32:
      return {true, true, kSizeThird};
    case kEtlSystem64:
    case kEtlCompact64:
    case kEtlPerfInfo64:
      return {true, false, kSizeThird};
    case kEtlFull32:
    case kEtlInstance32:
    case kEtlEvent32:
      return {true, true, kSizeFirst};
    case kEtlFull64:
    case kEtlInstance64:
    case kEtlEvent64:
      return {true, false, kSizeFirst};
    case kEtlTimed:
    case kEtlError:
    case kEtlWnode:
      return {true, false, kSizeFirst};
    default:
      return {};
  }
}

bool ParseByType(Bytes event, std::uint8_t type, EtlEventView* out) noexcept {
  switch (type) {
    case kEtlSystem32:
    case kEtlSystem64:
      return ParseSystem(event, /*compact=*/false, out);
    case kEtlCompact32:
    case kEtlCompact64:
      return ParseSystem(event, /*compact=*/true, out);
    case kEtlPerfInfo32:
    case kEtlPerfInfo64:
      return ParsePerfInfo(event, out);
    case kEtlFull32:
    case kEtlFull64:
      return ParseFull(event, out);
    case kEtlInstance32:
    case kEtlInstance64:
      return ParseInstance(event, out);
    default:
      return ParseEvent(event, out);
  }
}

constexpr bool IsStepOver(std::uint8_t type) noexcept {
  return type == kEtlTimed || type == kEtlError || type == kEtlWnode;
}

/// Everything but what the caller keeps over events and fills itself.
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
  const HeaderShape shape = message ? HeaderShape{true, false, kSizeFirst} : ShapeOf(type);
  if (!shape.known) return EtlParseOutcome::kDamaged;
  const std::uint32_t event_size = LoadAt<std::uint16_t>(bytes, shape.size_at);
  if (event_size < sizeof(EtlMessageHeaderFormat) || event_size > bytes.size()) return EtlParseOutcome::kDamaged;
  *size = event_size;
  if (!message && IsStepOver(type)) return EtlParseOutcome::kStepOver;
  ClearEvent(out);
  out->header_type = type;
  out->pointer32 = shape.pointer32;
  const Bytes event = bytes.first(event_size);
  const bool good = message ? ParseMessage(event, out) : ParseByType(event, type, out);
  return good ? EtlParseOutcome::kEvent : EtlParseOutcome::kDamaged;
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

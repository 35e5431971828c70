// EtlEventView: one event of a trace file or of a live buffer, whatever kind of header it has on disk, and the parser
// that makes it out of bytes. Views borrow the bytes that they were made from. Nothing here allocates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "formats/etl_format.h"
#include "interfaces/guid.h"

namespace varnel::formats {

enum class EtlEventKind : std::uint8_t { kSystem, kCompact, kPerfInfo, kFull, kInstance, kEvent, kMessage };

/// A view that is parsed into again must be left as the parser filled it, but for `stamp`, `file_time`, `processor` and
/// `logger_id`.
struct EtlEventView {
  EtlEventKind kind = EtlEventKind::kEvent;
  std::uint8_t header_type = 0;  // EtlHeaderType; kEtlMessage for messages
  bool pointer32 = false;        // the logging process had 4-byte pointers
  bool has_own_stamp = true;     // false: a message without a time; it bears the stamp of the event before it
  bool has_thread = true;        // false: the header names no thread and process; both ids are then all ones
  std::uint8_t group = 0;        // kernel kinds: the group that stands for the provider
  std::uint16_t flags = 0;       // as stored; only kEvent stores any
  std::uint16_t event_property = 0;
  std::uint16_t processor = 0;  // the number of the buffer's processor
  std::uint16_t logger_id = 0;
  std::uint16_t id = 0;  // message number for kMessage
  std::uint8_t version = 0;
  std::uint8_t channel = 0;
  std::uint8_t level = 0;
  std::uint8_t opcode = 0;
  std::uint16_t task = 0;
  std::uint16_t message_options = 0;
  std::uint64_t keyword = 0;
  std::uint32_t thread_id = 0;
  std::uint32_t process_id = 0;
  std::uint32_t kernel_time = 0;  // ticks of the file's timer resolution
  std::uint32_t user_time = 0;
  std::int64_t stamp = 0;      // raw, in the session's clock
  std::int64_t file_time = 0;  // 100 ns since 1601, UTC
  GUID provider = {};
  GUID activity_id = {};
  GUID parent_guid = {};  // kInstance
  std::uint32_t instance_id = 0;
  std::uint32_t parent_instance_id = 0;
  std::uint32_t message_sequence = 0;
  std::span<const std::byte> extended;  // kEvent: the items as stored; walk them with EtlItemWalk
  std::span<const std::byte> counters;  // kernel kinds: sampling index and performance counters behind the header
  std::span<const std::byte> payload;
};

/// The flags that an event record of the platform's API has for the event: what was stored, the pointer size, the kind
/// of header and that the processor number is an index.
std::uint16_t EtlRecordFlags(const EtlEventView& event) noexcept;

struct EtlItemView {
  std::uint16_t type = 0;
  bool linked = false;  // another item follows
  std::span<const std::byte> data;
};

/// Walks the extended items of an event; ends at the first one that is not whole.
class EtlItemWalk {
 public:
  explicit EtlItemWalk(std::span<const std::byte> items) noexcept : rest_(items) {}
  [[nodiscard]] bool Next(EtlItemView* out) noexcept;
  /// What has not been walked; behind the last item it is the user data when the walk began at the items' start.
  std::span<const std::byte> rest() const noexcept { return rest_; }

 private:
  std::span<const std::byte> rest_;
  bool done_ = false;
};

/// The data of the first item of a type, or an empty span.
std::span<const std::byte> EtlFindItem(const EtlEventView& event, std::uint16_t type) noexcept;

enum class EtlParseOutcome : std::uint8_t {
  kEvent,     // *out is filled
  kFiller,    // the events of the buffer end here
  kStepOver,  // a record that files don't use; its size is known, so that one can go on behind it
  kDamaged,   // no event, and no way to tell where the next one is
};

/// Parses the event that `bytes` begin with; they reach to the end of the buffer's valid data. For kEvent and
/// kStepOver `*size` is its size without the padding behind it. `out->stamp` is left alone for a message without a
/// time; processor, logger_id and file_time are the caller's to fill.
EtlParseOutcome ParseEtlEvent(std::span<const std::byte> bytes, EtlEventView* out, std::uint32_t* size) noexcept;

/// The provider that stands for a group (and, in one case, the type) of kernel events; all zeros for an unknown group.
GUID EtlGroupProvider(std::uint8_t group, std::uint8_t type) noexcept;

}  // namespace varnel::formats

#include "platform/embedded/tdh/embedded_tdh.h"

#include <bit>
#include <cstring>
#include <new>
#include <span>
#include <string>
#include <utility>

#include "formats/manifest_reader.h"
#include "formats/text_encoding.h"
#include "platform/embedded/tdh/last_event.h"
#include "platform/embedded/tdh/property_finder.h"

namespace varnel::embedded {

using formats::PropertyPlace;
using platform::EVENT_RECORD;
using platform::PROPERTY_DATA_DESCRIPTOR;
using platform::TRACE_EVENT_INFO;

namespace {

constexpr std::size_t kMaxPath = 260;

/// Each state of each helper has a number of its own, so that one comparison tells a thread whether what it holds is of
/// this helper and current.
std::uint64_t NextVersion() {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

std::span<const std::byte> PayloadOf(const EVENT_RECORD& event) {
  if (event.UserData == nullptr) return {};
  return {static_cast<const std::byte*>(event.UserData), event.UserDataLength};
}

std::uint8_t PointerSizeOf(const EVENT_RECORD& event) {
  return (event.EventHeader.Flags & platform::kEventHeaderFlag32BitHeader) != 0 ? 4 : 8;
}

std::string_view ItemOf(const EVENT_RECORD& event, std::uint16_t type) {
  if (event.ExtendedData == nullptr) return {};
  for (std::size_t i = 0; i < event.ExtendedDataCount; ++i) {
    const auto& item = event.ExtendedData[i];
    if (item.ExtType == type && item.DataPtr != 0) {
      return {std::bit_cast<const char*>(item.DataPtr), item.DataSize};
    }
  }
  return {};
}

/// Events of these kinds have their layouts in other places than manifests.
bool IsOfAnotherKind(const EVENT_RECORD& event) {
  return (event.EventHeader.Flags & (platform::kEventHeaderFlagTraceMessage | platform::kEventHeaderFlagStringOnly |
                                     platform::kEventHeaderFlagClassicHeader)) != 0;
}

const char16_t* NameOf(const PROPERTY_DATA_DESCRIPTOR& descriptor) {
  return std::bit_cast<const char16_t*>(descriptor.PropertyName);
}

}  // namespace

/// What a thread holds of the helper that it asked last.
struct EmbeddedTdh::ThreadView {
  std::uint64_t version = 0;
  std::shared_ptr<const SchemaTable> table;
  // The schema found last, and by what it was found. Most events are like the one before.
  const EventSchema* schema = nullptr;
  GUID provider{};
  std::uint16_t id = 0;
  std::uint8_t event_version = 0;
  // The same for events that describe themselves.
  std::shared_ptr<const EventSchema> described;
  std::string described_key;
  std::string key_buffer;
  LastEvent last;
  std::size_t last_index = 0;
};

EmbeddedTdh::EmbeddedTdh(ReadFile read_file)
    : read_file_(std::move(read_file)), table_(std::make_shared<const SchemaTable>()), version_(NextVersion()) {}

std::uint32_t EmbeddedTdh::TdhLoadManifest(const char16_t* path) try {
  if (path == nullptr) return platform::kErrorInvalidParameter;
  const std::u16string_view text(path);
  if (text.empty() || text.size() >= kMaxPath) return platform::kErrorInvalidParameter;
  std::vector<std::byte> bytes;
  if (const std::uint32_t error = read_file_(path, &bytes); error != platform::kErrorSuccess) return error;
  auto manifest = formats::ReadManifest(bytes, formats::Utf16ToUtf8(text));
  if (!manifest.ok()) return platform::kErrorXmlParseError;
  std::lock_guard lock(mutex_);
  table_ = table_->With(std::move(manifest).value());
  version_.store(NextVersion(), std::memory_order_release);
  return platform::kErrorSuccess;
} catch (const std::bad_alloc&) {
  return platform::kErrorOutOfMemory;
}

EmbeddedTdh::ThreadView& EmbeddedTdh::OwnView() {
  // Each property of each event asks for it, so the way there is a plain pointer in the static block of the thread.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local ThreadView* known = nullptr;
  if (known != nullptr) return *known;
  thread_local ThreadView view;
  known = &view;
  return view;
}

EmbeddedTdh::ThreadView& EmbeddedTdh::View() {
  ThreadView& view = OwnView();
  if (view.version != version_.load(std::memory_order_acquire)) {
    std::lock_guard lock(mutex_);
    view.last.Forget();
    view.schema = nullptr;
    view.described = nullptr;
    view.table = table_;
    view.version = version_.load(std::memory_order_relaxed);
  }
  return view;
}

const EventSchema* EmbeddedTdh::SchemaOf(const EVENT_RECORD& event, ThreadView* view) {
  const auto& header = event.EventHeader;
  if (event.ExtendedDataCount != 0) {
    const std::string_view schema = ItemOf(event, platform::kExtTypeEventSchemaTl);
    if (!schema.empty()) {
      return TraceLoggingSchemaOf({header.ProviderId, header.EventDescriptor.Level, header.EventDescriptor.Opcode,
                                   schema, ItemOf(event, platform::kExtTypeProvTraits)},
                                  view);
    }
  }
  if (IsOfAnotherKind(event)) return nullptr;
  const auto& descriptor = header.EventDescriptor;
  if (view->schema != nullptr && view->id == descriptor.Id && view->event_version == descriptor.Version &&
      view->provider == header.ProviderId) {
    return view->schema;
  }
  view->schema = view->table->Find(header.ProviderId, descriptor.Id, descriptor.Version);
  view->provider = header.ProviderId;
  view->id = descriptor.Id;
  view->event_version = descriptor.Version;
  return view->schema;
}

const EventSchema* EmbeddedTdh::TraceLoggingSchemaOf(const TraceLoggingSchemas::Key& key, ThreadView* view) {
  TraceLoggingSchemas::Flatten(key, &view->key_buffer);
  if (view->described != nullptr && view->described_key == view->key_buffer) return view->described.get();
  // The one held so far may go with this, and what is remembered of its events with it.
  view->last.Forget();
  view->described = trace_logging_.Get(key);
  view->described_key = view->key_buffer;
  return view->described.get();
}

std::uint32_t EmbeddedTdh::TdhGetEventInformation(const EVENT_RECORD* event, TRACE_EVENT_INFO* buffer,
                                                  std::uint32_t* size) try {
  if (event == nullptr || size == nullptr) return platform::kErrorInvalidParameter;
  const EventSchema* schema = SchemaOf(*event, &View());
  if (schema == nullptr) return platform::kErrorNotFound;
  const std::vector<std::byte>& info = schema->info();
  const auto needed = static_cast<std::uint32_t>(info.size());
  const bool fits = buffer != nullptr && *size >= needed;
  *size = needed;
  if (!fits) return platform::kErrorInsufficientBuffer;
  std::memcpy(static_cast<void*>(buffer), info.data(), needed);
  buffer->EventDescriptor = event->EventHeader.EventDescriptor;
  return platform::kErrorSuccess;
} catch (const std::bad_alloc&) {
  return platform::kErrorOutOfMemory;
}

std::uint32_t EmbeddedTdh::FindProperty(const EVENT_RECORD* event, std::uint32_t descriptor_count,
                                        const PROPERTY_DATA_DESCRIPTOR* descriptors, PropertyPlace* place) {
  if (event == nullptr || descriptors == nullptr || descriptor_count == 0 || descriptor_count > 2) {
    return platform::kErrorInvalidParameter;
  }
  for (const auto& descriptor : std::span(descriptors, descriptor_count)) {
    if (NameOf(descriptor) == nullptr) return platform::kErrorInvalidParameter;
  }
  ThreadView& view = View();
  const EventSchema* schema = SchemaOf(*event, &view);
  if (schema == nullptr) return platform::kErrorNotFound;
  const int index = schema->FindTopLevel(NameOf(descriptors[0]), view.last_index);
  if (index < 0) return platform::kErrorNotFound;
  view.last_index = static_cast<std::size_t>(index);
  const DecodedRecord record{*schema, PointerSizeOf(*event), PayloadOf(*event),
                             view.last.Places(*schema, PointerSizeOf(*event), PayloadOf(*event))};
  return descriptor_count == 1 ? FindTopLevelValue(record, view.last_index, descriptors[0].ArrayIndex, place)
                               : FindMemberValue(record, view.last_index, NameOf(descriptors[1]),
                                                 descriptors[0].ArrayIndex, descriptors[1].ArrayIndex, place);
}

std::uint32_t EmbeddedTdh::TdhGetPropertySize(const EVENT_RECORD* event, std::uint32_t descriptor_count,
                                              const PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t* size) try {
  if (size == nullptr) return platform::kErrorInvalidParameter;
  PropertyPlace place;
  if (const std::uint32_t error = FindProperty(event, descriptor_count, descriptors, &place);
      error != platform::kErrorSuccess) {
    return error;
  }
  *size = place.size;
  return platform::kErrorSuccess;
} catch (const std::bad_alloc&) {
  return platform::kErrorOutOfMemory;
}

std::uint32_t EmbeddedTdh::TdhGetProperty(const EVENT_RECORD* event, std::uint32_t descriptor_count,
                                          const PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t size,
                                          std::uint8_t* buffer) try {
  PropertyPlace place;
  if (const std::uint32_t error = FindProperty(event, descriptor_count, descriptors, &place);
      error != platform::kErrorSuccess) {
    return error;
  }
  if (size < place.size) return platform::kErrorInsufficientBuffer;
  if (place.size == 0) return platform::kErrorSuccess;
  if (buffer == nullptr) return platform::kErrorInvalidParameter;
  std::memcpy(buffer, PayloadOf(*event).data() + place.offset, place.size);
  return platform::kErrorSuccess;
} catch (const std::bad_alloc&) {
  return platform::kErrorOutOfMemory;
}

}  // namespace varnel::embedded

#include "platform/embedded/tdh/schema_table.h"

#include <span>
#include <utility>

#include "formats/tracelogging.h"

namespace varnel::embedded {
namespace {

std::uint32_t EventKey(std::uint16_t id, std::uint8_t version) {
  return (std::uint32_t{id} << 8) | version;
}

}  // namespace

ProviderSchemas::ProviderSchemas(std::vector<formats::ProviderManifest> manifests) : manifests_(std::move(manifests)) {
  for (const formats::ProviderManifest& provider : manifests_) {
    for (const formats::EventDefinition& event : provider.events) {
      const std::uint32_t key = EventKey(event.id, event.version);
      if (!events_.contains(key)) events_.emplace(key, EventSchema(provider, event));
    }
  }
}

const EventSchema* ProviderSchemas::Find(std::uint16_t id, std::uint8_t version) const {
  const auto at = events_.find(EventKey(id, version));
  return at == events_.end() ? nullptr : &at->second;
}

std::shared_ptr<const SchemaTable> SchemaTable::With(formats::InstrumentationManifest manifest) const {
  std::unordered_map<GUID, std::vector<formats::ProviderManifest>, formats::GuidHash> by_guid;
  for (formats::ProviderManifest& provider : manifest.providers) {
    const GUID guid = provider.guid;
    by_guid[guid].push_back(std::move(provider));
  }
  auto table = std::make_shared<SchemaTable>(*this);
  for (auto& [guid, manifests] : by_guid) {
    table->providers_[guid] = std::make_shared<const ProviderSchemas>(std::move(manifests));
  }
  return table;
}

const EventSchema* SchemaTable::Find(const GUID& provider, std::uint16_t id, std::uint8_t version) const {
  const auto at = providers_.find(provider);
  return at == providers_.end() ? nullptr : at->second->Find(id, version);
}

void TraceLoggingSchemas::Flatten(const Key& key, std::string* out) {
  out->assign(reinterpret_cast<const char*>(&key.provider), sizeof key.provider);
  out->push_back(static_cast<char>(key.level));
  out->push_back(static_cast<char>(key.opcode));
  // Both items begin with their own size, so that their border is told.
  *out += key.schema;
  *out += key.traits;
}

std::shared_ptr<const EventSchema> TraceLoggingSchemas::Get(const Key& key) {
  std::string flat;
  Flatten(key, &flat);
  std::lock_guard lock(mutex_);
  if (const auto at = schemas_.find(flat); at != schemas_.end()) return at->second;
  auto layout = formats::ReadTraceLoggingSchema(std::as_bytes(std::span(key.schema)));
  std::shared_ptr<const EventSchema> schema;
  if (layout.ok()) {
    const std::string_view name = formats::ReadProviderName(std::as_bytes(std::span(key.traits)));
    schema = std::make_shared<const EventSchema>(std::move(layout).value(), key.provider, name, key.level, key.opcode);
  }
  if (key_bytes_ + flat.size() > kMaxKeyBytes) {
    schemas_.clear();
    key_bytes_ = 0;
  }
  key_bytes_ += flat.size();
  schemas_.emplace(std::move(flat), schema);
  return schema;
}

}  // namespace varnel::embedded

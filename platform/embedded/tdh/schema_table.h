// The schemas of the manifests that a process has loaded, and those of events that describe themselves.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "formats/guid_text.h"
#include "formats/manifest.h"
#include "platform/embedded/tdh/event_schema.h"

namespace varnel::embedded {

/// All events of one provider GUID. A file can define a GUID more than once; of events with the same id and version the
/// first counts. Not changed after it was made; any thread may read.
class ProviderSchemas {
 public:
  explicit ProviderSchemas(std::vector<formats::ProviderManifest> manifests);

  /// Null when this id and version is not defined.
  const EventSchema* Find(std::uint16_t id, std::uint8_t version) const;

 private:
  std::vector<formats::ProviderManifest> manifests_;
  std::unordered_map<std::uint32_t, EventSchema> events_;
};

/// One state of what is loaded. A new manifest makes a new table that shares the providers that stay; who holds an old
/// one can go on reading it.
class SchemaTable {
 public:
  SchemaTable() = default;

  /// This table with the providers of a manifest added; they replace those of the same GUIDs.
  std::shared_ptr<const SchemaTable> With(formats::InstrumentationManifest manifest) const;

  const EventSchema* Find(const GUID& provider, std::uint16_t id, std::uint8_t version) const;

 private:
  std::unordered_map<GUID, std::shared_ptr<const ProviderSchemas>, formats::GuidHash> providers_;
};

/// Schemas of TraceLogging events by their description, so that each description is compiled once. Thread-safe.
class TraceLoggingSchemas {
 public:
  /// What tells one such schema from another: its own bytes and what of the record goes into its information.
  struct Key {
    GUID provider{};
    std::uint8_t level = 0;
    std::uint8_t opcode = 0;
    std::string_view schema;  // item 11
    std::string_view traits;  // item 12
  };

  /// Null when the description can't be read.
  std::shared_ptr<const EventSchema> Get(const Key& key);

  /// The key as one text, for comparing.
  static void Flatten(const Key& key, std::string* out);

 private:
  // A writer that makes descriptions up without end must not fill the memory: behind this many bytes of them all are
  // dropped and compiled anew. A compiled one takes up to some hundred times its description.
  static constexpr std::size_t kMaxKeyBytes = 512 * 1024;

  std::mutex mutex_;
  std::size_t key_bytes_ = 0;
  std::unordered_map<std::string, std::shared_ptr<const EventSchema>> schemas_;
};

}  // namespace varnel::embedded

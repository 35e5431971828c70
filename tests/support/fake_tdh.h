// The Trace Data Helper port with scripted schemas: a test says which properties an event has, and values come out of
// the event's payload by their in-types.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/tdh.h"

namespace varnel::testing {

struct ScriptedProperty {
  std::u16string name;
  std::uint16_t in_type = 0;
  std::uint32_t flags = 0;   // EVENT_PROPERTY_INFO::Flags
  std::uint16_t length = 0;  // bytes of a value whose in-type has no size of its own (BINARY, a structure, others)
  std::u16string count_of;   // the UINT32 property that holds how many elements there are; empty: one
};

/// Set up before other threads run.
class FakeTdh : public platform::Tdh {
 public:
  void AddSchema(const GUID& provider, std::uint16_t id, std::vector<ScriptedProperty> properties);
  /// The three events of the module's own manifests, for one provider.
  void AddManifestSchemas(const GUID& provider);

  struct LoadedManifest {
    std::u16string path;
    std::string bytes;  // of the file at the moment of the load, if `read_file` is set
  };
  /// Lets TdhLoadManifest keep what the file held.
  std::string (*read_file)(const std::u16string& path, void* context) = nullptr;
  void* read_file_context = nullptr;
  std::vector<LoadedManifest> LoadedManifests() const;

  std::uint32_t TdhLoadManifest(const char16_t* path) override;
  std::uint32_t TdhGetEventInformation(const platform::EVENT_RECORD* event, platform::TRACE_EVENT_INFO* buffer,
                                       std::uint32_t* size) override;
  std::uint32_t TdhGetPropertySize(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                                   const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t* size) override;
  std::uint32_t TdhGetProperty(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                               const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t size,
                               std::uint8_t* buffer) override;

 private:
  struct Schema {
    GUID provider{};
    std::uint16_t id = 0;
    std::vector<ScriptedProperty> properties;
  };
  using Extent = std::pair<std::size_t, std::size_t>;  // first byte and number of bytes in the payload

  const Schema* Find(const platform::EVENT_RECORD* event) const;
  static std::optional<Extent> Locate(const Schema& schema, const platform::EVENT_RECORD* event,
                                      const std::u16string& name);

  std::vector<Schema> schemas_;
  mutable std::mutex mutex_;
  std::vector<LoadedManifest> loaded_;
};

}  // namespace varnel::testing

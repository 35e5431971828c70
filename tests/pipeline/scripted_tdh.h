// The Trace Data Helper port with one event layout that a test writes down: names, in-types, value bytes, and the
// answers that its queries give.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/tdh.h"

namespace varnel::testing {

struct SchemaProperty {
  std::u16string name;
  std::uint16_t in_type = 0;
  std::vector<std::uint8_t> bytes;
  std::uint32_t flags = 0;
  std::uint32_t size_answer = 0;
  std::uint32_t value_answer = 0;
};

template <typename T>
SchemaProperty Property(std::u16string name, std::uint16_t in_type, T value) {
  static_assert(std::is_trivially_copyable_v<T>);
  std::vector<std::uint8_t> bytes(sizeof(value));
  std::memcpy(bytes.data(), &value, sizeof(value));
  return {std::move(name), in_type, std::move(bytes)};
}
/// Both with the NUL that the texts of manifests carry.
SchemaProperty NarrowProperty(std::u16string name, std::string_view text);
SchemaProperty WideProperty(std::u16string name, std::u16string_view text);

class ScriptedTdh : public platform::Tdh {
 public:
  std::vector<SchemaProperty> properties;
  std::uint32_t members = 0;  // how many of the last properties stand in a structure, and so not at the top
  std::uint32_t first_answer = 122;
  bool tells_size = true;
  std::uint32_t second_answer = 0;

  std::uint32_t TdhLoadManifest(const char16_t* /*path*/) override { return 0; }
  std::uint32_t TdhGetEventInformation(const platform::EVENT_RECORD* event, platform::TRACE_EVENT_INFO* buffer,
                                       std::uint32_t* size) override;
  std::uint32_t TdhGetPropertySize(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                                   const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t* size) override;
  std::uint32_t TdhGetProperty(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                               const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t size,
                               std::uint8_t* buffer) override;

 private:
  const SchemaProperty* Find(std::uint32_t descriptor_count,
                             const platform::PROPERTY_DATA_DESCRIPTOR* descriptors) const;
};

/// An event of the first provider of the table, with every field set to something of its own.
platform::EVENT_RECORD SampleRecord();

}  // namespace varnel::testing

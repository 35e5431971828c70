#include "tests/support/fake_tdh.h"

#include <algorithm>
#include <cstring>

namespace varnel::testing {
namespace {

using platform::EVENT_RECORD;

constexpr std::uint16_t kWideString = 1;
constexpr std::uint16_t kNarrowString = 2;
constexpr std::uint16_t kUint8 = 4;
constexpr std::uint16_t kUint32 = 8;

/// Bytes of one element of an in-type with a size of its own, else 0.
std::size_t SizeOf(std::uint16_t in_type) {
  constexpr std::uint8_t kSizes[] = {0, 0, 0, 1, 1, 2, 2, 4, 4, 8, 8, 4, 8, 4, 0, 16, 8, 8, 16, 0, 4, 8};
  return in_type < sizeof kSizes ? kSizes[in_type] : 0;
}

std::size_t StringSize(const std::uint8_t* data, std::size_t left, std::size_t unit) {
  std::size_t at = 0;
  while (at + unit <= left) {
    const bool ends = std::all_of(data + at, data + at + unit, [](std::uint8_t byte) { return byte == 0; });
    at += unit;
    if (ends) break;
  }
  return at;
}

}  // namespace

void FakeTdh::AddSchema(const GUID& provider, std::uint16_t id, std::vector<ScriptedProperty> properties) {
  schemas_.push_back({provider, id, std::move(properties)});
}

void FakeTdh::AddManifestSchemas(const GUID& provider) {
  const std::vector<ScriptedProperty> common = {{u"Counter", kUint32, 0, 0, {}},
                                                {u"Flags", kUint32, 0, 0, {}},
                                                {u"Function", kNarrowString, 0, 0, {}},
                                                {u"CodeLine", kUint32, 0, 0, {}},
                                                {u"status", kUint32, 0, 0, {}}};
  const auto with = [&](std::vector<ScriptedProperty> own) {
    std::vector<ScriptedProperty> all = common;
    all.insert(all.end(), own.begin(), own.end());
    return all;
  };
  AddSchema(provider, 1, with({{u"AdditionalMsgAnsi", kNarrowString, 0, 0, {}}}));
  AddSchema(provider, 2, with({{u"AdditionalMsgWide", kWideString, 0, 0, {}}}));
  AddSchema(provider, 3,
            with({{u"BinaryCount", kUint32, 0, 0, {}},
                  {u"AdditionalBinary", kUint8, platform::kPropertyParamCount, 0, u"BinaryCount"}}));
}

std::vector<FakeTdh::LoadedManifest> FakeTdh::LoadedManifests() const {
  const std::lock_guard lock(mutex_);
  return loaded_;
}

const FakeTdh::Schema* FakeTdh::Find(const EVENT_RECORD* event) const {
  for (const Schema& schema : schemas_) {
    if (schema.provider == event->EventHeader.ProviderId && schema.id == event->EventHeader.EventDescriptor.Id) {
      return &schema;
    }
  }
  return nullptr;
}

std::optional<FakeTdh::Extent> FakeTdh::Locate(const Schema& schema, const EVENT_RECORD* event,
                                               const std::u16string& name) {
  const auto* const data = static_cast<const std::uint8_t*>(event->UserData);
  std::map<std::u16string, std::uint32_t> numbers;
  std::size_t at = 0;
  for (const ScriptedProperty& property : schema.properties) {
    const std::size_t left = event->UserDataLength - at;
    std::size_t size = SizeOf(property.in_type) != 0 ? SizeOf(property.in_type) : property.length;
    if (property.in_type == kWideString) size = StringSize(data + at, left, 2);
    if (property.in_type == kNarrowString) size = StringSize(data + at, left, 1);
    if ((property.flags & platform::kPropertyStruct) != 0) size = property.length;
    if (!property.count_of.empty()) size *= numbers[property.count_of];
    if (size > left) return std::nullopt;
    if (property.name == name) return Extent{at, size};
    if (property.in_type == kUint32) std::memcpy(&numbers[property.name], data + at, 4);
    at += size;
  }
  return std::nullopt;
}

std::uint32_t FakeTdh::TdhLoadManifest(const char16_t* path) {
  LoadedManifest loaded{path, {}};
  if (read_file != nullptr) loaded.bytes = read_file(loaded.path, read_file_context);
  const std::lock_guard lock(mutex_);
  loaded_.push_back(std::move(loaded));
  return platform::kErrorSuccess;
}

std::uint32_t FakeTdh::TdhGetEventInformation(const EVENT_RECORD* event, platform::TRACE_EVENT_INFO* buffer,
                                              std::uint32_t* size) {
  const Schema* const schema = Find(event);
  if (schema == nullptr) return platform::kErrorNotFound;
  const std::size_t count = schema->properties.size();
  const std::size_t names = offsetof(platform::TRACE_EVENT_INFO, EventPropertyInfoArray) +
                            std::max<std::size_t>(count, 1) * sizeof(platform::EVENT_PROPERTY_INFO);
  std::size_t needed = names;
  for (const ScriptedProperty& property : schema->properties) needed += (property.name.size() + 1) * sizeof(char16_t);
  const std::uint32_t room = *size;
  *size = static_cast<std::uint32_t>(needed);
  if (buffer == nullptr || room < needed) return platform::kErrorInsufficientBuffer;

  std::memset(buffer, 0, needed);
  buffer->ProviderGuid = schema->provider;
  buffer->EventDescriptor = event->EventHeader.EventDescriptor;
  buffer->PropertyCount = buffer->TopLevelPropertyCount = static_cast<std::uint32_t>(count);
  auto* const base = reinterpret_cast<std::uint8_t*>(buffer);
  std::size_t name_at = names;
  for (std::size_t i = 0; i < count; ++i) {
    const ScriptedProperty& property = schema->properties[i];
    platform::EVENT_PROPERTY_INFO info{};
    info.Flags = property.flags;
    info.NameOffset = static_cast<std::uint32_t>(name_at);
    info.InType = property.in_type;
    info.Count = 1;
    info.Length = property.length;
    const std::size_t place = offsetof(platform::TRACE_EVENT_INFO, EventPropertyInfoArray) + i * sizeof info;
    std::memcpy(base + place, &info, sizeof info);
    const std::size_t bytes = (property.name.size() + 1) * sizeof(char16_t);
    std::memcpy(base + name_at, property.name.c_str(), bytes);
    name_at += bytes;
  }
  return platform::kErrorSuccess;
}

std::uint32_t FakeTdh::TdhGetPropertySize(const EVENT_RECORD* event, std::uint32_t,
                                          const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t* size) {
  const Schema* const schema = Find(event);
  if (schema == nullptr) return platform::kErrorNotFound;
  const auto extent = Locate(*schema, event, reinterpret_cast<const char16_t*>(descriptors[0].PropertyName));
  if (!extent) return platform::kErrorNotFound;
  *size = static_cast<std::uint32_t>(extent->second);
  return platform::kErrorSuccess;
}

std::uint32_t FakeTdh::TdhGetProperty(const EVENT_RECORD* event, std::uint32_t,
                                      const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t size,
                                      std::uint8_t* buffer) {
  const Schema* const schema = Find(event);
  if (schema == nullptr) return platform::kErrorNotFound;
  const auto extent = Locate(*schema, event, reinterpret_cast<const char16_t*>(descriptors[0].PropertyName));
  if (!extent) return platform::kErrorNotFound;
  if (size < extent->second) return platform::kErrorInsufficientBuffer;
  std::memcpy(buffer, static_cast<const std::uint8_t*>(event->UserData) + extent->first, extent->second);
  return platform::kErrorSuccess;
}

}  // namespace varnel::testing

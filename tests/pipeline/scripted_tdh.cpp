#include "tests/pipeline/scripted_tdh.h"

namespace varnel::testing {
namespace {

constexpr std::uint32_t kWholeProperty = 0xFFFFFFFF;

}  // namespace

SchemaProperty NarrowProperty(std::u16string name, std::string_view text) {
  std::vector<std::uint8_t> bytes(text.begin(), text.end());
  bytes.push_back(0);
  return {std::move(name), 2, std::move(bytes)};
}

SchemaProperty WideProperty(std::u16string name, std::u16string_view text) {
  std::vector<std::uint8_t> bytes(2 * text.size() + 2);
  std::memcpy(bytes.data(), text.data(), 2 * text.size());
  return {std::move(name), 1, std::move(bytes)};
}

std::uint32_t ScriptedTdh::TdhGetEventInformation(const platform::EVENT_RECORD* /*event*/,
                                                  platform::TRACE_EVENT_INFO* buffer, std::uint32_t* size) {
  std::uint32_t needed = sizeof(platform::TRACE_EVENT_INFO);
  for (const SchemaProperty& property : properties) {
    needed += static_cast<std::uint32_t>(sizeof(platform::EVENT_PROPERTY_INFO) + 2 * property.name.size() + 2);
  }
  if (buffer == nullptr) {
    *size = tells_size ? needed : 0;
    return first_answer;
  }
  if (second_answer != 0) return second_answer;
  std::memset(buffer, 0, *size);
  buffer->PropertyCount = static_cast<std::uint32_t>(properties.size());
  buffer->TopLevelPropertyCount = buffer->PropertyCount - members;
  auto* start = reinterpret_cast<std::uint8_t*>(buffer);
  auto at = static_cast<std::uint32_t>(sizeof(platform::TRACE_EVENT_INFO) +
                                       properties.size() * sizeof(platform::EVENT_PROPERTY_INFO));
  for (std::size_t i = 0; i < properties.size(); ++i) {
    platform::EVENT_PROPERTY_INFO& info = buffer->EventPropertyInfoArray[i];
    info.Flags = properties[i].flags;
    info.NameOffset = at;
    info.InType = properties[i].in_type;
    std::memcpy(start + at, properties[i].name.c_str(), 2 * properties[i].name.size() + 2);
    at += static_cast<std::uint32_t>(2 * properties[i].name.size() + 2);
  }
  return 0;
}

const SchemaProperty* ScriptedTdh::Find(std::uint32_t descriptor_count,
                                        const platform::PROPERTY_DATA_DESCRIPTOR* descriptors) const {
  if (descriptor_count != 1 || descriptors->ArrayIndex != kWholeProperty) return nullptr;
  const std::u16string_view name(reinterpret_cast<const char16_t*>(descriptors->PropertyName));
  for (const SchemaProperty& property : properties) {
    // A name longer than the caller's buffer comes back cut.
    if (property.name == name || (name.size() == 255 && property.name.starts_with(name))) return &property;
  }
  return nullptr;
}

std::uint32_t ScriptedTdh::TdhGetPropertySize(const platform::EVENT_RECORD* /*event*/, std::uint32_t descriptor_count,
                                              const platform::PROPERTY_DATA_DESCRIPTOR* descriptors,
                                              std::uint32_t* size) {
  const SchemaProperty* property = Find(descriptor_count, descriptors);
  if (property == nullptr) return platform::kErrorNotFound;
  if (property->size_answer != 0) return property->size_answer;
  *size = static_cast<std::uint32_t>(property->bytes.size());
  return 0;
}

std::uint32_t ScriptedTdh::TdhGetProperty(const platform::EVENT_RECORD* /*event*/, std::uint32_t descriptor_count,
                                          const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t size,
                                          std::uint8_t* buffer) {
  const SchemaProperty* property = Find(descriptor_count, descriptors);
  if (property == nullptr) return platform::kErrorNotFound;
  if (property->value_answer != 0) return property->value_answer;
  if (size < property->bytes.size()) return platform::kErrorInsufficientBuffer;
  std::memcpy(buffer, property->bytes.data(), property->bytes.size());
  return 0;
}

platform::EVENT_RECORD SampleRecord() {
  platform::EVENT_RECORD event{};
  event.EventHeader.ProcessId = 1234;
  event.EventHeader.ThreadId = 5678;
  event.EventHeader.TimeStamp = 0x1DC95B3A1C2D3E0;
  event.EventHeader.ProviderId = {0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};
  event.EventHeader.EventDescriptor.Level = 4;
  event.EventHeader.EventDescriptor.Keyword = 0x81;
  return event;
}

}  // namespace varnel::testing

#include "platform/embedded/tdh/event_info_builder.h"

#include <cstring>

#include "formats/text_encoding.h"

namespace varnel::embedded {

using formats::PropertyLayout;
using formats::SizeRule;
using formats::Told;
using platform::EVENT_PROPERTY_INFO;
using platform::TRACE_EVENT_INFO;

namespace {

constexpr std::size_t kFixedPart = offsetof(TRACE_EVENT_INFO, EventPropertyInfoArray);

/// The platform gives the size of types that have one; a pointer's stands for events of 64-bit writers.
std::uint16_t OwnLength(const PropertyLayout& property) {
  if (property.rule == SizeRule::kFixed) return property.size;
  return property.rule == SizeRule::kPointer ? 8 : 0;
}

void FillCount(const PropertyLayout& property, EVENT_PROPERTY_INFO* out) {
  out->Count = property.count.told == Told::kNot ? 1 : property.count.value;
  if (property.count.told == Told::kByField) out->Flags |= platform::kPropertyParamCount;
  if (property.count.told == Told::kFixed) out->Flags |= platform::kPropertyParamFixedCount;
}

void FillLength(const PropertyLayout& property, EVENT_PROPERTY_INFO* out) {
  out->Length = property.length.told == Told::kNot ? OwnLength(property) : property.length.value;
  if (property.length.told == Told::kByField) out->Flags |= platform::kPropertyParamLength;
  if (property.length.told == Told::kFixed) out->Flags |= platform::kPropertyParamFixedLength;
}

}  // namespace

EventInfoBuilder::EventInfoBuilder(const formats::EventLayout& layout)
    : text_start_(kFixedPart + sizeof(EVENT_PROPERTY_INFO) * layout.properties.size()) {
  info_.PropertyCount = static_cast<std::uint32_t>(layout.properties.size());
  info_.TopLevelPropertyCount = layout.top_level_count;
  properties_.reserve(layout.properties.size());
  for (const PropertyLayout& property : layout.properties) AddProperty(property);
}

void EventInfoBuilder::AddProperty(const PropertyLayout& property) {
  EVENT_PROPERTY_INFO out{};
  // A name is there even when it is empty: callers read it without asking.
  out.NameOffset = AppendText(property.name);
  FillCount(property, &out);
  if (property.is_structure) {
    out.Flags |= platform::kPropertyStruct;
    out.InType = property.first_member;
    out.OutType = property.member_count;
  } else {
    out.InType = static_cast<std::uint16_t>(property.in_type);
    out.OutType = static_cast<std::uint16_t>(property.out_type);
    FillLength(property, &out);
    if (property.map != nullptr) out.MapNameOffset = AddText(property.map->name);
  }
  properties_.push_back(out);
}

std::uint32_t EventInfoBuilder::AppendText(std::string_view utf8) {
  const std::size_t offset = text_start_ + texts_.size() * sizeof(char16_t);
  texts_ += formats::Utf8ToUtf16(utf8);
  texts_.push_back(u'\0');
  return static_cast<std::uint32_t>(offset);
}

std::uint32_t EventInfoBuilder::AddText(std::string_view utf8) {
  return utf8.empty() ? 0 : AppendText(utf8);
}

std::uint32_t EventInfoBuilder::AddTextList(std::span<const std::string> texts) {
  if (texts.empty()) return 0;
  const std::uint32_t offset = AppendText(texts.front());
  for (const std::string& text : texts.subspan(1)) AppendText(text);
  texts_.push_back(u'\0');
  return offset;
}

std::vector<std::byte> EventInfoBuilder::Build() const {
  std::vector<std::byte> bytes(text_start_ + texts_.size() * sizeof(char16_t));
  std::memcpy(bytes.data(), &info_, kFixedPart);
  if (!properties_.empty()) {
    std::memcpy(bytes.data() + kFixedPart, properties_.data(), properties_.size() * sizeof(EVENT_PROPERTY_INFO));
  }
  if (!texts_.empty()) std::memcpy(bytes.data() + text_start_, texts_.data(), texts_.size() * sizeof(char16_t));
  return bytes;
}

}  // namespace varnel::embedded

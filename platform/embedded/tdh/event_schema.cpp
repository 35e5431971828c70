#include "platform/embedded/tdh/event_schema.h"

#include <unordered_map>
#include <utility>

#include "formats/text_encoding.h"
#include "formats/winmeta.h"
#include "platform/embedded/tdh/event_info_builder.h"

namespace varnel::embedded {

using formats::EventDefinition;
using formats::EventLayout;
using formats::PropertyLayout;
using formats::SizeRule;
using formats::Told;

namespace {

constexpr std::uint32_t kSourceManifest = 0;
constexpr std::uint32_t kSourceTraceLogging = 3;
constexpr std::uint32_t kTemplateEventData = 1;
constexpr std::uint32_t kTemplateUserData = 2;

/// Reads no further than the first character that differs, and so never past the NUL.
bool SameName(const std::u16string& name, const char16_t* asked) {
  for (const char16_t c : name) {
    if (*asked++ != c) return false;
  }
  return *asked == u'\0';
}

std::uint32_t TemplateFlags(const EventLayout& layout) {
  if (layout.has_user_data) return kTemplateUserData;
  return layout.name.empty() ? 0 : kTemplateEventData;
}

std::vector<std::byte> InfoOf(const formats::ProviderManifest& provider, const EventDefinition& event) {
  EventInfoBuilder builder(*event.layout);
  platform::TRACE_EVENT_INFO& info = builder.info();
  info.ProviderGuid = provider.guid;
  info.EventDescriptor = {event.id,     event.version, event.channel, event.level,
                          event.opcode, event.task,    event.keywords};
  info.DecodingSource = kSourceManifest;
  info.ProviderNameOffset = builder.AddText(provider.name);
  info.LevelNameOffset = builder.AddText(event.level_name);
  info.ChannelNameOffset = builder.AddText(event.channel_name);
  info.KeywordsNameOffset = builder.AddTextList(event.keyword_names);
  info.TaskNameOffset = builder.AddText(event.task_name);
  info.OpcodeNameOffset = builder.AddText(event.opcode_name);
  info.EventMessageOffset = builder.AddText(event.message);
  info.ProviderMessageOffset = builder.AddText(provider.message);
  info.Flags = TemplateFlags(*event.layout);
  return builder.Build();
}

std::vector<std::byte> InfoOf(const EventLayout& layout, const GUID& provider, std::string_view provider_name,
                              std::uint8_t level, std::uint8_t opcode) {
  EventInfoBuilder builder(layout);
  platform::TRACE_EVENT_INFO& info = builder.info();
  info.ProviderGuid = provider;
  info.DecodingSource = kSourceTraceLogging;
  info.ProviderNameOffset = builder.AddText(formats::ToValidUtf8(provider_name));
  info.EventNameOffset = builder.AddText(layout.name);
  if (const auto* known = formats::PredefinedLevel(std::uint64_t{level}); known != nullptr) {
    info.LevelNameOffset = builder.AddText(known->display);
  }
  const auto* known = opcode == 0 ? nullptr : formats::PredefinedOpcode(std::uint64_t{opcode});
  if (known != nullptr) info.OpcodeNameOffset = builder.AddText(known->display);
  info.Flags = kTemplateEventData;
  return builder.Build();
}

}  // namespace

EventSchema::EventSchema(const formats::ProviderManifest& provider, const EventDefinition& event)
    : layout_(event.layout), info_(InfoOf(provider, event)) {
  IndexNames();
}

EventSchema::EventSchema(EventLayout layout, const GUID& provider, std::string_view provider_name, std::uint8_t level,
                         std::uint8_t opcode)
    : own_layout_(std::make_unique<const EventLayout>(std::move(layout))),
      layout_(own_layout_.get()),
      info_(InfoOf(*layout_, provider, provider_name, level, opcode)) {
  IndexNames();
}

void EventSchema::IndexNames() {
  names_.reserve(layout_->properties.size());
  for (const PropertyLayout& property : layout_->properties) names_.push_back(formats::Utf8ToUtf16(property.name));
  std::unordered_map<std::u16string_view, std::uint16_t> first;
  for (std::uint16_t i = 0; i < layout_->top_level_count; ++i) {
    first_of_name_.push_back(first.emplace(names_[i], i).first->second);
  }
}

int EventSchema::FindTopLevel(const char16_t* name, std::size_t hint) const {
  const std::size_t count = first_of_name_.size();
  if (hint < count && SameName(names_[hint], name)) return first_of_name_[hint];
  if (hint + 1 < count && SameName(names_[hint + 1], name)) return first_of_name_[hint + 1];
  for (std::size_t i = 0; i < count; ++i) {
    if (SameName(names_[i], name)) return static_cast<int>(i);
  }
  return -1;
}

int EventSchema::FindMember(const PropertyLayout& structure, const char16_t* name) const {
  for (std::size_t i = structure.first_member; i < std::size_t{structure.first_member} + structure.member_count; ++i) {
    if (SameName(names_[i], name)) return static_cast<int>(i);
  }
  return -1;
}

bool ShapesPayload(const PropertyLayout& property) {
  if (property.is_structure || property.slot != PropertyLayout::kNoSlot) return true;
  switch (property.rule) {
    case SizeRule::kFixed:
    case SizeRule::kPointer:
    case SizeRule::kBinary:
    case SizeRule::kRest:
    case SizeRule::kUnknown:
      return false;
    case SizeRule::kUnicodeText:
    case SizeRule::kAnsiText:
      return property.length.told == Told::kNot;
    default:
      return true;
  }
}

}  // namespace varnel::embedded

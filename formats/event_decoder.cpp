#include "formats/event_decoder.h"

#include <unordered_map>
#include <utility>

#include "formats/guid_text.h"
#include "formats/manifest_reader.h"
#include "formats/payload_format.h"
#include "formats/text_encoding.h"
#include "formats/tracelogging.h"
#include "formats/winmeta.h"

namespace varnel::formats {

struct EventDecoder::State {
  std::vector<InstrumentationManifest> manifests;
  /// What is asked first stands first.
  std::unordered_map<GUID, std::vector<const ProviderManifest*>, GuidHash> providers;
};

namespace {

std::string DisplayOf(const std::vector<NamedValue>& own, const PredefinedName* predefined, std::uint64_t value) {
  for (const NamedValue& named : own) {
    if (named.value == value) return named.display();
  }
  return predefined != nullptr ? std::string(predefined->display) : std::string();
}

std::vector<std::string> KeywordNames(const ProviderManifest& provider, std::uint64_t keyword) {
  std::vector<std::string> names;
  for (const NamedValue& named : provider.keywords) {
    if ((keyword & named.value) != 0) names.push_back(named.display());
  }
  for (std::uint64_t bit = std::uint64_t{1} << 48; bit != std::uint64_t{1} << 56; bit <<= 1) {
    const PredefinedName* predefined = (keyword & bit) != 0 ? PredefinedKeyword(bit) : nullptr;
    if (predefined != nullptr) names.emplace_back(predefined->display);
  }
  return names;
}

void DecodeByManifest(const EventInput& event, const ProviderManifest& provider, const EventDefinition& definition,
                      DecodedEvent* out) {
  out->source = DecodingSource::kManifest;
  out->provider_name = provider.name;
  out->event_name = definition.symbol;
  out->level_name = DisplayOf(provider.levels, PredefinedLevel(std::uint64_t{event.level}), event.level);
  out->task_name = definition.task_name;
  out->opcode_name = definition.opcode_name;
  out->keyword_names = KeywordNames(provider, event.keyword);
  out->message = definition.message;
  out->complete = FormatPayload(*definition.layout, event.pointer_size(), event.payload, &out->properties);
}

/// @return false when the event's description can't be read.
bool DecodeTraceLogging(const EventInput& event, DecodedEvent* out) {
  Result<EventLayout> layout = ReadTraceLoggingSchema(event.schema);
  if (!layout.ok()) return false;
  out->source = DecodingSource::kTraceLogging;
  out->provider_name = ToValidUtf8(ReadProviderName(event.traits));
  out->event_name = layout.value().name;
  out->level_name = DisplayOf({}, PredefinedLevel(std::uint64_t{event.level}), event.level);
  out->opcode_name = event.opcode == 0 ? "" : DisplayOf({}, PredefinedOpcode(std::uint64_t{event.opcode}), 0);
  out->complete = FormatPayload(layout.value(), event.pointer_size(), event.payload, &out->properties);
  return true;
}

}  // namespace

EventDecoder::EventDecoder() : state_(std::make_unique<State>()) {}
EventDecoder::~EventDecoder() = default;
EventDecoder::EventDecoder(EventDecoder&&) noexcept = default;
EventDecoder& EventDecoder::operator=(EventDecoder&&) noexcept = default;

Status EventDecoder::AddManifest(std::span<const std::byte> bytes, std::string_view file_name) {
  Result<InstrumentationManifest> manifest = ReadManifest(bytes, file_name);
  if (!manifest.ok()) return manifest.error();
  // Moving the list of manifests leaves each one's list of providers, and so their addresses, as they are.
  state_->manifests.push_back(std::move(manifest).value());
  std::unordered_map<GUID, std::size_t, GuidHash> added;
  for (const ProviderManifest& provider : state_->manifests.back().providers) {
    auto& list = state_->providers[provider.guid];
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(added[provider.guid]++), &provider);
  }
  return Ok();
}

DecodedEvent EventDecoder::Decode(const EventInput& event) const {
  DecodedEvent out;
  if (!event.schema.empty() && DecodeTraceLogging(event, &out)) return out;
  const bool other_kind = (event.flags & (kEventFlagTraceMessage | kEventFlagClassicHeader)) != 0;
  if ((event.flags & kEventFlagStringOnly) != 0) {
    out.source = DecodingSource::kString;
    out.properties.push_back({"Message", {DecodedValue::Kind::kText, WideText(event.payload), {}}});
    return out;
  }
  const auto at = other_kind ? state_->providers.end() : state_->providers.find(event.provider);
  if (at == state_->providers.end()) return out;
  for (const ProviderManifest* provider : at->second) {
    const EventDefinition* definition = provider->FindEvent(event.id, event.version);
    if (definition == nullptr) continue;
    DecodeByManifest(event, *provider, *definition, &out);
    return out;
  }
  out.provider_name = at->second.front()->name;
  return out;
}

std::string_view EventDecoder::ProviderName(const GUID& provider) const {
  const auto at = state_->providers.find(provider);
  return at == state_->providers.end() ? std::string_view() : at->second.front()->name;
}

}  // namespace varnel::formats

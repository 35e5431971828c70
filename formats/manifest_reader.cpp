#include "formats/manifest_reader.h"

#include <tinyxml2.h>

#include <algorithm>
#include <string>
#include <unordered_map>
#include <utility>

#include "formats/guid_text.h"
#include "formats/manifest_names.h"
#include "formats/manifest_strings.h"
#include "formats/manifest_template.h"
#include "formats/manifest_xml.h"
#include "formats/text_encoding.h"

namespace varnel::formats {

using tinyxml2::XMLElement;

namespace {

/// The file as UTF-8 without a byte order mark. UTF-16 without a mark is known by the zero half of its first character.
std::string ToUtf8(std::span<const std::byte> bytes) {
  const auto byte = [&](std::size_t i) { return i < bytes.size() ? std::to_integer<unsigned>(bytes[i]) : 0x100u; };
  if (byte(0) == 0xFF && byte(1) == 0xFE) return Utf16BytesToUtf8(bytes.subspan(2));
  if (byte(0) == 0xFE && byte(1) == 0xFF) return Utf16BytesToUtf8(bytes.subspan(2), ByteOrder::kBig);
  if (byte(0) == '<' && byte(1) == 0) return Utf16BytesToUtf8(bytes);
  if (byte(0) == 0 && byte(1) == '<') return Utf16BytesToUtf8(bytes, ByteOrder::kBig);
  if (byte(0) == 0xEF && byte(1) == 0xBB && byte(2) == 0xBF) bytes = bytes.subspan(3);
  return ToValidUtf8({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

class ManifestReader {
 public:
  ManifestReader(const XMLElement& root, const ManifestErrors& errors) : root_(root), errors_(errors), strings_(root) {}

  Result<InstrumentationManifest> Read();

 private:
  /// Providers stand in instrumentation/events, at any depth, since the root can be an assembly's; some files have one
  /// beside <events>. Others of that name, such as those of performance counters, stand elsewhere.
  Status ReadProvidersBelow(const XMLElement& element);
  Status ReadProvider(const XMLElement& element);
  Status ReadIdentity(const XMLElement& element, ProviderManifest* provider);
  Status ReadTemplates(const XMLElement& element, ProviderManifest* provider);
  Status ReadEvents(const XMLElement& element, ProviderManifest* provider);
  Status ReadEvent(const XMLElement& element, ProviderManifest* provider);

  const XMLElement& root_;
  const ManifestErrors& errors_;
  ManifestStrings strings_;
  InstrumentationManifest manifest_;
  std::unordered_map<std::string, const EventLayout*> layouts_;  // of the provider at hand, by tid
};

Result<InstrumentationManifest> ManifestReader::Read() {
  manifest_.culture = strings_.culture();
  manifest_.string_count = static_cast<std::uint32_t>(strings_.size());
  if (Status status = ReadProvidersBelow(root_); !status.ok()) return status.error();
  if (manifest_.providers.empty()) {
    return errors_.At(root_, "no <provider> in <instrumentation> <events>: this is no instrumentation manifest");
  }
  return std::move(manifest_);
}

Status ManifestReader::ReadProvidersBelow(const XMLElement& element) {
  for (auto* child = element.FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
    const std::string_view parent = LocalName(element);
    const bool is_provider = LocalName(*child) == "provider" && (parent == "events" || parent == "instrumentation");
    Status status = is_provider ? ReadProvider(*child) : ReadProvidersBelow(*child);
    if (!status.ok()) return status;
  }
  return Ok();
}

Status ManifestReader::ReadProvider(const XMLElement& element) {
  ProviderManifest provider;
  provider.empty_layout.emplace_back();
  layouts_.clear();
  if (Status status = ReadIdentity(element, &provider); !status.ok()) return status;
  if (Status status = ReadNames(element, strings_, errors_, &provider); !status.ok()) return status;
  if (Status status = ReadMaps(element, strings_, errors_, &provider); !status.ok()) return status;
  if (Status status = ReadTemplates(element, &provider); !status.ok()) return status;
  if (Status status = ReadEvents(element, &provider); !status.ok()) return status;
  std::stable_sort(provider.events.begin(), provider.events.end(),
                   [](const EventDefinition& a, const EventDefinition& b) {
                     return a.id != b.id ? a.id < b.id : a.version < b.version;
                   });
  manifest_.providers.push_back(std::move(provider));
  return Ok();
}

Status ManifestReader::ReadIdentity(const XMLElement& element, ProviderManifest* provider) {
  provider->name = Attribute(element, "name");
  provider->symbol = Attribute(element, "symbol");
  provider->message = strings_.Resolve(Attribute(element, "message"), &provider->unresolved_references);
  if (provider->name.empty()) return errors_.At(element, "<provider> has no name");
  const std::string_view text = Attribute(element, "guid");
  const std::optional<GUID> guid = ParseGuid(text);
  if (!guid.has_value()) {
    return errors_.At(element, "provider \"" + provider->name + "\" has no valid guid: \"" + std::string(text) + "\"");
  }
  provider->guid = *guid;
  return Ok();
}

Status ManifestReader::ReadTemplates(const XMLElement& element, ProviderManifest* provider) {
  for (auto* group = FirstChild(element, "templates"); group != nullptr; group = NextSibling(*group, "templates")) {
    for (auto* child = FirstChild(*group, "template"); child != nullptr; child = NextSibling(*child, "template")) {
      Result<EventLayout> layout = ReadTemplate(*child, provider->maps, errors_);
      if (!layout.ok()) return layout.error();
      const EventLayout& kept = provider->templates.emplace_back(std::move(layout).value());
      if (!layouts_.emplace(kept.name, &kept).second) {
        return errors_.At(*child, "template \"" + kept.name + "\" is defined twice");
      }
    }
  }
  return Ok();
}

Status ManifestReader::ReadEvents(const XMLElement& element, ProviderManifest* provider) {
  for (auto* group = FirstChild(element, "events"); group != nullptr; group = NextSibling(*group, "events")) {
    for (auto* child = FirstChild(*group, "event"); child != nullptr; child = NextSibling(*child, "event")) {
      if (Status status = ReadEvent(*child, provider); !status.ok()) return status;
    }
  }
  return Ok();
}

Status ManifestReader::ReadEvent(const XMLElement& element, ProviderManifest* provider) {
  EventDefinition event;
  const Result<std::uint64_t> id = NumberAttribute(element, "value", std::nullopt, 0xFFFF, errors_);
  if (!id.ok()) return id.error();
  const Result<std::uint64_t> version = NumberAttribute(element, "version", 0, 0xFF, errors_);
  if (!version.ok()) return version.error();
  event.id = static_cast<std::uint16_t>(id.value());
  event.version = static_cast<std::uint8_t>(version.value());
  event.symbol = Attribute(element, "symbol");
  event.message = strings_.Resolve(Attribute(element, "message"), &provider->unresolved_references);
  ResolveEventNames(element, provider, &event);
  event.layout = &provider->empty_layout.front();
  if (const std::string name(Attribute(element, "template")); !name.empty()) {
    const auto at = layouts_.find(name);
    if (at == layouts_.end()) return errors_.At(element, "template \"" + name + "\" is not defined");
    event.layout = at->second;
  }
  provider->events.push_back(std::move(event));
  return Ok();
}

}  // namespace

Result<InstrumentationManifest> ReadManifest(std::span<const std::byte> bytes, std::string_view file_name) {
  const ManifestErrors errors(file_name);
  const std::string text = ToUtf8(bytes);
  tinyxml2::XMLDocument document;
  const tinyxml2::XMLError error = document.Parse(text.data(), text.size());
  if (error != tinyxml2::XML_SUCCESS) {
    return errors.AtLine(std::max(document.ErrorLineNum(), 1),
                         std::string("not well-formed XML (") + tinyxml2::XMLDocument::ErrorIDToName(error) + ")");
  }
  const XMLElement* root = document.RootElement();
  if (root == nullptr) return errors.AtLine(1, "holds no XML element");
  return ManifestReader(*root, errors).Read();
}

}  // namespace varnel::formats

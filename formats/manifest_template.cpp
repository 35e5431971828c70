#include "formats/manifest_template.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace varnel::formats {

using tinyxml2::XMLElement;

namespace {

constexpr std::uint64_t kMaxAmount = 0xFFFF;
constexpr std::size_t kMaxProperties = 0xFFFE;

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

bool TakesLength(SizeRule rule) {
  return rule == SizeRule::kUnicodeText || rule == SizeRule::kAnsiText || rule == SizeRule::kBinary;
}

/// Compiles one template. The element and the maps must outlive it.
class TemplateCompiler {
 public:
  TemplateCompiler(const XMLElement& element, const std::deque<ValueMap>& maps, const ManifestErrors& errors)
      : element_(element), maps_(maps), errors_(errors) {}

  Result<EventLayout> Compile();

 private:
  /// Where a property may look for the fields that tell its length or count: earlier members of its own structure,
  /// then top-level properties before the structure.
  struct Scope {
    std::size_t first_member;
    std::size_t top_level_end;
  };
  struct PendingStructure {
    const XMLElement* element;
    std::size_t index;
  };

  Status AddTopLevel();
  Status AddMembers(const PendingStructure& structure);
  Status AddData(const XMLElement& data, const Scope& scope);
  Status AddStructure(const XMLElement& structure);
  Status ReadTypes(const XMLElement& data, PropertyLayout* property);
  Status ReadMapName(const XMLElement& data, PropertyLayout* property);
  Result<Amount> ReadAmount(const XMLElement& element, const char* attribute, const Scope& scope);
  Status Append(const XMLElement& element, PropertyLayout property);

  const XMLElement& element_;
  const std::deque<ValueMap>& maps_;
  const ManifestErrors& errors_;
  EventLayout layout_;
  std::vector<PendingStructure> structures_;
};

Result<EventLayout> TemplateCompiler::Compile() {
  layout_.name = Attribute(element_, "tid");
  if (layout_.name.empty()) return errors_.At(element_, "<template> has no tid");
  if (Status status = AddTopLevel(); !status.ok()) return status.error();
  layout_.top_level_count = static_cast<std::uint16_t>(layout_.properties.size());
  for (const PendingStructure& structure : structures_) {
    if (Status status = AddMembers(structure); !status.ok()) return status.error();
  }
  FinishLayout(&layout_);
  return std::move(layout_);
}

Status TemplateCompiler::AddTopLevel() {
  for (auto* child = element_.FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
    const std::string_view kind = LocalName(*child);
    Status status = Ok();
    if (kind == "data" || kind == "binary") {
      status = AddData(*child, {layout_.properties.size(), layout_.properties.size()});
    } else if (kind == "struct") {
      status = AddStructure(*child);
    } else if (kind == "UserData") {
      layout_.has_user_data = true;
    }
    if (!status.ok()) return status;
  }
  return Ok();
}

Status TemplateCompiler::AddStructure(const XMLElement& structure) {
  PropertyLayout property;
  property.is_structure = true;
  Result<Amount> count = ReadAmount(structure, "count", {layout_.properties.size(), layout_.properties.size()});
  if (!count.ok()) return count.error();
  property.count = count.value();
  structures_.push_back({&structure, layout_.properties.size()});
  return Append(structure, std::move(property));
}

Status TemplateCompiler::AddMembers(const PendingStructure& structure) {
  const std::size_t first = layout_.properties.size();
  for (auto* child = structure.element->FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
    if (LocalName(*child) != "data") {
      return errors_.At(*child, "a <struct> holds <data> only, not <" + std::string(child->Name()) + ">");
    }
    if (Status status = AddData(*child, {first, structure.index}); !status.ok()) return status;
  }
  PropertyLayout& property = layout_.properties[structure.index];
  property.first_member = static_cast<std::uint16_t>(first);
  property.member_count = static_cast<std::uint16_t>(layout_.properties.size() - first);
  return Ok();
}

Status TemplateCompiler::AddData(const XMLElement& data, const Scope& scope) {
  PropertyLayout property;
  if (Status status = ReadTypes(data, &property); !status.ok()) return status;
  if (Status status = ReadMapName(data, &property); !status.ok()) return status;
  Result<Amount> count = ReadAmount(data, "count", scope);
  if (!count.ok()) return count.error();
  property.count = count.value();
  Result<Amount> length = ReadAmount(data, "length", scope);
  if (!length.ok()) return length.error();
  property.length = length.value();
  const InTypeTraits& traits = TraitsOf(property.in_type);
  if (property.length.told != Told::kNot && !TakesLength(traits.rule)) {
    return errors_.At(data, "<data> " + Quoted(Attribute(data, "name")) + " has a length, which " +
                                Quoted(Attribute(data, "inType")) + " does not take");
  }
  return Append(data, std::move(property));
}

Status TemplateCompiler::ReadTypes(const XMLElement& data, PropertyLayout* property) {
  std::string_view in_name = LocalName(Attribute(data, "inType"));
  if (in_name.empty() && LocalName(data) == "binary") in_name = TraitsOf(InType::kBinary).name;
  const std::optional<InType> in_type = InTypeByName(in_name);
  if (!in_type.has_value()) {
    return errors_.At(data, "<data> " + Quoted(Attribute(data, "name")) + " has an unknown inType " +
                                Quoted(Attribute(data, "inType")));
  }
  property->in_type = *in_type;
  property->out_type = TraitsOf(*in_type).default_out;
  const std::string_view out_name = LocalName(Attribute(data, "outType"));
  if (out_name.empty()) return Ok();
  const std::optional<OutType> out_type = OutTypeByName(out_name);
  if (!out_type.has_value()) {
    return errors_.At(data, "<data> " + Quoted(Attribute(data, "name")) + " has an unknown outType " +
                                Quoted(Attribute(data, "outType")));
  }
  property->out_type = *out_type;
  return Ok();
}

Status TemplateCompiler::ReadMapName(const XMLElement& data, PropertyLayout* property) {
  const std::string_view name = Attribute(data, "map");
  if (name.empty()) return Ok();
  const auto at = std::find_if(maps_.begin(), maps_.end(), [&](const ValueMap& map) { return map.name == name; });
  if (at == maps_.end()) return errors_.At(data, "map " + Quoted(name) + " is not defined");
  property->map = &*at;
  return Ok();
}

Result<Amount> TemplateCompiler::ReadAmount(const XMLElement& element, const char* attribute, const Scope& scope) {
  const std::string_view text = Attribute(element, attribute);
  if (text.empty()) return Amount{};
  if (text[0] >= '0' && text[0] <= '9') {
    const std::optional<std::uint64_t> number = ParseNumber(text);
    if (!number.has_value() || *number > kMaxAmount) {
      return errors_.At(element, std::string(attribute) + " " + Quoted(text) + " is no number up to 65535");
    }
    return Amount{Told::kFixed, static_cast<std::uint16_t>(*number)};
  }
  int index = layout_.Find(text, scope.first_member, layout_.properties.size() - scope.first_member);
  if (index < 0) index = layout_.Find(text, 0, scope.top_level_end);
  if (index < 0 || layout_.properties[index].is_structure) {
    return errors_.At(element, std::string(attribute) + " " + Quoted(text) + " names no earlier <data>");
  }
  return Amount{Told::kByField, static_cast<std::uint16_t>(index)};
}

Status TemplateCompiler::Append(const XMLElement& element, PropertyLayout property) {
  property.name = Attribute(element, "name");
  if (property.name.empty()) return errors_.At(element, "<" + std::string(element.Name()) + "> has no name");
  if (layout_.properties.size() >= kMaxProperties) return errors_.At(element, "the template has too many properties");
  layout_.properties.push_back(std::move(property));
  return Ok();
}

Result<ValueMap> ReadMap(const XMLElement& element, const ManifestStrings& strings, const ManifestErrors& errors,
                         std::uint32_t* unresolved) {
  ValueMap map;
  map.name = Attribute(element, "name");
  map.is_bitmap = LocalName(element) == "bitMap";
  if (map.name.empty()) return errors.At(element, "<" + std::string(element.Name()) + "> has no name");
  for (auto* entry = FirstChild(element, "map"); entry != nullptr; entry = NextSibling(*entry, "map")) {
    Result<std::uint64_t> value = NumberAttribute(*entry, "value", std::nullopt, 0xFFFFFFFF, errors);
    if (!value.ok()) return value.error();
    map.entries.push_back(
        {static_cast<std::uint32_t>(value.value()), strings.Resolve(Attribute(*entry, "message"), unresolved)});
  }
  return map;
}

}  // namespace

Status ReadMaps(const XMLElement& provider_element, const ManifestStrings& strings, const ManifestErrors& errors,
                ProviderManifest* provider) {
  for (auto* maps = FirstChild(provider_element, "maps"); maps != nullptr; maps = NextSibling(*maps, "maps")) {
    for (auto* child = maps->FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
      if (LocalName(*child) != "valueMap" && LocalName(*child) != "bitMap") continue;
      Result<ValueMap> map = ReadMap(*child, strings, errors, &provider->unresolved_references);
      if (!map.ok()) return map.error();
      provider->maps.push_back(std::move(map).value());
    }
  }
  return Ok();
}

Result<EventLayout> ReadTemplate(const XMLElement& element, const std::deque<ValueMap>& maps,
                                 const ManifestErrors& errors) {
  return TemplateCompiler(element, maps, errors).Compile();
}

}  // namespace varnel::formats

#include "formats/manifest_names.h"

#include <algorithm>
#include <string>
#include <utility>

#include "formats/winmeta.h"

namespace varnel::formats {

using tinyxml2::XMLElement;

namespace {

constexpr std::uint64_t kFirstOwnChannel = 16;
constexpr int kHighestKeywordBit = 63;

/// What the reading of every list needs.
struct NameContext {
  const ManifestStrings& strings;
  const ManifestErrors& errors;
  ProviderManifest* provider;
};

Result<NamedValue> ReadNamedValue(const XMLElement& element, const char* value_attribute, std::uint64_t max,
                                  const NameContext& context) {
  NamedValue named;
  named.name = Attribute(element, "name");
  named.message = context.strings.Resolve(Attribute(element, "message"), &context.provider->unresolved_references);
  Result<std::uint64_t> value = NumberAttribute(element, value_attribute, std::nullopt, max, context.errors);
  if (!value.ok()) return value.error();
  named.value = value.value();
  return named;
}

/// Calls `visit` with each <item> of each <list> below the parent, until one fails.
template <typename Visit>
Status ForEachItem(const XMLElement& parent, std::string_view list, std::string_view item, const Visit& visit) {
  for (auto* group = FirstChild(parent, list); group != nullptr; group = NextSibling(*group, list)) {
    for (auto* element = FirstChild(*group, item); element != nullptr; element = NextSibling(*element, item)) {
      if (Status status = visit(*element); !status.ok()) return status;
    }
  }
  return Ok();
}

Status ReadList(const XMLElement& parent, std::string_view list, std::string_view item, const char* value_attribute,
                std::uint64_t max, const NameContext& context, std::vector<NamedValue>* out) {
  return ForEachItem(parent, list, item, [&](const XMLElement& element) -> Status {
    Result<NamedValue> named = ReadNamedValue(element, value_attribute, max, context);
    if (!named.ok()) return named.error();
    out->push_back(std::move(named).value());
    return Ok();
  });
}

Status ReadTasks(const XMLElement& provider_element, const NameContext& context) {
  return ForEachItem(provider_element, "tasks", "task", [&](const XMLElement& element) -> Status {
    TaskDefinition task;
    Result<NamedValue> named = ReadNamedValue(element, "value", 0xFFFF, context);
    if (!named.ok()) return named.error();
    task.task = std::move(named).value();
    if (Status status = ReadList(element, "opcodes", "opcode", "value", 0xFF, context, &task.opcodes); !status.ok()) {
      return status;
    }
    context.provider->tasks.push_back(std::move(task));
    return Ok();
  });
}

/// An imported channel has the number of its name; one of the provider's own has its value, or the next free number.
Result<std::uint64_t> ChannelValue(const XMLElement& element, const NameContext& context) {
  if (const PredefinedName* known = PredefinedChannel(Attribute(element, "name")); known != nullptr) {
    return known->value;
  }
  std::uint64_t next = kFirstOwnChannel;
  for (const ChannelDefinition& channel : context.provider->channels) {
    if (channel.channel.value >= next) next = channel.channel.value + 1;
  }
  return NumberAttribute(element, "value", std::min<std::uint64_t>(next, 0xFF), 0xFF, context.errors);
}

Status ReadChannels(const XMLElement& provider_element, const NameContext& context) {
  for (auto* group = FirstChild(provider_element, "channels"); group != nullptr;
       group = NextSibling(*group, "channels")) {
    for (auto* element = group->FirstChildElement(); element != nullptr; element = element->NextSiblingElement()) {
      if (LocalName(*element) != "channel" && LocalName(*element) != "importChannel") continue;
      ChannelDefinition channel;
      channel.channel.name = Attribute(*element, "name");
      channel.channel.message =
          context.strings.Resolve(Attribute(*element, "message"), &context.provider->unresolved_references);
      Result<std::uint64_t> value = ChannelValue(*element, context);
      if (!value.ok()) return value.error();
      channel.channel.value = value.value();
      channel.id = Attribute(*element, "chid");
      if (channel.id.empty()) channel.id = channel.channel.name;
      context.provider->channels.push_back(std::move(channel));
    }
  }
  return Ok();
}

const NamedValue* FindByName(const std::vector<NamedValue>& list, std::string_view name) {
  const auto at = std::find_if(list.begin(), list.end(), [&](const NamedValue& item) { return item.name == name; });
  return at == list.end() ? nullptr : &*at;
}

/// The number and the label of a name: the provider's own, else a predefined one. Counts a name that neither knows.
std::uint64_t Resolve(std::string_view name, const NamedValue* own, const PredefinedName* predefined,
                      std::uint32_t* unresolved, std::string* label) {
  if (own != nullptr) {
    *label = own->display();
    return own->value;
  }
  if (predefined != nullptr) {
    *label = predefined->display;
    return predefined->value;
  }
  if (!name.empty()) ++*unresolved;
  return 0;
}

void ResolveTaskAndOpcode(const XMLElement& element, ProviderManifest* provider, EventDefinition* event) {
  const std::string_view task_name = Attribute(element, "task");
  const std::string_view opcode_name = Attribute(element, "opcode");
  const auto task = std::find_if(provider->tasks.begin(), provider->tasks.end(),
                                 [&](const TaskDefinition& item) { return item.task.name == task_name; });
  const bool has_task = !task_name.empty() && task != provider->tasks.end();
  event->task = static_cast<std::uint16_t>(Resolve(task_name, has_task ? &task->task : nullptr, nullptr,
                                                   &provider->unresolved_references, &event->task_name));
  if (opcode_name.empty()) return;
  const NamedValue* opcode = has_task ? FindByName(task->opcodes, opcode_name) : nullptr;
  if (opcode == nullptr) opcode = FindByName(provider->opcodes, opcode_name);
  event->opcode = static_cast<std::uint8_t>(Resolve(opcode_name, opcode, PredefinedOpcode(opcode_name),
                                                    &provider->unresolved_references, &event->opcode_name));
}

void ResolveKeywords(const XMLElement& element, ProviderManifest* provider, EventDefinition* event) {
  std::string_view rest = Attribute(element, "keywords");
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find_first_of(" \t\r\n"), rest.size());
    const std::string_view name = rest.substr(0, end);
    std::string label;
    event->keywords |= Resolve(name, FindByName(provider->keywords, name), PredefinedKeyword(name),
                               &provider->unresolved_references, &label);
    if (!label.empty()) event->keyword_names.push_back(std::move(label));
    rest = TrimBlanks(rest.substr(end));
  }
}

/// The first channel of a provider owns the highest keyword bit, the next one the bit below it, and so on; the bit goes
/// with every event of the channel.
void ResolveChannel(const XMLElement& element, ProviderManifest* provider, EventDefinition* event) {
  const std::string_view id = Attribute(element, "channel");
  if (id.empty()) return;
  for (std::size_t i = 0; i < provider->channels.size(); ++i) {
    const ChannelDefinition& channel = provider->channels[i];
    if (channel.id != id && channel.channel.name != id) continue;
    event->channel = static_cast<std::uint8_t>(channel.channel.value);
    event->channel_name = channel.channel.display();
    if (i <= kHighestKeywordBit) event->keywords |= std::uint64_t{1} << (kHighestKeywordBit - i);
    return;
  }
  ++provider->unresolved_references;
}

}  // namespace

Status ReadNames(const XMLElement& provider_element, const ManifestStrings& strings, const ManifestErrors& errors,
                 ProviderManifest* provider) {
  const NameContext context{strings, errors, provider};
  if (Status status = ReadChannels(provider_element, context); !status.ok()) return status;
  if (Status status = ReadList(provider_element, "levels", "level", "value", 0xFF, context, &provider->levels);
      !status.ok()) {
    return status;
  }
  if (Status status =
          ReadList(provider_element, "keywords", "keyword", "mask", ~std::uint64_t{0}, context, &provider->keywords);
      !status.ok()) {
    return status;
  }
  if (Status status = ReadList(provider_element, "opcodes", "opcode", "value", 0xFF, context, &provider->opcodes);
      !status.ok()) {
    return status;
  }
  return ReadTasks(provider_element, context);
}

void ResolveEventNames(const XMLElement& event_element, ProviderManifest* provider, EventDefinition* event) {
  const std::string_view level = Attribute(event_element, "level");
  if (!level.empty()) {
    event->level = static_cast<std::uint8_t>(Resolve(level, FindByName(provider->levels, level), PredefinedLevel(level),
                                                     &provider->unresolved_references, &event->level_name));
  }
  ResolveTaskAndOpcode(event_element, provider, event);
  ResolveKeywords(event_element, provider, event);
  ResolveChannel(event_element, provider, event);
}

}  // namespace varnel::formats

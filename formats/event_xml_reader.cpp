#include "formats/event_xml_reader.h"

#include <string>

#include "formats/event_xml_writer.h"
#include "formats/iso_time.h"
#include "formats/manifest_xml.h"

namespace varnel::formats {
namespace {

using tinyxml2::XMLElement;

/// An element's text; an entity in it is resolved already. Empty without one.
std::string_view TextOf(const XMLElement* element) {
  const char* text = element == nullptr ? nullptr : element->GetText();
  return text == nullptr ? std::string_view{} : std::string_view(text);
}

std::string_view AttributeOf(const XMLElement* element, const char* name) {
  const char* value = element == nullptr ? nullptr : element->Attribute(name);
  return value == nullptr ? std::string_view{} : std::string_view(value);
}

std::optional<std::uint32_t> SmallNumber(std::string_view text) {
  const auto number = ParseNumber(TrimBlanks(text));
  if (!number || *number > 0xFFFFFFFF) return std::nullopt;
  return static_cast<std::uint32_t>(*number);
}

void ReadSystem(const XMLElement& system, LoggedEvent* event) {
  const XMLElement* provider = FirstChild(system, "Provider");
  event->provider_name = AttributeOf(provider, "Name");
  event->provider_guid = AttributeOf(provider, "Guid");
  event->event_source_name = AttributeOf(provider, "EventSourceName");
  event->qualifiers = SmallNumber(AttributeOf(FirstChild(system, "EventID"), "Qualifiers"));
  event->version = SmallNumber(TextOf(FirstChild(system, "Version")));
  event->level = SmallNumber(TextOf(FirstChild(system, "Level")));
  event->task = SmallNumber(TextOf(FirstChild(system, "Task")));
  event->opcode = SmallNumber(TextOf(FirstChild(system, "Opcode")));
  event->keywords = ParseNumber(TrimBlanks(TextOf(FirstChild(system, "Keywords"))));
  const XMLElement* correlation = FirstChild(system, "Correlation");
  event->has_correlation = correlation != nullptr;
  event->activity_id = AttributeOf(correlation, "ActivityID");
  event->related_activity_id = AttributeOf(correlation, "RelatedActivityID");
  const XMLElement* execution = FirstChild(system, "Execution");
  event->process_id = SmallNumber(AttributeOf(execution, "ProcessID"));
  event->thread_id = SmallNumber(AttributeOf(execution, "ThreadID"));
  event->channel = TextOf(FirstChild(system, "Channel"));
  event->computer = TextOf(FirstChild(system, "Computer"));
  event->user_id = AttributeOf(FirstChild(system, "Security"), "UserID");
}

void ReadData(const XMLElement& event_data, LoggedEvent* event) {
  event->has_event_data = true;
  for (const XMLElement* child = event_data.FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement()) {
    LoggedEventData data;
    const std::string_view name = LocalName(*child);
    if (name == "Data" && child->FirstChildElement() == nullptr) {
      const char* of = child->Attribute("Name");
      if (of != nullptr) data.name = of;
      data.value = TextOf(child);
    } else if (name == "Binary" && child->FirstChildElement() == nullptr) {
      data.kind = LoggedEventData::Kind::kBinary;
      data.value = TextOf(child);
    } else {
      data.kind = LoggedEventData::Kind::kOther;
      AppendElement(*child, ElementOrigin::kPlatform, &data.value);
    }
    event->data.push_back(std::move(data));
  }
}

std::string AsXml(const XMLElement* element) {
  std::string xml;
  if (element != nullptr) AppendElement(*element, ElementOrigin::kPlatform, &xml);
  return xml;
}

}  // namespace

EventDocument::EventDocument() : document_(/*processEntities=*/true, tinyxml2::PRESERVE_WHITESPACE) {}

bool EventDocument::Parse(std::string_view xml) {
  event_ = nullptr;
  if (document_.Parse(xml.data(), xml.size()) != tinyxml2::XML_SUCCESS) return false;
  const XMLElement* root = document_.RootElement();
  if (root == nullptr || LocalName(*root) != "Event") return false;
  event_ = root;
  return true;
}

std::optional<EventIdentity> IdentityOf(const XMLElement& event) {
  const XMLElement* system = FirstChild(event, "System");
  if (system == nullptr) return std::nullopt;
  const auto number = ParseNumber(TrimBlanks(TextOf(FirstChild(*system, "EventRecordID"))));
  if (!number) return std::nullopt;
  const auto time = ParseIsoTime(AttributeOf(FirstChild(*system, "TimeCreated"), "SystemTime"));
  return EventIdentity{*number, time.value_or(0), AttributeOf(FirstChild(*system, "Provider"), "Name")};
}

Result<LoggedEvent> ReadEvent(const XMLElement& event) {
  const auto identity = IdentityOf(event);
  if (!identity) return Error{"the event has no System element with an EventRecordID"};
  const XMLElement& system = *FirstChild(event, "System");
  const auto id = SmallNumber(TextOf(FirstChild(system, "EventID")));
  if (!id) return Error{"the event has no EventID that is a number"};
  LoggedEvent read;
  read.event_id = *id;
  read.record_id = identity->record_id;
  read.time_created = identity->time_created;
  ReadSystem(system, &read);
  const XMLElement* data = FirstChild(event, "EventData");
  if (data != nullptr) ReadData(*data, &read);
  read.user_data = AsXml(FirstChild(event, "UserData"));
  read.rendering_info = AsXml(FirstChild(event, "RenderingInfo"));
  return read;
}

Result<LoggedEvent> ReadEventXml(std::string_view xml) {
  EventDocument document;
  if (!document.Parse(xml)) return Error{"the text is no well-formed event"};
  return ReadEvent(*document.event());
}

}  // namespace varnel::formats

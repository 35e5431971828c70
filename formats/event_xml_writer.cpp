#include "formats/event_xml_writer.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "formats/manifest_xml.h"
#include "formats/value_text.h"

namespace varnel::formats {
namespace {

using tinyxml2::XMLElement;
using tinyxml2::XMLNode;

constexpr std::string_view kNamespace = "http://schemas.microsoft.com/win/2004/08/events/event";

/// "0x" and exactly 8 or 16 lower-case digits: how libevtx writes the hexadecimal types.
bool IsFixedWidthHex(std::string_view text) {
  if ((text.size() != 10 && text.size() != 18) || !text.starts_with("0x")) return false;
  return text.find_first_not_of("0123456789abcdef", 2) == std::string_view::npos;
}

/// "2026-11-21T15:08:00.123456700Z": a FILETIME with two digits that it never had.
bool IsNineDigitTime(std::string_view text) {
  constexpr std::string_view kShape = "dddd-dd-ddTdd:dd:dd.ddddddd00Z";
  return std::equal(text.begin(), text.end(), kShape.begin(), kShape.end(),
                    [](char c, char shape) { return shape == 'd' ? c >= '0' && c <= '9' : c == shape; });
}

std::string PlatformValue(std::string_view text) {
  if (IsFixedWidthHex(text)) {
    const std::size_t digit = std::min(text.find_first_not_of('0', 2), text.size() - 1);
    return "0x" + std::string(text.substr(digit));
  }
  if (IsNineDigitTime(text)) return std::string(text.substr(0, text.size() - 3)) + 'Z';
  return std::string(text);
}

/// Walks an element and what is in it.
class ElementWriter {
 public:
  ElementWriter(ElementOrigin origin, std::string* out) : origin_(origin), out_(out) {}

  /// `in_payload`: below <EventData> or <UserData>, where the event's own template made the elements.
  void Write(const XMLElement& element, bool in_payload) {
    const std::string_view name = LocalName(element);
    *out_ += '<';
    *out_ += element.Name();
    WriteAttributes(element);
    if (element.NoChildren() && !OpensWithoutText(element, in_payload)) {
      *out_ += "/>";
      return;
    }
    *out_ += '>';
    WriteChildren(element, in_payload || name == "EventData" || name == "UserData");
    *out_ += "</";
    *out_ += element.Name();
    *out_ += '>';
  }

 private:
  bool OpensWithoutText(const XMLElement& element, bool in_payload) const {
    return origin_ == ElementOrigin::kLibevtx ? in_payload : element.ClosingType() == XMLElement::OPEN;
  }

  void WriteAttributes(const XMLElement& element) {
    for (const auto* attribute = element.FirstAttribute(); attribute != nullptr; attribute = attribute->Next()) {
      *out_ += ' ';
      *out_ += attribute->Name();
      *out_ += "='";
      WriteValue(attribute->Value());
      *out_ += '\'';
    }
  }

  void WriteChildren(const XMLElement& element, bool in_payload) {
    // Blanks between elements are layout; beside a text alone they belong to the text.
    const bool mixed = element.FirstChildElement() != nullptr;
    for (const XMLNode* node = element.FirstChild(); node != nullptr; node = node->NextSibling()) {
      if (const XMLElement* child = node->ToElement()) {
        Write(*child, in_payload);
      } else if (node->ToText() != nullptr) {
        const std::string_view text = node->Value();
        if (!mixed || !TrimBlanks(text).empty()) WriteValue(text);
      }
    }
  }

  void WriteValue(std::string_view text) {
    AppendEscaped(origin_ == ElementOrigin::kLibevtx ? PlatformValue(text) : std::string(text), out_);
  }

  const ElementOrigin origin_;
  std::string* const out_;
};

/// Composes an event from values.
class EventWriter {
 public:
  explicit EventWriter(const LoggedEvent& event) : event_(event) {}

  std::string Write() {
    out_ = "<Event xmlns='" + std::string(kNamespace) + "'><System>";
    WriteSystem();
    out_ += "</System>";
    WriteData();
    out_ += event_.user_data + event_.rendering_info + "</Event>";
    return std::move(out_);
  }

 private:
  void Attribute(std::string_view name, std::string_view value) {
    out_ += ' ';
    out_ += name;
    out_ += "='";
    AppendEscaped(value, &out_);
    out_ += '\'';
  }

  void OptionalAttribute(std::string_view name, std::string_view value) {
    if (!value.empty()) Attribute(name, value);
  }

  void Text(std::string_view name, std::string_view text) {
    (out_ += '<') += name;
    out_ += '>';
    AppendEscaped(text, &out_);
    (out_ += "</") += name;
    out_ += '>';
  }

  void Number(std::string_view name, std::optional<std::uint32_t> value) {
    if (value) Text(name, std::to_string(*value));
  }

  void WriteSystem() {
    out_ += "<Provider";
    Attribute("Name", event_.provider_name);
    OptionalAttribute("Guid", event_.provider_guid);
    OptionalAttribute("EventSourceName", event_.event_source_name);
    out_ += "/><EventID";
    if (event_.qualifiers) Attribute("Qualifiers", std::to_string(*event_.qualifiers));
    out_ += '>' + std::to_string(event_.event_id) + "</EventID>";
    Number("Version", event_.version);
    Number("Level", event_.level);
    Number("Task", event_.task);
    Number("Opcode", event_.opcode);
    if (event_.keywords) WriteKeywords(*event_.keywords);
    out_ += "<TimeCreated";
    Attribute("SystemTime", FileTimeText(event_.time_created));
    out_ += "/>";
    Text("EventRecordID", std::to_string(event_.record_id));
    WriteOrigin();
  }

  void WriteKeywords(std::uint64_t keywords) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(keywords));
    Text("Keywords", text);
  }

  void WriteOrigin() {
    if (event_.has_correlation) {
      out_ += "<Correlation";
      OptionalAttribute("ActivityID", event_.activity_id);
      OptionalAttribute("RelatedActivityID", event_.related_activity_id);
      out_ += "/>";
    }
    if (event_.process_id || event_.thread_id) {
      out_ += "<Execution";
      Attribute("ProcessID", std::to_string(event_.process_id.value_or(0)));
      Attribute("ThreadID", std::to_string(event_.thread_id.value_or(0)));
      out_ += "/>";
    }
    Text("Channel", event_.channel);
    Text("Computer", event_.computer);
    out_ += "<Security";
    OptionalAttribute("UserID", event_.user_id);
    out_ += "/>";
  }

  void WriteData() {
    if (!event_.has_event_data && event_.data.empty()) return;
    if (event_.data.empty()) {
      out_ += "<EventData/>";
      return;
    }
    out_ += "<EventData>";
    for (const LoggedEventData& data : event_.data) WriteDatum(data);
    out_ += "</EventData>";
  }

  void WriteDatum(const LoggedEventData& data) {
    if (data.kind == LoggedEventData::Kind::kOther) {
      out_ += data.value;
      return;
    }
    if (data.kind == LoggedEventData::Kind::kBinary) {
      Text("Binary", data.value);
      return;
    }
    out_ += "<Data";
    if (data.name) Attribute("Name", *data.name);
    out_ += '>';
    AppendEscaped(data.value, &out_);
    out_ += "</Data>";
  }

  const LoggedEvent& event_;
  std::string out_;
};

/// What stands for a character; empty for one that stands for itself.
std::string_view EscapeOf(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&apos;";
    case '\r':
      return "&#xD;";
    case '\n':
      return "&#xA;";
    case '\t':
      return "&#x9;";
    default:
      return {};
  }
}

}  // namespace

void AppendEscaped(std::string_view text, std::string* out) {
  for (const char c : text) {
    const std::string_view escape = EscapeOf(c);
    if (escape.empty()) {
      *out += c;
    } else {
      *out += escape;
    }
  }
}

void AppendElement(const XMLElement& element, ElementOrigin origin, std::string* out) {
  ElementWriter(origin, out).Write(element, false);
}

std::string WriteEventXml(const LoggedEvent& event) {
  return EventWriter(event).Write();
}

}  // namespace varnel::formats

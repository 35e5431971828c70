#include "crash/crash_event_xml.h"

#include <tinyxml2.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "base/heap_block.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;

constexpr int kFractionUnitsPerMillisecond = 10000;

struct BugcheckField {
  const char* name;
  std::uint64_t CrashEventRecord::*value;
};
constexpr std::array<BugcheckField, 5> kBugcheckFields = {{
    {"BugcheckCode", &CrashEventRecord::BugcheckCode},
    {"BugcheckParameter1", &CrashEventRecord::BugcheckParameter1},
    {"BugcheckParameter2", &CrashEventRecord::BugcheckParameter2},
    {"BugcheckParameter3", &CrashEventRecord::BugcheckParameter3},
    {"BugcheckParameter4", &CrashEventRecord::BugcheckParameter4},
}};

/// Converts the text to UTF-8 and parses it. May run out of memory by throwing.
bool ParseWide(const char16_t* xml, XMLDocument* document) {
  platform::System& system = platform::SystemPort();
  if (xml == nullptr) return false;
  const std::int32_t size = system.WideCharToMultiByte(platform::kCpUtf8, 0, xml, -1, nullptr, 0);
  if (size <= 0) return false;
  const HeapBlock text(static_cast<std::size_t>(size));
  if (text.get() == nullptr) return false;
  if (system.WideCharToMultiByte(platform::kCpUtf8, 0, xml, -1, text.as<char>(), size) <= 0) return false;
  return document->Parse(text.as<char>()) == tinyxml2::XML_SUCCESS;
}

/// The event's number, as far as it is one; kept within 32 bits as the platform's own conversion does.
std::uint32_t EventIdFrom(const char* text) {
  using Limits = std::numeric_limits<std::int32_t>;
  const long long number = std::strtoll(text, nullptr, 10);
  return static_cast<std::uint32_t>(std::clamp<long long>(number, Limits::min(), Limits::max()));
}

/// False with fewer than six fields; the fraction may be missing.
bool TimeFrom(const char* text, std::uint64_t* time) {
  short year = 0;
  short month = 0;
  short day = 0;
  short hour = 0;
  short minute = 0;
  short second = 0;
  int fraction = 0;
  const int fields = std::sscanf(text, "%04hd-%02hd-%02hdT%02hd:%02hd:%02hd.%07dZ", &year, &month, &day, &hour, &minute,
                                 &second, &fraction);
  if (fields < 6) return false;
  platform::SYSTEMTIME system_time{};
  system_time.wYear = static_cast<std::uint16_t>(year);
  system_time.wMonth = static_cast<std::uint16_t>(month);
  system_time.wDay = static_cast<std::uint16_t>(day);
  system_time.wHour = static_cast<std::uint16_t>(hour);
  system_time.wMinute = static_cast<std::uint16_t>(minute);
  system_time.wSecond = static_cast<std::uint16_t>(second);
  system_time.wMilliseconds = static_cast<std::uint16_t>(fraction / kFractionUnitsPerMillisecond);
  platform::FILETIME file_time{};
  platform::SystemPort().SystemTimeToFileTime(&system_time, &file_time);  // a time that it refuses stays 0
  *time = platform::ToUint64(file_time);
  return true;
}

bool ReadHeader(const XMLDocument& document, std::uint32_t* event_id, std::uint64_t* time) {
  const XMLElement* const event = document.FirstChildElement("Event");
  const XMLElement* const system = event != nullptr ? event->FirstChildElement("System") : nullptr;
  const XMLElement* const id = system != nullptr ? system->FirstChildElement("EventID") : nullptr;
  if (id == nullptr || id->GetText() == nullptr) return false;
  const XMLElement* const created = system->FirstChildElement("TimeCreated");
  const char* const system_time = created != nullptr ? created->Attribute("SystemTime") : nullptr;
  if (system_time == nullptr || !TimeFrom(system_time, time)) return false;
  *event_id = EventIdFrom(id->GetText());
  return true;
}

void StoreField(const char* name, const char* text, CrashEventRecord* record) {
  for (const BugcheckField& field : kBugcheckFields) {
    if (std::strcmp(name, field.name) == 0) record->*field.value = std::strtoull(text, nullptr, 16);
  }
}

void ReadBugcheckData(const XMLDocument& document, CrashEventRecord* record) {
  const XMLElement* const event = document.FirstChildElement("Event");
  const XMLElement* const event_data = event != nullptr ? event->FirstChildElement("EventData") : nullptr;
  if (event_data == nullptr) return;
  for (const XMLElement* data = event_data->FirstChildElement("Data"); data != nullptr;
       data = data->NextSiblingElement("Data")) {
    const char* const name = data->Attribute("Name");
    const char* const text = data->GetText();
    if (name != nullptr && text != nullptr) StoreField(name, text, record);
  }
}

}  // namespace

std::uint32_t ParseEventHeader(const char16_t* xml, std::uint32_t* outEventId, std::uint64_t* outTimeStamp) {
  *outEventId = 0;
  *outTimeStamp = 0;
  try {
    XMLDocument document;
    return ParseWide(xml, &document) && ReadHeader(document, outEventId, outTimeStamp) ? 1 : 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

void ParseBugcheckData(const char16_t* xml, CrashEventRecord* record) {
  try {
    XMLDocument document;
    if (ParseWide(xml, &document)) ReadBugcheckData(document, record);
  } catch (const std::bad_alloc&) {
    // The record tells what it has.
  }
}

}  // namespace varnel

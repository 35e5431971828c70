#include "tests/support/log_event_xml.h"

#include <array>
#include <cstdio>

#include "tests/support/civil_time.h"

namespace varnel::testing {

std::string SystemTimeText(std::uint64_t time) {
  platform::SYSTEMTIME civil{};
  CivilFromFileTime(time, &civil);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%07uZ", civil.wYear, civil.wMonth, civil.wDay,
                civil.wHour, civil.wMinute, civil.wSecond, static_cast<unsigned>(time % 10'000'000));
  return text.data();
}

std::u16string Widened(std::string_view text) {
  return {text.begin(), text.end()};
}

std::u16string LogEventXml(std::string_view event_id, std::string_view system_time, std::string_view event_data) {
  std::string xml = "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System>";
  xml += "<Provider Name='Microsoft-Windows-Kernel' Guid='{331c3b3a-2005-44c2-ac5e-77220c37d6b4}'/><EventID>";
  xml += event_id;
  xml += "</EventID><Version>8</Version><Level>1</Level><Task>63</Task><Opcode>0</Opcode>";
  xml += "<Keywords>0x8000400000000002</Keywords><TimeCreated SystemTime='";
  xml += system_time;
  xml += "'/><EventRecordID>4711</EventRecordID><Correlation/><Execution ProcessID='4' ThreadID='8'/>";
  xml += "<Channel>System</Channel><Computer>machine</Computer><Security UserID='S-1-5-18'/></System><EventData>";
  xml += event_data;
  xml += "</EventData></Event>";
  return Widened(xml);
}

std::string DataElements(const NamedTexts& data) {
  std::string elements;
  for (const auto& [name, text] : data) elements += "<Data Name='" + name + "'>" + text + "</Data>";
  return elements;
}

std::u16string BootEventXml(std::uint64_t time) {
  return LogEventXml("12", SystemTimeText(time),
                     DataElements({{"MajorVersion", "10"}, {"StartTime", SystemTimeText(time)}}));
}

std::u16string CrashEventXml(std::uint64_t time, std::uint32_t code, const std::vector<std::string>& parameters) {
  NamedTexts data = {{"BugcheckCode", std::to_string(code)}};
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    data.emplace_back("BugcheckParameter" + std::to_string(i + 1), parameters[i]);
  }
  data.emplace_back("SleepInProgress", "0");
  data.emplace_back("PowerButtonTimestamp", "0");
  return LogEventXml("41", SystemTimeText(time), DataElements(data));
}

}  // namespace varnel::testing

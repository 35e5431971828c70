// Exported logs that a test composes.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace varnel::host {

/// One event as an export has it.
inline std::string EventText(int record, const std::string& provider, int event, const std::string& time,
                             const std::string& data) {
  return "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><Provider Name='" + provider +
         "'/><EventID>" + std::to_string(event) + "</EventID><Level>4</Level><TimeCreated SystemTime='" + time +
         "'/><EventRecordID>" + std::to_string(record) +
         "</EventRecordID><Channel>System</Channel><Computer>pc</Computer></System><EventData>" + data +
         "</EventData></Event>\n";
}

inline std::vector<std::byte> BytesOf(const std::string& text) {
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  return {begin, begin + text.size()};
}

}  // namespace varnel::host

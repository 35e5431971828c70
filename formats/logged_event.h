// LoggedEvent: one event of an event log as a plain value. The fields are those of the event's XML; text is UTF-8 as
// the log has it. No methods; copies are deep.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace varnel::formats {

/// One child of <EventData>.
struct LoggedEventData {
  enum class Kind { kData, kBinary, kOther };

  Kind kind = Kind::kData;
  std::optional<std::string> name;  // of a <Data>; events of classic sources have none
  std::string value;                // the text; of kOther the element itself, as XML
};

struct LoggedEvent {
  std::string provider_name;
  std::string provider_guid;      // as written, with braces; empty for a classic source
  std::string event_source_name;  // the older name of a source that has a provider too
  std::uint32_t event_id = 0;
  std::optional<std::uint32_t> qualifiers;
  std::optional<std::uint32_t> version;
  std::optional<std::uint32_t> level;
  std::optional<std::uint32_t> task;
  std::optional<std::uint32_t> opcode;
  std::optional<std::uint64_t> keywords;
  std::uint64_t time_created = 0;  // 100 ns since 1601, UTC; 0 when there is none that can be read
  std::uint64_t record_id = 0;
  bool has_correlation = false;
  std::string activity_id;
  std::string related_activity_id;
  std::optional<std::uint32_t> process_id;
  std::optional<std::uint32_t> thread_id;
  std::string channel;
  std::string computer;
  std::string user_id;  // "S-1-5-18"; empty when there is none
  bool has_event_data = false;
  std::vector<LoggedEventData> data;
  std::string user_data;       // the whole <UserData> element in the platform's shape; empty when there is none
  std::string rendering_info;  // likewise <RenderingInfo>
};

}  // namespace varnel::formats

// The content of an instrumentation manifest, resolved: names are numbers, string references are texts, templates are
// layouts. Plain data, not changed after it was read; any thread may read. Texts are UTF-8.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "formats/event_layout.h"
#include "interfaces/guid.h"

namespace varnel::formats {

/// A keyword, level, task, opcode or channel.
struct NamedValue {
  std::string name;
  std::string message;  // resolved; empty when there is none
  std::uint64_t value = 0;

  /// What the platform shows: the message, else the name.
  const std::string& display() const noexcept { return message.empty() ? name : message; }
};

struct TaskDefinition {
  NamedValue task;
  std::vector<NamedValue> opcodes;  // those that are local to the task
};

struct ChannelDefinition {
  NamedValue channel;
  std::string id;  // what events name it by
};

struct EventDefinition {
  std::uint16_t id = 0;
  std::uint8_t version = 0;
  std::uint8_t channel = 0;
  std::uint8_t level = 0;
  std::uint8_t opcode = 0;
  std::uint16_t task = 0;
  std::uint64_t keywords = 0;  // with the bit of its channel
  std::string symbol;
  std::string message;
  // As the platform shows them; empty where the manifest says nothing.
  std::string level_name;
  std::string task_name;
  std::string opcode_name;
  std::string channel_name;
  std::vector<std::string> keyword_names;  // in the order of the manifest
  const EventLayout* layout = nullptr;     // never null; one without properties when the event has no template
};

/// Movable only: events point into `templates`, whose elements stay where they are when the manifest is moved.
struct ProviderManifest {
  ProviderManifest() = default;
  ProviderManifest(ProviderManifest&&) = default;
  ProviderManifest& operator=(ProviderManifest&&) = default;
  ProviderManifest(const ProviderManifest&) = delete;
  ProviderManifest& operator=(const ProviderManifest&) = delete;

  std::string name;
  std::string symbol;
  std::string message;
  GUID guid{};
  std::vector<ChannelDefinition> channels;
  std::vector<NamedValue> levels;
  std::vector<NamedValue> keywords;
  std::vector<TaskDefinition> tasks;
  std::vector<NamedValue> opcodes;
  std::deque<ValueMap> maps;
  std::deque<EventLayout> templates;
  std::deque<EventLayout> empty_layout;     // one element: the layout of events without a template
  std::vector<EventDefinition> events;      // by id, then version; of equal ones the first of the file stands first
  std::uint32_t unresolved_references = 0;  // names of tasks, opcodes, levels, keywords, channels or texts that miss

  /// The event of exactly this id and version; null when there is none.
  const EventDefinition* FindEvent(std::uint16_t id, std::uint8_t version) const;
};

struct InstrumentationManifest {
  std::vector<ProviderManifest> providers;  // in the order of the file; one GUID can stand there more than once
  std::string culture;                      // of the string tables that were used
  std::uint32_t string_count = 0;           // in those
};

}  // namespace varnel::formats

// EventDecoder: from one trace event to named values as text. It knows the layouts of the manifests that were added and
// those that TraceLogging events bring along.
// Adding is for one thread, before decoding; any number of threads may decode at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "formats/decoded_value.h"
#include "formats/event_input.h"
#include "formats/result.h"

namespace varnel::formats {

/// Where an event's layout came from.
enum class DecodingSource : std::uint8_t {
  kNone,          // nothing tells the layout: show the payload in hexadecimal
  kManifest,      // a manifest that was added
  kTraceLogging,  // the event's own items
  kString,        // the payload is one text
};

struct DecodedEvent {
  DecodingSource source = DecodingSource::kNone;
  std::string provider_name;  // empty when not known
  std::string event_name;     // of a TraceLogging event; of a manifest's event its symbol
  std::string level_name;
  std::string task_name;
  std::string opcode_name;
  std::vector<std::string> keyword_names;  // of the bits that the event carries
  std::string message;                     // with its %1 inserts left in place
  std::vector<DecodedProperty> properties;
  /// False when the payload ended, or a type could not be measured, before the last property; the earlier ones are
  /// there.
  bool complete = true;
};

class EventDecoder {
 public:
  EventDecoder();
  ~EventDecoder();
  EventDecoder(EventDecoder&&) noexcept;
  EventDecoder& operator=(EventDecoder&&) noexcept;

  /// Adds all providers of one instrumentation manifest. `file_name` serves the messages only. A later manifest wins
  /// over an earlier one with the same event. On an error ("file:line: reason") nothing is added.
  Status AddManifest(std::span<const std::byte> bytes, std::string_view file_name);

  /// Never fails: an event without a layout comes back with source kNone and no properties.
  DecodedEvent Decode(const EventInput& event) const;

  /// The provider's name in the manifests that were added; empty when none knows it.
  std::string_view ProviderName(const GUID& provider) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace varnel::formats

// Reads the XML text of one event: the platform's own form, an export's, or libevtx's. Names are met without their
// namespace prefix. Text in is UTF-8.
#pragma once

#include <tinyxml2.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "formats/logged_event.h"
#include "formats/result.h"

namespace varnel::formats {

/// A parsed event. It can be used again for the next text, which saves the allocations. One thread at a time.
class EventDocument {
 public:
  EventDocument();
  EventDocument(const EventDocument&) = delete;
  EventDocument& operator=(const EventDocument&) = delete;

  /// @return false when the text is not well-formed or its root is no <Event>; event() is then null.
  [[nodiscard]] bool Parse(std::string_view xml);

  /// Null before the first good Parse. Valid until the next one.
  const tinyxml2::XMLElement* event() const { return event_; }

 private:
  tinyxml2::XMLDocument document_;
  const tinyxml2::XMLElement* event_ = nullptr;
};

/// What tells an event from every other one of a log, and two copies of one event as the same.
struct EventIdentity {
  std::uint64_t record_id = 0;
  std::uint64_t time_created = 0;  // 0 when there is none that can be read
  std::string_view provider_name;  // stands in the document

  bool operator==(const EventIdentity&) const = default;
};

/// Nothing when there is no <System> with an <EventRecordID> that is a number.
std::optional<EventIdentity> IdentityOf(const tinyxml2::XMLElement& event);

/// An Error when there is no <System>, or no number in its <EventID> or <EventRecordID>. Other numbers that can't be
/// read are left out.
Result<LoggedEvent> ReadEvent(const tinyxml2::XMLElement& event);

/// The same from a text.
Result<LoggedEvent> ReadEventXml(std::string_view xml);

}  // namespace varnel::formats

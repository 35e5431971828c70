// Feeds query texts to the query language, and asks one event whether it matches, twice.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "formats/event_query.h"
#include "formats/event_xml_reader.h"

namespace {

using namespace varnel::formats;

constexpr char kEvent[] =
    "<Event><System><Provider Name='P' Guid='{331c3b3a-2005-44c2-ac5e-77220c37d6b4}'/><EventID Qualifiers='5'>41"
    "</EventID><Level>1</Level><Keywords>0x8000400000000002</Keywords><TimeCreated "
    "SystemTime='2026-11-21T10:00:00.5000000Z'/><EventRecordID>887</EventRecordID></System><EventData><Data "
    "Name='BugcheckCode'>159</Data><Data Name='T'>2026-11-20T09:00:00Z</Data><Data>x</Data></EventData></Event>";

const EventDocument& Event() {
  static const EventDocument* const document = [] {
    auto* made = new EventDocument;
    if (!made->Parse(kEvent)) std::abort();
    return made;
  }();
  return *document;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto query = EventQuery::Parse(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!query.ok()) {
    if (query.error().message.empty()) std::abort();
    return 0;
  }
  const bool matches = query.value()->Matches(*Event().event(), 134'000'000'000'000'000);
  // What it answers depends on the query and the event alone.
  if (query.value()->Matches(*Event().event(), 134'000'000'000'000'000) != matches) std::abort();
  return 0;
}

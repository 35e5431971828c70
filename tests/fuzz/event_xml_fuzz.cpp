// Feeds texts to the readers of exported event logs. The scanner must give pieces of the text in their order; an event
// that is read and written must read back as the same.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "formats/event_text_scanner.h"
#include "formats/event_xml_reader.h"
#include "formats/event_xml_writer.h"
#include "formats/text_encoding.h"
#include "formats/xml_encoding.h"

namespace {

using namespace varnel::formats;

void Require(bool good) {
  if (!good) std::abort();
}

void ReadOne(std::string_view text, EventDocument* document) {
  if (!document->Parse(text)) return;
  const auto identity = IdentityOf(*document->event());
  for (const ElementOrigin origin : {ElementOrigin::kPlatform, ElementOrigin::kLibevtx}) {
    std::string written;
    AppendElement(*document->event(), origin, &written);
    EventDocument again;
    Require(again.Parse(written));
    const auto same = IdentityOf(*again.event());
    Require(same.has_value() == identity.has_value() && (!same || same->record_id == identity->record_id));
    std::string twice;
    AppendElement(*again.event(), ElementOrigin::kPlatform, &twice);
    Require(twice == written);
  }
  const auto event = ReadEvent(*document->event());
  if (!event.ok()) return;
  const auto again = ReadEventXml(WriteEventXml(event.value()));
  Require(again.ok() && again.value().record_id == event.value().record_id &&
          again.value().data.size() == event.value().data.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const XmlEncoding encoding = EncodingOfXml(text);
  Require(!encoding.name.empty() && encoding.mark_bytes <= size);
  Require(WholeUtf8(text) <= size && CountInvalidUtf8(text) <= size);
  EventTextScanner scanner(
      [&text](std::uint64_t offset, std::span<char> into) -> std::size_t {
        if (offset >= text.size()) return 0;
        const std::size_t count = std::min<std::size_t>(into.size(), text.size() - offset);
        std::memcpy(into.data(), text.data() + offset, count);
        return count;
      },
      0, size);
  EventDocument document;
  EventTextScanner::Found found;
  std::uint64_t behind = 0;
  while (scanner.Next(&found)) {
    Require(found.offset >= behind && text.compare(found.offset, found.text.size(), found.text) == 0);
    behind = found.offset + found.text.size();
    std::uint64_t number = 0;
    static_cast<void>(RecordIdOfText(found.text, &number));
    static_cast<void>(TimeOfText(found.text));
    ReadOne(ToValidUtf8(found.text), &document);
  }
  ReadOne(text, &document);
  return 0;
}

// Feeds bytes to the manifest reader. What it takes is compiled to all that the Trace Data Helper makes of it, and the
// same bytes serve as a payload of each of its events.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "formats/manifest_reader.h"
#include "formats/payload_decoder.h"
#include "formats/payload_format.h"
#include "platform/embedded/tdh/schema_table.h"

namespace {

using namespace varnel;

void Require(bool good) {
  if (!good) std::abort();
}

void CheckPlaces(const formats::EventLayout& layout, std::span<const std::byte> payload) {
  std::vector<formats::PropertyPlace> places;
  formats::PlaceProperties(layout, 8, payload, &places);
  std::size_t end = 0;
  for (const formats::PropertyPlace& place : places) {
    Require(place.offset == end && place.size <= payload.size() - end);
    end += place.size;
  }
}

/// Every offset of the information leads to a text that ends within it.
void CheckInfo(const std::vector<std::byte>& info) {
  Require(info.size() >= 112);
  const auto* head = reinterpret_cast<const platform::TRACE_EVENT_INFO*>(info.data());
  Require(head->TopLevelPropertyCount <= head->PropertyCount);
  Require(info.size() >= 112 + std::size_t{head->PropertyCount} * 24);
  for (std::uint32_t i = 0; i < head->PropertyCount; ++i) {
    std::size_t at = head->EventPropertyInfoArray[i].NameOffset;
    Require(at % 2 == 0 && at != 0);
    while (true) {
      Require(at + 2 <= info.size());
      if (info[at] == std::byte{0} && info[at + 1] == std::byte{0}) break;
      at += 2;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  auto manifest = formats::ReadManifest(bytes, "input");
  if (!manifest.ok()) {
    Require(manifest.error().message.starts_with("input:"));
    return 0;
  }
  const std::span<const std::byte> payload = bytes.first(std::min<std::size_t>(size, 512));
  for (const formats::ProviderManifest& provider : manifest.value().providers) {
    for (const formats::EventDefinition& event : provider.events) {
      CheckPlaces(*event.layout, payload);
      std::vector<formats::DecodedProperty> properties;
      formats::FormatPayload(*event.layout, 8, payload, &properties);
      CheckInfo(embedded::EventSchema(provider, event).info());
    }
  }
  embedded::SchemaTable().With(std::move(manifest).value());
  return 0;
}

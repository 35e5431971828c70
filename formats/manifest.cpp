#include "formats/manifest.h"

#include <algorithm>

namespace varnel::formats {

const EventDefinition* ProviderManifest::FindEvent(std::uint16_t id, std::uint8_t version) const {
  const auto key = [](std::uint16_t i, std::uint8_t v) { return (std::uint32_t{i} << 8) | v; };
  const std::uint32_t wanted = key(id, version);
  const auto at = std::lower_bound(
      events.begin(), events.end(), wanted,
      [&](const EventDefinition& event, std::uint32_t value) { return key(event.id, event.version) < value; });
  return at != events.end() && key(at->id, at->version) == wanted ? &*at : nullptr;
}

}  // namespace varnel::formats

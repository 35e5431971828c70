// From the <maps> and <template> elements of a manifest to value maps and layouts. Internal to the manifest reader.
#pragma once

#include <tinyxml2.h>

#include <deque>

#include "formats/event_layout.h"
#include "formats/manifest.h"
#include "formats/manifest_strings.h"
#include "formats/manifest_xml.h"
#include "formats/result.h"

namespace varnel::formats {

/// Adds the valueMaps and bitMaps of a provider to its `maps`.
Status ReadMaps(const tinyxml2::XMLElement& provider_element, const ManifestStrings& strings,
                const ManifestErrors& errors, ProviderManifest* provider);

/// Compiles one template. Names of lengths, counts and maps are resolved; the layout points into `maps`.
Result<EventLayout> ReadTemplate(const tinyxml2::XMLElement& element, const std::deque<ValueMap>& maps,
                                 const ManifestErrors& errors);

}  // namespace varnel::formats

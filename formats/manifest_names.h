// The channels, levels, keywords, tasks and opcodes of one provider, and what an event's attributes mean by them.
// Internal to the manifest reader.
//
// A name that nothing defines only loses the label that it would have given: it is counted and the number stays 0. Such
// files exist (tools that print a registered provider write them), and their layouts are good.
#pragma once

#include <tinyxml2.h>

#include "formats/manifest.h"
#include "formats/manifest_strings.h"
#include "formats/manifest_xml.h"
#include "formats/result.h"

namespace varnel::formats {

/// Reads the five lists into the provider.
Status ReadNames(const tinyxml2::XMLElement& provider_element, const ManifestStrings& strings,
                 const ManifestErrors& errors, ProviderManifest* provider);

/// Fills in the descriptor and the names of an event from its attributes. ReadNames has filled the provider before.
void ResolveEventNames(const tinyxml2::XMLElement& event_element, ProviderManifest* provider, EventDefinition* event);

}  // namespace varnel::formats

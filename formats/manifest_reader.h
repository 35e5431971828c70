// Reads instrumentation manifests: the XML files that tell the layout of a provider's events.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "formats/manifest.h"
#include "formats/result.h"

namespace varnel::formats {

/// Reads a manifest of UTF-8, or of UTF-16 in either byte order with its mark. All providers of the file are compiled;
/// an error ("file:line: reason", with `file_name` as the file) leaves nothing. Any thread; nothing is kept.
Result<InstrumentationManifest> ReadManifest(std::span<const std::byte> bytes, std::string_view file_name);

}  // namespace varnel::formats

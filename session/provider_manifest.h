// The providers' manifests. The module composes one instrumentation manifest for each provider at each start, hands it
// to the decoding library as a file and deletes the file again. All seven are one document but for three attributes; it
// is the definition of the event layouts and of the keyword bits. The loaded layouts stay for the life of the process.
// Runs on the thread that starts the module; two processes that start at one moment would collide over the file names.
//
// Manifest schema: "Instrumentation Manifest Schema", Windows SDK documentation.
#pragma once

#include <cstdint>

#include "interfaces/guid.h"

namespace varnel {

/// Loads all seven; one provider's failure never stops the next. 0, or the code of the last failure, which is logged.
std::uint32_t LoadAllProviderXmlFile();

/// Builds, writes, loads and deletes one manifest. 0; 87 for a null argument; 31 when the document cannot be saved or
/// converted; 14 without memory; the last error when a file operation fails; the decoding library's code.
std::uint32_t LoadTargetProviderXmlFile(const GUID* guid, const char16_t* name);

}  // namespace varnel

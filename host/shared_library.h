// Loading a library by its path, as the system's loader does it. Each system has a file of its own. Any thread may
// call.
#pragma once

#include <string>

#include "formats/result.h"

namespace varnel::host {

/// Loads it; an Error is the loader's own reason. On Windows what it needs comes from the system folder alone.
formats::Result<void*> OpenLibrary(const std::string& path);

/// Null when it has no such export.
void* FindExport(void* library, const char* name);

void CloseLibrary(void* library);

/// Where the build and the packages put the module, in the order in which it is looked for; paths are relative to the
/// program's folder.
extern const char* const kModulePlaces[3];

/// The folder of the running program, in UTF-8.
std::string ProgramFolder();

}  // namespace varnel::host

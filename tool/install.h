// Puts the tool on the machine and takes it off. Called on the host's thread in an elevated process; no locks.
#pragma once

#include <cstdint>

namespace varnel {

/// Registers the boot-time session, makes sure that a session runs now, places the two files that symbol lookup needs
/// beside the module, and flushes the registry. `sourceFolder` holds the two files. May be repeated. 0, or the code of
/// the step that failed: what was done before stays done. A failed registration answers 0.
std::uint32_t InstallVarnel(const char16_t* sourceFolder);

/// Removes the boot-time registration and nothing else: running sessions, trace files, the two files and all records
/// stay. 0, or the last Win32 error.
std::uint32_t UninstallVarnel();

}  // namespace varnel

// Boots a machine as `wardlet machine boot` does: puts the platform's parts together that a boot needs.
#pragma once

#include <string>

#include "formats/result.h"
#include "platform/embedded/tools/boot.h"

namespace varnel::host {

/// An Error, and a machine as it was, while a module is attached to it. One thread; the process must not have loaded
/// the module.
formats::Result<embedded::BootReport> BootTheMachine(const std::string& folder);

/// What happened, one line for each thing.
std::string BootAsText(const embedded::BootReport& report);

}  // namespace varnel::host

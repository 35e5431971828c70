// Reads a manifest's file through the ports of the machine that the helper serves.
#pragma once

#include "platform/embedded/tdh/embedded_tdh.h"
#include "platform/files.h"
#include "platform/system.h"

namespace varnel::embedded {

/// The whole file, read with others allowed to read and write it. An error is the file operation's last error. Borrows
/// both ports for as long as the result is used.
EmbeddedTdh::ReadFile ReadThrough(platform::Files* files, platform::System* system);

}  // namespace varnel::embedded

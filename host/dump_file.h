// A crash dump on disk, mapped and read by place: nothing is read before it is asked for, and a file that is cut short
// while it is mapped has missing bytes instead of ending the program.
#pragma once

#include <memory>
#include <string>

#include "formats/dump/dump_source.h"
#include "formats/result.h"

namespace varnel::host {

/// Maps a plain file as it is at this moment. An Error tells why it can't be had; it does not name the file.
formats::Result<std::shared_ptr<const formats::DumpSource>> OpenDumpFile(const std::string& path);

}  // namespace varnel::host

// Opening a machine's dump file for the engine: by its path on the machine, under the machine's rules of sharing, as a
// map. The file is in use for as long as its source lives.
#pragma once

#include <memory>

#include "formats/dump/dump_source.h"
#include "platform/embedded/debugger/results.h"
#include "platform/files.h"
#include "platform/system.h"

namespace varnel::embedded {

/// Opens the file for reading, others may read it too, and looks whether it begins as a kernel dump does. Borrows the
/// ports, which outlive the source. 0, or: what the files port tells (0x80070002: no such file; 0x80004005 when it
/// fails without an error), 0x8007000B (no kernel dump), 0x80070570 (shorter than a dump's header).
platform::HRESULT OpenDump(platform::Files* files, platform::System* system, const char16_t* path,
                           std::shared_ptr<const formats::DumpSource>* source);

}  // namespace varnel::embedded

// Where a machine keeps its System log. Stateless; any thread.
#pragma once

#include <string>
#include <vector>

#include "platform/embedded/core/machine.h"

namespace varnel::embedded {

/// The files that the log is made of and that are there: System.evtx, System.xml and the machine's own
/// System-machine.xml, all in C:\Windows\System32\winevt\Logs. Host paths.
std::vector<std::string> SystemLogFiles(const Machine& machine);

/// The machine's own file, which its tools write; there or not. The folder is made when it is not there.
std::string MachineLogFile(const Machine& machine);

}  // namespace varnel::embedded

// Which machine folder a command works on.
#pragma once

#include <string>

#include "formats/result.h"

namespace CLI {  // NOLINT(readability-identifier-naming): the library's own name
class App;
}

namespace varnel::host {

/// Adds "--machine DIR" to a command.
void AddMachineOption(CLI::App* command, std::string* machine);

/// The same for a command that takes nothing else: the folder may also be given as a plain word.
void AddMachineOptionOrWord(CLI::App* command, std::string* machine);

/// The folder that was asked for, else the one that VARNEL_MACHINE names. An Error when there is neither, or when it is
/// no machine folder; nothing is changed either way.
formats::Result<std::string> ChooseMachine(const std::string& asked);

/// Chooses, and puts the choice into the environment, where the platform of this process (and of a module loaded
/// later) and of its children finds it. REQUIRES: no other thread runs, and the module was not loaded yet.
formats::Result<std::string> EnterMachine(const std::string& asked);

}  // namespace varnel::host

#include "host/machine_choice.h"

#include <cstdlib>

#include "CLI/CLI.hpp"
#include "platform/embedded/core/machine.h"

namespace varnel::host {

void AddMachineOption(CLI::App* command, std::string* machine) {
  command->add_option("--machine", *machine, "The machine folder; else VARNEL_MACHINE names it")->type_name("DIR");
}

void AddMachineOptionOrWord(CLI::App* command, std::string* machine) {
  command->add_option("DIR,--machine", *machine, "The machine folder; else VARNEL_MACHINE names it")->type_name("");
}

formats::Result<std::string> ChooseMachine(const std::string& asked) {
  std::string folder = asked;
  if (folder.empty()) {
    const char* named = std::getenv("VARNEL_MACHINE");
    if (named == nullptr || *named == '\0') {
      return formats::Error{"no machine folder: give --machine DIR or set VARNEL_MACHINE"};
    }
    folder = named;
  }
  const auto machine = embedded::Machine::Open(folder);
  if (!machine.ok()) return machine.error();
  return machine.value()->root();
}

formats::Result<std::string> EnterMachine(const std::string& asked) {
  auto folder = ChooseMachine(asked);
  if (folder.ok()) ::setenv("VARNEL_MACHINE", folder.value().c_str(), 1);
  return folder;
}

}  // namespace varnel::host

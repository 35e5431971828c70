#include "CLI/CLI.hpp"
#include "host/machine_choice.h"
#include "host/machine_losses.h"
#include "host/surroundings.h"
#include "platform/embedded/core/machine.h"

namespace varnel::host {
namespace {

class MachineFolder final : public Surroundings {
 public:
  explicit MachineFolder(std::shared_ptr<embedded::Machine> machine) : machine_(std::move(machine)) {}

  LossesBySession ReadSessionLosses() const override { return ReadMachineLosses(*machine_); }

 private:
  const std::shared_ptr<embedded::Machine> machine_;
};

}  // namespace

void Surroundings::AddOption(CLI::App* command, std::string* choice) {
  AddMachineOption(command, choice);
}

formats::Result<std::unique_ptr<Surroundings>> Surroundings::Enter(const std::string& choice) {
  const auto folder = EnterMachine(choice);
  if (!folder.ok()) return folder.error();
  auto machine = embedded::Machine::Open(folder.value());
  if (!machine.ok()) return machine.error();
  return std::unique_ptr<Surroundings>(new MachineFolder(std::move(machine).value()));
}

std::string ProgramAbout() {
  return "Runs the VarnelWardlet module as its host: collects the trace events of the framework's providers and "
         "prints\n"
         "each as one line of JSON. Off Windows it works on a machine folder, which stands for a whole Windows "
         "machine.\n";
}

std::string ProgramExamples() {
  return "Examples:\n"
         "  wardlet demo                              everything at once, in a temporary folder\n"
         "  wardlet machine new m                     a machine in the folder m\n"
         "  wardlet install --machine m               registers the module's trace session\n"
         "  wardlet run --machine m --idle-exit 2     prints what there is and ends\n"
         "  wardlet trace info file.etl               what a trace file holds\n"
         "\n"
         "\"wardlet COMMAND --help\" tells more about each. The environment variable VARNEL_MACHINE names the machine "
         "folder\n"
         "where --machine is not given.";
}

std::string ExampleChoice() {
  return " --machine m";
}

std::string StopWords() {
  return "SIGINT or SIGTERM; a second signal";
}

}  // namespace varnel::host

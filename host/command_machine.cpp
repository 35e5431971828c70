// wardlet machine: makes machine folders and looks into them.
#include <cstdio>
#include <memory>

#include "CLI/CLI.hpp"
#include "formats/result.h"
#include "host/exit_code.h"
#include "host/machine_choice.h"
#include "host/program.h"
#include "host/report.h"
#include "host/trace_file.h"
#include "platform/embedded/core/machine.h"

namespace varnel::host {
namespace {

int Info(const std::string& asked) {
  const auto folder = ChooseMachine(asked);
  if (!folder.ok()) return Fail(folder.error().message);
  const auto machine = embedded::Machine::Open(folder.value());
  if (!machine.ok()) return Fail(machine.error().message);
  const auto boot = machine.value()->ReadBoot();
  if (!boot.ok()) return Fail(boot.error().message);
  const bool same_host_boot = boot.value().host_boot_id == embedded::HostBootId();
  std::printf("folder   %s\n", folder.value().c_str());
  std::printf("drive C  %s\n", machine.value()->DrivePath('C').c_str());
  std::printf("boot     %llu, since %s%s\n", static_cast<unsigned long long>(boot.value().number),
              IsoTime(static_cast<std::int64_t>(boot.value().file_time), TimeDigits::kMicroseconds).c_str(),
              same_host_boot ? "" : " (the host was restarted since: no session of it runs)");
  return std::fflush(stdout) == 0 ? kExitGood : Fail("standard output can't be written");
}

void AddInfo(CLI::App* machine, Choice* choice) {
  auto folder = std::make_shared<std::string>();
  CLI::App* info = machine->add_subcommand("info", "Shows where a machine stands and its boot");
  AddMachineOption(info, folder.get());
  info->footer("Examples:\n  wardlet machine info --machine m");
  SetAction(info, choice, [folder] { return Info(*folder); });
}

}  // namespace

void AddMachineCommands(CLI::App* program, Choice* choice) {
  CLI::App* machine = program->add_subcommand("machine", "Makes machine folders and looks into them");
  machine->require_subcommand(1);
  machine->footer("Examples:\n  wardlet machine info --machine m");
  AddInfo(machine, choice);
  AddEmitCommand(machine, choice);
}

}  // namespace varnel::host

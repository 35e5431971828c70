// wardlet machine: makes machine folders, boots them, and looks into them.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "CLI/CLI.hpp"
#include "formats/result.h"
#include "host/exit_code.h"
#include "host/machine_boot.h"
#include "host/machine_choice.h"
#include "host/machine_crash.h"
#include "host/machine_report.h"
#include "host/program.h"
#include "host/report.h"
#include "host/text_output.h"
#include "host/trace_file.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/registry/lmdb_registry.h"
#include "platform/embedded/tools/machine_layout.h"
#include "platform/embedded/tools/registry_dump.h"

namespace varnel::host {
namespace {

int Print(const std::string& text) {
  return WriteWhole(STDOUT_FILENO, text) ? kExitGood : Fail(std::string("standard output: ") + std::strerror(errno));
}

int New(const std::string& folder) {
  const auto machine = embedded::NewMachine(folder);
  if (!machine.ok()) return Fail(machine.error().message);
  return kExitGood;
}

int Boot(const std::string& asked) {
  const auto folder = ChooseMachine(asked);
  if (!folder.ok()) return Fail(folder.error().message);
  const auto report = BootTheMachine(folder.value());
  if (!report.ok()) return Fail(report.error().message);
  return Print(BootAsText(report.value()));
}

struct CrashOptions {
  std::string machine;
  std::string code = "0xe2";
  std::vector<std::string> parameters;
  std::string bugcheck;
  std::string dump;
  bool power_loss = false;
};

// Code and parameters, given in one word or in several.
formats::Result<embedded::CrashFacts> FactsOf(const CrashOptions& options) {
  if (options.power_loss) return embedded::CrashFacts{};
  std::string text = options.bugcheck;
  if (text.empty()) {
    text = options.code;
    for (const std::string& parameter : options.parameters) text += "," + parameter;
  }
  return ParseBugcheck(text);
}

int CrashWithDump(const std::string& folder, const embedded::CrashFacts& facts, embedded::CrashDumpForm form) {
  const auto chosen = ChooseDumpForm(folder, form);
  if (!chosen.ok()) return Fail(chosen.error().message);
  Tell("CrashDumpEnabled of the machine is now " + std::to_string(CrashDumpType(form)));
  const auto left = CrashTheMachineWithDump(folder, facts, form);
  if (!left.ok()) return Fail(left.error().message);
  Tell(left.value().old_one_kept ? left.value().windows_path + " was there and stays: Overwrite is 0"
                                 : "the crash left " + left.value().windows_path);
  return kExitGood;
}

int Crash(const CrashOptions& options) {
  const auto facts = FactsOf(options);
  if (!facts.ok()) {
    Tell(facts.error().message);
    return kExitWrongUse;
  }
  const auto form = DumpFormByName(options.dump);
  const auto folder = ChooseMachine(options.machine);
  if (!folder.ok()) return Fail(folder.error().message);
  if (form) return CrashWithDump(folder.value(), facts.value(), *form);
  const auto crashed = CrashTheMachine(folder.value(), facts.value());
  return crashed.ok() ? kExitGood : Fail(crashed.error().message);
}

// A session is looked at through its control page, which is mapped for writing: who may not write there sees none, and
// must not be told that none runs.
formats::Status MayLookAtSessions(const embedded::Machine& machine) {
  const std::string lock = machine.SessionsPath() + "/lock";
  if (::access(lock.c_str(), R_OK | W_OK) == 0 || errno == ENOENT) return formats::Ok();
  return formats::Error{lock + ": " + std::strerror(errno)};
}

int Sessions(const std::string& asked, bool json) {
  const auto folder = ChooseMachine(asked);
  if (!folder.ok()) return Fail(folder.error().message);
  const auto machine = embedded::Machine::Open(folder.value());
  if (!machine.ok()) return Fail(machine.error().message);
  if (const auto may = MayLookAtSessions(*machine.value()); !may.ok()) return Fail(may.error().message);
  const auto sessions = embedded::ListSessions(*machine.value());
  return Print(json ? SessionsAsJson(sessions) : SessionsAsText(sessions));
}

int DumpKeys(const std::string& asked, const std::string& key, bool json) {
  const auto folder = ChooseMachine(asked);
  if (!folder.ok()) return Fail(folder.error().message);
  const auto machine = embedded::Machine::Open(folder.value());
  if (!machine.ok()) return Fail(machine.error().message);
  embedded::LmdbRegistry registry(machine.value()->RegistryPath());
  bool written = true;
  std::string block;
  const auto flush = [&written, &block] {
    written = written && WriteWhole(STDOUT_FILENO, block);
    block.clear();
  };
  const auto dumped = embedded::DumpRegistry(
      registry, key, json ? embedded::DumpForm::kJsonLines : embedded::DumpForm::kText, [&](std::string_view line) {
        block.append(line).append("\n");
        if (block.size() > 65536) flush();
      });
  flush();
  if (!dumped.ok()) return Fail(dumped.error().message);
  return written ? kExitGood : Fail(std::string("standard output: ") + std::strerror(errno));
}

int Info(const std::string& asked) {
  const auto folder = ChooseMachine(asked);
  if (!folder.ok()) return Fail(folder.error().message);
  const auto machine = embedded::Machine::Open(folder.value());
  if (!machine.ok()) return Fail(machine.error().message);
  const auto boot = machine.value()->ReadBoot();
  if (!boot.ok()) return Fail(boot.error().message);
  const auto may = MayLookAtSessions(*machine.value());
  const bool same_host_boot = boot.value().host_boot_id == embedded::HostBootId();
  const std::string sessions =
      may.ok() ? std::to_string(embedded::ListSessions(*machine.value()).size()) + " running" : "not seen";
  const int printed = Print("folder    " + folder.value() + "\ndrive C   " + machine.value()->DrivePath('C') +
                            "\nboot      " + std::to_string(boot.value().number) + ", since " +
                            IsoTime(static_cast<std::int64_t>(boot.value().file_time), TimeDigits::kMicroseconds) +
                            (same_host_boot ? "" : " (the host was restarted since: no session of it runs)") +
                            "\nsessions  " + sessions + "\n");
  return may.ok() ? printed : Fail(may.error().message);
}

void AddNew(CLI::App* machine, Choice* choice) {
  auto folder = std::make_shared<std::string>();
  CLI::App* make = machine->add_subcommand("new", "Makes a machine in a folder that is not there or empty");
  make->add_option("DIR", *folder, "The folder")->required()->type_name("");
  make->footer("Examples:\n  wardlet machine new m");
  SetAction(make, choice, [folder] { return New(*folder); });
}

void AddBoot(CLI::App* machine, Choice* choice) {
  auto folder = std::make_shared<std::string>();
  CLI::App* boot = machine->add_subcommand("boot", "Boots a machine: ends its sessions, starts the registered ones");
  AddMachineOptionOrWord(boot, folder.get());
  boot->footer(
      "Deletes what waits for the next boot, and gives each registered session's file its next number. Refuses while\n"
      "a module runs on the machine.\n"
      "\n"
      "Examples:\n"
      "  wardlet machine boot m");
  SetAction(boot, choice, [folder] { return Boot(*folder); });
}

void AddCrash(CLI::App* machine, Choice* choice) {
  auto options = std::make_shared<CrashOptions>();
  CLI::App* crash = machine->add_subcommand("crash", "Ends a machine's boot as a crash does");
  AddMachineOptionOrWord(crash, &options->machine);
  auto* code = crash->add_option("--code", options->code, "The stop code, decimal or 0x...; else 0xe2")->type_name("N");
  auto* parameters = crash->add_option("--parameters", options->parameters, "Up to four parameters of the stop code")
                         ->type_name("N")
                         ->expected(1, 4);
  auto* bugcheck = crash->add_option("--bugcheck", options->bugcheck, "The same in one word")
                       ->type_name("CODE[,P1..P4]")
                       ->excludes(code)
                       ->excludes(parameters);
  auto* dump = crash->add_option("--dump", options->dump, "Leaves a dump: small, kernel or complete")
                   ->type_name("FORM")
                   ->check(CLI::IsMember({"small", "kernel", "complete"}).description(""));
  auto* power = crash->add_flag("--power-loss", options->power_loss, "Power is lost: no stop code is written");
  power->excludes(code)->excludes(parameters)->excludes(bugcheck)->excludes(dump);
  crash->footer(
      "What the trace sessions had not written yet is lost, and the next boot logs event 41 behind its event 12.\n"
      "Refuses while a module runs on the machine.\n"
      "\n"
      "With --dump the machine's CrashDumpEnabled is set to that form first (3, 2 or 1). A small dump goes into the\n"
      "folder that MinidumpDir names, the others are the file that DumpFile names; the next run reports it.\n"
      "\n"
      "Examples:\n"
      "  wardlet machine crash m --dump small --bugcheck 0xd1,0x8,2,1,0xfffff80200031234\n"
      "  wardlet machine crash m --code 0x133 --parameters 1 0x1e00\n"
      "  wardlet machine crash m --power-loss && wardlet machine boot m");
  SetAction(crash, choice, [options] { return Crash(*options); });
}

void AddSessions(CLI::App* machine, Choice* choice) {
  auto folder = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  CLI::App* sessions = machine->add_subcommand("sessions", "Shows the trace sessions that run");
  AddMachineOptionOrWord(sessions, folder.get());
  sessions->add_flag("--json", *json, "One JSON object a line for each session");
  sessions->footer(
      "Examples:\n"
      "  wardlet machine sessions m\n"
      "  wardlet machine sessions m --json | jq .events_lost");
  SetAction(sessions, choice, [folder, json] { return Sessions(*folder, *json); });
}

void AddRegistry(CLI::App* machine, Choice* choice) {
  auto folder = std::make_shared<std::string>();
  auto key = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  CLI::App* registry = machine->add_subcommand("registry", "Prints the registry, or a key and all below it");
  AddMachineOption(registry, folder.get());
  registry->add_option("KEY", *key, "The key, from its root on (all of it)")->type_name("");
  registry->add_flag("--json", *json, "One JSON object a line for each key");
  registry->footer(
      "Examples:\n"
      "  wardlet machine registry --machine m 'HKLM\\SOFTWARE\\KelvoCLSID'\n"
      "  wardlet machine registry --machine m --json | jq -r .key");
  SetAction(registry, choice, [folder, key, json] { return DumpKeys(*folder, *key, *json); });
}

void AddInfo(CLI::App* machine, Choice* choice) {
  auto folder = std::make_shared<std::string>();
  CLI::App* info = machine->add_subcommand("info", "Shows where a machine stands, its boot and what runs");
  AddMachineOptionOrWord(info, folder.get());
  info->footer("Examples:\n  wardlet machine info m");
  SetAction(info, choice, [folder] { return Info(*folder); });
}

}  // namespace

void AddMachineCommands(CLI::App* program, Choice* choice) {
  CLI::App* machine = program->add_subcommand("machine", "Makes machine folders and looks into them");
  machine->require_subcommand(1);
  machine->footer(
      "Examples:\n"
      "  wardlet machine new m\n"
      "  wardlet machine boot m\n"
      "  wardlet machine emit --machine m --count 100");
  AddNew(machine, choice);
  AddBoot(machine, choice);
  AddCrash(machine, choice);
  AddEmitCommand(machine, choice);
  AddSessions(machine, choice);
  AddRegistry(machine, choice);
  AddInfo(machine, choice);
}

}  // namespace varnel::host

// wardlet events, wardlet crashes: the commands on event logs.
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "CLI/CLI.hpp"
#include "host/crashes.h"
#include "host/events.h"
#include "host/exit_code.h"
#include "host/machine_choice.h"
#include "host/option_checks.h"
#include "host/program.h"
#include "host/report.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/eventlog/log_text.h"
#include "platform/embedded/eventlog/system_log.h"

namespace varnel::host {
namespace {

// A check of an option.
std::string IsEncoding(const std::string& name) {
  return embedded::IsKnownEncoding(name) ? "" : "'" + name + "' is no encoding that iconv knows";
}

bool WantsTable(bool json) {
  return !json && ::isatty(STDOUT_FILENO) == 1;
}

void AddEvents(CLI::App* program, Choice* choice) {
  auto options = std::make_shared<EventsOptions>();
  auto json = std::make_shared<bool>(false);
  CLI::App* events = program->add_subcommand("events", "Prints the records of event logs (.evtx, or exported XML)");
  events->add_option("FILE", options->files, "Event logs")->required()->type_name("");
  events->add_option("--query", options->query, "Only the events that this query asks for")->type_name("XPATH");
  events->add_option("--newest", options->newest, "Only so many, the newest first")
      ->type_name("N")
      ->check(&IsPositiveNumber, "");
  events->add_option("--encoding", options->encoding, "Of exports that name none and are not UTF-8, as iconv calls it")
      ->type_name("NAME")
      ->check(&IsEncoding, "");
  events->add_flag("--json", *json, "JSON on a terminal too, one object a line; else a table stands there");
  events->footer(
      "The query language is that of the event log: child elements, attributes, \"and\", \"or\", brackets, band() and\n"
      "timediff(). Records that can't be read are left out and counted on standard error. Exit code 1 when a file\n"
      "could not be read; the others are shown all the same.\n"
      "\n"
      "Examples:\n"
      "  wardlet events System.evtx | jq -r .provider | sort | uniq -c\n"
      "  wardlet events --newest 20 System.evtx\n"
      "  wardlet events --query '*[System[EventID=41]]' System.evtx");
  SetAction(events, choice, [options, json] {
    options->table = WantsTable(*json);
    return Events(*options, stdout, stderr);
  });
}

int ShowCrashes(CrashesOptions options, const std::string& asked) {
  if (options.files.empty()) {
    const auto folder = ChooseMachine(asked);
    if (!folder.ok()) return Fail(folder.error().message);
    const auto machine = embedded::Machine::Open(folder.value());
    if (!machine.ok()) return Fail(machine.error().message);
    options.machine_files = embedded::SystemLogFiles(*machine.value());
    if (options.machine_files.empty()) return Fail(folder.value() + ": the machine has no System log yet");
  }
  return Crashes(options, stdout, stderr);
}

void AddCrashes(CLI::App* program, Choice* choice) {
  auto options = std::make_shared<CrashesOptions>();
  auto machine = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  CLI::App* crashes =
      program->add_subcommand("crashes", "Shows each unexpected restart that a machine's System log tells of");
  auto* files = crashes->add_option("FILE", options->files, "System logs (.evtx, or exported XML)")->type_name("");
  AddMachineOption(crashes, machine.get());
  crashes->get_option("--machine")->excludes(files);
  crashes->add_option("--encoding", options->encoding, "Of exports that name none and are not UTF-8, as iconv calls it")
      ->type_name("NAME")
      ->check(&IsEncoding, "");
  crashes->add_flag("--json", *json, "JSON on a terminal too, one object a line; else a table stands there");
  crashes->footer(
      "When the machine was back again, how long it had run and was down, and what had happened: a stop error with "
      "its\n"
      "name and parameters, the power button held, or power lost (or nothing written, which looks the same). Looks at\n"
      "the events' providers and reads numbers as the log writes them; the module's own texts read stop codes as\n"
      "hexadecimal and look at event numbers alone.\n"
      "\n"
      "Examples:\n"
      "  wardlet crashes System.evtx\n"
      "  wardlet crashes --machine m --json | jq -r .name");
  SetAction(crashes, choice, [options, machine, json] {
    options->table = WantsTable(*json);
    return ShowCrashes(*options, *machine);
  });
}

}  // namespace

void AddEventCommands(CLI::App* program, Choice* choice) {
  AddEvents(program, choice);
  AddCrashes(program, choice);
}

}  // namespace varnel::host

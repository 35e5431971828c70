// wardlet machine emit: a sample provider for all seven GUIDs, and left-over files composed by hand.
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "CLI/CLI.hpp"
#include "host/exit_code.h"
#include "host/left_over_file.h"
#include "host/machine_choice.h"
#include "host/program.h"
#include "host/report.h"
#include "platform/embedded/core/machine.h"

namespace varnel::host {
namespace {

struct EmitCommandOptions {
  std::string machine;
  std::string file;
  std::vector<std::string> events;
};

// The events of the options, where "-" stands for the lines of standard input.
formats::Result<std::vector<LeftOverEvent>> LeftOverEvents(const std::vector<std::string>& given) {
  std::vector<LeftOverEvent> events;
  auto before = static_cast<std::int64_t>(embedded::FileTimeNow());
  std::optional<formats::Error> failure;
  const auto take = [&](const std::string& text) {
    auto event = ParseLeftOverEvent(text, before);
    if (!event.ok()) {
      failure = event.error();
      return false;
    }
    before = event.value().time;
    events.push_back(std::move(event).value());
    return true;
  };
  for (const std::string& text : given) {
    if (text != "-") {
      if (!take(text)) return *failure;
      continue;
    }
    for (std::string line; std::getline(std::cin, line);) {
      if (!line.empty() && !take(line)) return *failure;
    }
  }
  return events;
}

int ComposeFile(const EmitCommandOptions& options) {
  const auto events = LeftOverEvents(options.events);
  if (!events.ok()) return Fail(events.error().message);
  std::string machine = options.machine;
  if (options.file == "temp" || options.file.rfind("auto:", 0) == 0) {
    const auto chosen = ChooseMachine(options.machine);
    if (!chosen.ok()) return Fail(chosen.error().message);
    machine = chosen.value();
  }
  const auto path = LeftOverPath(options.file, machine);
  if (!path.ok()) return Fail(path.error().message);
  const auto written = WriteLeftOverFile(path.value(), events.value());
  if (!written.ok()) return Fail(written.error().message);
  std::printf("%s\n", path.value().c_str());
  return std::fflush(stdout) == 0 ? kExitGood : Fail("standard output can't be written");
}

}  // namespace

void AddEmitCommand(CLI::App* machine, Choice* choice) {
  auto options = std::make_shared<EmitCommandOptions>();
  CLI::App* emit = machine->add_subcommand("emit", "Writes sample events, or composes a left-over trace file");
  AddMachineOption(emit, &options->machine);
  emit->add_option(
          "--file", options->file,
          "Composes a trace file: \"temp\" or \"auto:N\" under the name of a left-over one of the machine, else "
          "a path; prints the path")
      ->type_name("FILE")
      ->required();
  emit->add_option(
          "--event", options->events,
          "TIME,COUNTER[,provider=NAME][,keyword=N][,flags=N][,template=ansi|wide|binary][,text=TEXT]; TIME in "
          "100 ns since 1601, or +N after the event before (the first: after now); \"-\" reads lines")
      ->type_name("EVENT")
      ->allow_extra_args(false);
  emit->footer(
      "Examples:\n"
      "  wardlet machine emit --machine m --file temp --event +0,1 --event +10,2 --event +10,2\n"
      "  wardlet machine emit --file odd.etl --event - < events");
  SetAction(emit, choice, [options] { return ComposeFile(*options); });
}

}  // namespace varnel::host

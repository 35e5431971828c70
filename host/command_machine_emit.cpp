// wardlet machine emit: a sample provider for all seven GUIDs, and left-over files composed by hand.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CLI/CLI.hpp"
#include "host/emitter.h"
#include "host/exit_code.h"
#include "host/left_over_file.h"
#include "host/machine_choice.h"
#include "host/option_checks.h"
#include "host/program.h"
#include "host/report.h"
#include "host/stop_signals.h"
#include "platform/embedded/core/machine.h"

namespace varnel::host {
namespace {

struct EmitCommandOptions {
  std::string machine;
  std::string file;
  std::vector<std::string> events;
  std::vector<std::string> providers;
  std::vector<std::string> keywords;
  std::string kind = "ansi";
  std::string size = "0";
  EmitRun run;
  bool quiet = false;
};

// A check of an option: events a second.
std::string IsRate(const std::string& text) {
  const double rate = std::strtod(text.c_str(), nullptr);
  return rate >= 0 && rate <= 1e9 ? "" : "'" + text + "' is no rate from 0 to 1e9";
}

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
    std::size_t number = 0;
    for (std::string line; std::getline(std::cin, line);) {
      ++number;
      if (!line.empty() && !take(line)) {
        return formats::Error{"standard input:" + std::to_string(number) + ": " + failure->message};
      }
    }
  }
  return events;
}

int WrongValue(const std::string& message) {
  Tell(message);
  return kExitWrongUse;
}

int ComposeFile(const EmitCommandOptions& options) {
  for (const std::string& text : options.events) {
    if (text == "-") continue;
    if (const auto event = ParseLeftOverEvent(text, 0); !event.ok()) return WrongValue(event.error().message);
  }
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
  return std::fflush(stdout) == 0 ? kExitGood : Fail(std::string("standard output: ") + std::strerror(errno));
}

formats::Status TakeProviders(const EmitCommandOptions& options, EmitRun* run) {
  for (const std::string& name : options.providers) {
    run->providers.push_back(FindProvider(name));
    if (run->providers.back() == nullptr) return formats::Error{"'" + name + "' is none of the seven providers"};
  }
  if (!run->providers.empty()) return formats::Ok();
  for (const KnownProvider& provider : kProviders) run->providers.push_back(&provider);
  return formats::Ok();
}

formats::Status TakeKeywords(const EmitCommandOptions& options, EmitRun* run) {
  if (options.keywords.empty()) return formats::Ok();
  run->plan.keywords.clear();
  for (const std::string& text : options.keywords) {
    const auto keyword = ParseNumber(text);
    if (!keyword.ok()) return keyword.error();
    const std::uint64_t bit = keyword.value();
    if (bit < 0x8 || bit > 0x200000000 || (bit & (bit - 1)) != 0) {
      return formats::Error{"keyword " + text + " is no module's: one bit of 0x8 to 0x200000000"};
    }
    run->plan.keywords.push_back(bit);
  }
  return formats::Ok();
}

formats::Status TakeSize(const EmitCommandOptions& options, EmitRun* run) {
  constexpr std::uint64_t kLargest = 60000;
  const std::size_t colon = std::min(options.size.find(':'), options.size.size());
  const auto low = ParseNumber(std::string_view(options.size).substr(0, colon));
  const auto high = colon == options.size.size() ? low : ParseNumber(std::string_view(options.size).substr(colon + 1));
  if (!low.ok() || !high.ok() || low.value() > high.value() || high.value() > kLargest) {
    return formats::Error{"size '" + options.size + "' is neither N nor MIN:MAX, up to 60000"};
  }
  run->plan.min_size = static_cast<std::uint32_t>(low.value());
  run->plan.max_size = static_cast<std::uint32_t>(high.value());
  return formats::Ok();
}

int EmitEvents(const EmitCommandOptions& options) {
  EmitRun run = options.run;
  for (const auto take : {&TakeProviders, &TakeKeywords, &TakeSize}) {
    const auto taken = take(options, &run);
    if (!taken.ok()) return WrongValue(taken.error().message);
  }
  if (options.kind == "wide") run.plan.templates = {EmitTemplate::kWide};
  if (options.kind == "binary") run.plan.templates = {EmitTemplate::kBinary};
  if (options.kind == "mixed") {
    run.plan.templates = {EmitTemplate::kAnsi, EmitTemplate::kWide, EmitTemplate::kBinary};
  }
  if (run.plan.count == 0) run.plan.count = std::numeric_limits<std::uint64_t>::max();
  const auto machine = ChooseMachine(options.machine);
  if (!machine.ok()) return Fail(machine.error().message);
  run.machine = machine.value();
  const StopSignals signals;
  const auto totals = Emit(run, [&signals] { return signals.WaitFor(std::chrono::milliseconds(0)); });
  if (!totals.ok()) return Fail(totals.error().message);
  if (options.quiet) return kExitGood;
  std::string line = std::to_string(totals.value().written) + " events written";
  if (totals.value().lost > 0) line += ", " + std::to_string(totals.value().lost) + " lost";
  if (totals.value().unheard > 0) {
    line += ", " + std::to_string(totals.value().unheard) + " not written since no session listens";
  }
  Tell(line);
  return kExitGood;
}

// The first option on the line that says nothing about a composed file; empty without one.
std::string OptionOfEmitting(const CLI::App& emit) {
  for (const CLI::Option* option : emit.get_options()) {
    const bool composing = option->check_lname("file") || option->check_lname("event") ||
                           option->check_lname("machine") || option->check_lname("quiet");
    if (option->count() > 0 && !composing) return option->get_name();
  }
  return {};
}

int EmitOrCompose(const CLI::App& emit, const EmitCommandOptions& options) {
  if (options.file.empty()) {
    return options.events.empty() ? EmitEvents(options) : WrongValue("--event goes with --file");
  }
  if (options.events.empty()) return WrongValue("--file needs an --event (\"--event -\" reads them as lines)");
  const std::string other = OptionOfEmitting(emit);
  if (!other.empty()) return WrongValue(other + " does not go with --file; each --event tells its own");
  return ComposeFile(options);
}

void AddEventOptions(CLI::App* emit, EmitCommandOptions* options) {
  EmitRun& run = options->run;
  emit->add_option("--provider", options->providers, "A provider's name or GUID; may be repeated (all seven)")
      ->type_name("NAME")
      ->allow_extra_args(false);
  emit->add_option("--count", run.plan.count, "Events of each provider; 0: until it is stopped")
      ->type_name("N")
      ->check(&IsWholeNumber, "")
      ->capture_default_str();
  emit->add_option("--first", run.plan.first_number, "The first running number")
      ->type_name("N")
      ->check(&IsWholeNumber, "")
      ->capture_default_str();
  emit->add_option("--rate", run.rate, "Events a second over all; 0: as fast as it goes")
      ->type_name("R")
      ->check(&IsRate, "")
      ->capture_default_str();
  emit->add_option("--threads", run.threads, "Threads of each provider, 64 at most")
      ->type_name("N")
      ->check(CLI::Range(1u, 64u).description(""))
      ->capture_default_str();
  emit->add_option("--keyword", options->keywords, "A module's keyword; may be repeated, then taken in turn (0x80)")
      ->type_name("N")
      ->allow_extra_args(false);
  emit->add_option("--template", options->kind, "ansi, wide, binary or mixed")
      ->type_name("KIND")
      ->check(CLI::IsMember({"ansi", "wide", "binary", "mixed"}).description(""))
      ->capture_default_str();
  emit->add_option("--size", options->size, "Characters of the text, or MIN:MAX; 60000 at most")
      ->type_name("N")
      ->capture_default_str();
  emit->add_option("--gap-every", run.plan.gap_every, "Leaves one counter out before each n-th event")
      ->type_name("N")
      ->check(&IsWholeNumber, "");
  emit->add_option("--repeat-every", run.plan.repeat_every, "Writes each n-th event twice with one counter")
      ->type_name("N")
      ->check(&IsWholeNumber, "");
  emit->add_option("--restart-every", run.plan.restart_every, "Begins the counter anew before each n-th event")
      ->type_name("N")
      ->check(&IsWholeNumber, "");
  emit->add_option("--flags", run.flags, "The events' flags; 8: the host shall see them")
      ->type_name("N")
      ->capture_default_str();
  emit->add_option("--seed", run.plan.seed, "Of the sizes")
      ->type_name("N")
      ->check(&IsWholeNumber, "")
      ->capture_default_str();
  emit->add_flag("-q,--quiet", options->quiet, "Shows no counts");
}

}  // namespace

void AddEmitCommand(CLI::App* machine, Choice* choice) {
  auto options = std::make_shared<EmitCommandOptions>();
  CLI::App* emit = machine->add_subcommand("emit", "Writes sample events, or composes a left-over trace file");
  AddMachineOption(emit, &options->machine);
  AddEventOptions(emit, options.get());
  emit->add_option("--file", options->file, "Composes a trace file instead, and prints its path")->type_name("FILE");
  emit->add_option("--event", options->events, "An event of that file; may be repeated; \"-\" reads them as lines")
      ->type_name("EVENT")
      ->allow_extra_args(false);
  emit->footer(
      "Each text begins with '#' and a running number, and names its provider.\n"
      "\n"
      "FILE is a path, or \"temp\" or \"auto:N\" for the name of a file that a temporary session, or the session of "
      "boot\n"
      "N, would have left on the machine. EVENT is TIME,COUNTER and then, as wanted, provider=NAME, keyword=N, "
      "flags=N,\n"
      "template=KIND, text=TEXT, with commas between. TIME counts 100 ns since 1601, or is +N after the event before;\n"
      "the first one's +N is after now.\n"
      "\n"
      "Examples:\n"
      "  wardlet machine emit --machine m --count 1000 --rate 200\n"
      "  wardlet machine emit --machine m --provider SourceUsb --template mixed --size 20:4000\n"
      "  wardlet machine emit --machine m --file temp --event +0,1 --event +10,2 --event +10,2\n"
      "  wardlet machine emit --file odd.etl --event - < events");
  SetAction(emit, choice, [emit, options] { return EmitOrCompose(*emit, *options); });
}

}  // namespace varnel::host

// wardlet trace: the commands on trace files. They need no machine.
#include <cstdio>
#include <memory>

#include "CLI/CLI.hpp"
#include "host/program.h"
#include "host/trace_cat.h"
#include "host/trace_gaps.h"
#include "host/trace_info.h"

namespace varnel::host {
namespace {

void AddFiles(CLI::App* command, std::vector<std::string>* files) {
  command->add_option("FILE", *files, "Trace files (.etl)")->required()->type_name("");
}

void AddInfo(CLI::App* trace, Choice* choice) {
  auto options = std::make_shared<TraceInfoOptions>();
  CLI::App* info = trace->add_subcommand("info", "Shows what trace files hold: clocks, buffers, losses, providers");
  AddFiles(info, &options->files);
  info->add_flag("--json", options->json, "One JSON object a line for each file, instead of tables");
  info->footer(
      "Exit code 1 when a file could not be read; the others are shown all the same.\n"
      "\n"
      "Examples:\n"
      "  wardlet trace info m/C/Windows/System32/LogFiles/WMI/*\n"
      "  wardlet trace info --json boot.etl | jq .events");
  SetAction(info, choice, [options] { return TraceInfo(*options, stdout, stderr); });
}

void AddCat(CLI::App* trace, Choice* choice) {
  auto options = std::make_shared<TraceCatOptions>();
  CLI::App* cat = trace->add_subcommand("cat", "Prints each event of trace files as one line of JSON");
  AddFiles(cat, &options->files);
  cat->add_option("--manifest", options->manifests, "An instrumentation manifest that tells layouts; may be repeated")
      ->type_name("FILE")
      ->allow_extra_args(false);
  cat->add_option("--provider", options->provider, "Only events of this provider")->type_name("GUID");
  cat->add_flag("--count", options->count, "Prints the number of events instead");
  cat->footer(
      "Properties are decoded where a manifest, or the event itself, tells the layout; else the payload stands in\n"
      "hexadecimal.\n"
      "\n"
      "Examples:\n"
      "  wardlet trace cat boot.etl | jq -r .provider | sort | uniq -c\n"
      "  wardlet trace cat --manifest driver.man --provider '{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}' boot.etl");
  SetAction(cat, choice, [options] { return TraceCat(*options, stdout, stderr); });
}

void AddGaps(CLI::App* trace, Choice* choice) {
  auto options = std::make_shared<TraceGapsOptions>();
  CLI::App* gaps =
      trace->add_subcommand("gaps", "Follows the providers' counters over files and shows what is missing");
  AddFiles(gaps, &options->files);
  gaps->footer(
      "For each provider and module of the framework: gaps with their first and last counter and the times around\n"
      "them, repeats, late events, restarts, wraps. All files count as one. Exit code 0 without a gap, 3 with one.\n"
      "\n"
      "Examples:\n"
      "  wardlet trace gaps m/C/Windows/System32/LogFiles/WMI/*");
  SetAction(gaps, choice, [options] { return TraceGaps(*options, stdout, stderr); });
}

}  // namespace

void AddTraceCommands(CLI::App* program, Choice* choice) {
  CLI::App* trace = program->add_subcommand("trace", "Looks into trace files (.etl), of whatever origin");
  trace->require_subcommand(1);
  trace->footer("Examples:\n  wardlet trace info boot.etl");
  AddInfo(trace, choice);
  AddCat(trace, choice);
  AddGaps(trace, choice);
}

}  // namespace varnel::host

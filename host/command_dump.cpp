// wardlet dump: the commands on crash dumps.
#include <cstdio>
#include <memory>

#include "CLI/CLI.hpp"
#include "host/dump_info.h"
#include "host/dump_report.h"
#include "host/program.h"

namespace varnel::host {
namespace {

void AddInfo(CLI::App* dump, Choice* choice) {
  auto options = std::make_shared<DumpInfoOptions>();
  CLI::App* info = dump->add_subcommand("info", "Shows what crash dumps hold: machine, stop code, modules, stack");
  info->add_option("FILE", options->files, "Kernel crash dumps, of whatever form")->required()->type_name("");
  info->add_flag("--json", options->json, "One JSON object a line for each file, instead of text");
  info->footer(
      "Of the stack the words are shown whose values lie in modules: return addresses among them, and what was left\n"
      "behind. Of a dump of another machine than an x64 there is the header. Exit code 1 when a file could not be\n"
      "read; the others are shown all the same.\n"
      "\n"
      "Examples:\n"
      "  wardlet dump info MEMORY.DMP\n"
      "  wardlet dump info --json Minidump/*.dmp | jq -r '.bugcheck.name'");
  SetAction(info, choice, [options] { return DumpInfo(*options, stdout, stderr); });
}

void AddReport(CLI::App* dump, Choice* choice) {
  auto options = std::make_shared<DumpReportOptions>();
  options->flags = 3;
  CLI::App* report = dump->add_subcommand("report", "Prints the texts that the module hands over for crash dumps");
  report->add_option("FILE", options->files, "Kernel crash dumps")->required()->type_name("");
  report->add_option("--flags", options->flags, "Which passes: 1 without symbols, 2 with symbols, 3 both")
      ->type_name("N")
      ->check(CLI::Range(1, 3).description(""))
      ->capture_default_str();
  report->add_flag("--keep", options->keep, "Keeps the machine on which the module ran, and says where it is");
  report->footer(
      "The module runs on a machine in a temporary folder that sees the files as its small dumps, in the order given.\n"
      "First come the texts without symbols, then those with symbols. A file without a text is told on standard\n"
      "error, with the reason as far as it can be seen, and the exit code is 1.\n"
      "\n"
      "Examples:\n"
      "  wardlet dump report MEMORY.DMP | jq .AdditionalMsgJson.bugcheck\n"
      "  wardlet dump report --flags 1 Minidump/*.dmp");
  SetAction(report, choice, [options] { return DumpReport(*options, stdout, stderr); });
}

}  // namespace

void AddDumpCommands(CLI::App* program, Choice* choice) {
  CLI::App* dump = program->add_subcommand("dump", "Looks into kernel crash dumps, of whatever origin");
  dump->require_subcommand(1);
  dump->footer("Examples:\n  wardlet dump info MEMORY.DMP");
  AddInfo(dump, choice);
  AddReport(dump, choice);
}

}  // namespace varnel::host

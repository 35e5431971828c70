#include "host/program.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "CLI/CLI.hpp"
#include "host/exit_code.h"
#include "host/report.h"
#include "host/surroundings.h"
#include "host/text_output.h"

namespace varnel::host {
namespace {

// "wardlet machine boot": the words of the command that was being understood.
std::string NameOf(const CLI::App& app) {
  const auto inner = app.get_subcommands();
  return inner.empty() ? app.get_name() : app.get_name() + ' ' + NameOf(*inner.front());
}

// One sentence on why the line was not understood. A word that is none of the commands is named, rather than the
// command that is missing.
std::string Reason(const CLI::App& app, const CLI::ParseError& error) {
  const auto extras = app.remaining(true);
  const CLI::App* innermost = &app;
  while (!innermost->get_subcommands().empty()) innermost = innermost->get_subcommands().front();
  const bool wants_command = !innermost->get_subcommands([](const CLI::App*) { return true; }).empty();
  if (!extras.empty()) {
    const std::string& word = extras.front();
    if (word.size() > 1 && word.front() == '-') return "unknown option '" + word + "'";
    return (wants_command ? "unknown command '" : "unexpected argument '") + word + "'";
  }
  if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr && wants_command) return "a command is missing";
  std::string reason = error.what();
  for (char& c : reason) {
    if (c == '\n') c = ' ';
  }
  return reason;
}

int WrongUse(const CLI::App& app, const CLI::ParseError& error) {
  const std::string name = NameOf(app);
  SetCommandName(name);
  Tell(Reason(app, error) + " (\"" + name + " --help\" tells more)");
  return kExitWrongUse;
}

int Print(const std::string& text) {
  if (WriteWhole(STDOUT_FILENO, text)) return kExitGood;
  return Fail(std::string("standard output: ") + std::strerror(errno));
}

}  // namespace

void SetAction(CLI::App* command, Choice* choice, std::function<int()> action) {
  command->callback([command, choice, action = std::move(action)] {
    std::string name = command->get_name();
    for (const CLI::App* outer = command->get_parent(); outer != nullptr; outer = outer->get_parent()) {
      name.insert(0, outer->get_name() + ' ');
    }
    SetCommandName(name);
    choice->action = action;
  });
}

int RunProgram(int argc, const char* const* argv) {
  CLI::App app(ProgramAbout(), "wardlet");
  Choice choice;
  app.set_version_flag("--version", "wardlet " VARNEL_VERSION, "Prints the version and ends");
  app.footer(ProgramExamples());
  app.require_subcommand(1);
  app.set_help_flag("-h,--help", "Prints this help and ends");
  app.get_formatter()->column_width(30);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Subcommands", "Commands");
  AddRunCommand(&app, &choice);
  AddInstallCommands(&app, &choice);
  AddMachineCommands(&app, &choice);
  AddTraceCommands(&app, &choice);
  AddEventCommands(&app, &choice);
  AddDumpCommands(&app, &choice);
  AddDemoCommand(&app, &choice);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    return Print(app.help());
  } catch (const CLI::CallForVersion& version) {
    return Print(std::string(version.what()) + '\n');
  } catch (const CLI::ParseError& error) {
    return WrongUse(app, error);
  }
  return choice.action();
}

}  // namespace varnel::host

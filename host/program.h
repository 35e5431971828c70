// The program as its user sees it: one command line, one action. Each command has a file of its own that adds its
// options and says what it does; the action runs after the whole line was understood.
#pragma once

#include <functional>

namespace CLI {  // NOLINT(readability-identifier-naming): the library's own name
class App;
}

namespace varnel::host {

/// What a command line asks for. A command sets the action while the line is parsed.
struct Choice {
  std::function<int()> action;  // gives an exit code
};

/// Understands the line and carries it out. Wrong use gets one line on standard error and kExitWrongUse.
int RunProgram(int argc, const char* const* argv);

/// Names the command's action; to be called once for each command, after its options were added.
void SetAction(CLI::App* command, Choice* choice, std::function<int()> action);

void AddRunCommand(CLI::App* program, Choice* choice);
void AddInstallCommands(CLI::App* program, Choice* choice);  // install, uninstall, version
void AddMachineCommands(CLI::App* program, Choice* choice);  // machine folders; nothing on Windows
void AddEmitCommand(CLI::App* machine, Choice* choice);
void AddTraceCommands(CLI::App* program, Choice* choice);
void AddEventCommands(CLI::App* program, Choice* choice);  // events, crashes; likewise
void AddDumpCommands(CLI::App* program, Choice* choice);   // likewise
void AddDemoCommand(CLI::App* program, Choice* choice);    // likewise

}  // namespace varnel::host

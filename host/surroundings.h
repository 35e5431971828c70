// Surroundings are what the module works on, as the host sees it: off Windows a machine folder, on Windows the machine
// itself. The commands ask here for what differs; each system has a file of its own.
#pragma once

#include <memory>
#include <string>

#include "formats/result.h"
#include "host/session_losses.h"

namespace CLI {  // NOLINT(readability-identifier-naming): the library's own name
class App;
}

namespace varnel::host {

class Surroundings {
 public:
  /// Adds the option that chooses among them to a command, where there is a choice.
  static void AddOption(CLI::App* command, std::string* choice);

  /// Makes this process ready to load the module in the chosen ones; tells the user what will be missing. An Error when
  /// there are none. REQUIRES: no other thread runs, and the module was not loaded yet.
  static formats::Result<std::unique_ptr<Surroundings>> Enter(const std::string& choice);

  virtual ~Surroundings() = default;

  /// What their trace sessions count as lost by now.
  virtual LossesBySession ReadSessionLosses() const = 0;

 protected:
  Surroundings() = default;
};

/// The sentence on the surroundings in the program's help, and the examples below it.
std::string ProgramAbout();
std::string ProgramExamples();

/// How examples name the surroundings behind a command: " --machine m", or nothing.
std::string ExampleChoice();

/// What ends a run, in the words of the system.
std::string StopWords();

}  // namespace varnel::host

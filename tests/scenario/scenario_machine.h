// ScenarioMachine: a machine in a temporary folder and the wardlet program to work on it with, each command a process
// of its own, as a user has them.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/child_process.h"
#include "platform/embedded/trace/machine_sessions.h"

namespace varnel::scenario {

struct Outcome {
  int exit_code = -1;
  std::string out;
  std::string err;
};

/// Running numbers by provider name, in the order in which they came.
using Numbers = std::map<std::string, std::vector<std::uint64_t>>;

/// The numbers in the texts of an output, line by line, without the texts about crashes. Lines that are no text of a
/// sample provider count under "".
Numbers NumbersOf(const std::string& lines);

/// from, from + 1, ... to.
std::vector<std::uint64_t> Range(std::uint64_t from, std::uint64_t to);

/// The names of all seven providers.
std::vector<std::string> AllProviders();

/// Looks again and again until it holds, for a minute at most. @return whether it held.
bool WaitUntil(const std::function<bool()>& holds);

std::string ReadAll(const std::string& path);

class ScenarioMachine {
 public:
  /// Makes the machine.
  ScenarioMachine();
  /// Removes it.
  ~ScenarioMachine();
  ScenarioMachine(const ScenarioMachine&) = delete;
  ScenarioMachine& operator=(const ScenarioMachine&) = delete;

  const std::string& root() const { return root_; }
  std::string File(const std::string& name) const { return folder_ + '/' + name; }  // a file beside the machine
  std::string LogFolder() const { return root_ + "/C/Windows/System32/LogFiles/WMI"; }
  /// The names of the trace files in the log folder, sorted.
  std::vector<std::string> TraceFiles() const;
  /// Its name under the log folder, for the boot's number.
  static std::string AutoFile(const std::string& number);

  /// Runs "wardlet WORDS... --machine ROOT" to its end.
  Outcome Wardlet(const std::vector<std::string>& words, const std::string& input = "") const;
  /// The same, and fails the test when it does not end with 0. @return its output.
  std::string Do(const std::vector<std::string>& words, const std::string& input = "") const;
  /// The sessions that run on it.
  std::vector<embedded::SessionSummary> Sessions() const;
  /// Writes out what the sessions still hold in their buffers. A module that is started then gets all of it from the
  /// files, in order. Without it the last events come live beside the files, and on a machine that is too busy to read
  /// those within a second they overtake them, which loses what was overtaken.
  void Flush() const;
  /// Flushes, then runs the module until it is idle; what it printed.
  Numbers RunModule() const;
  /// Starts "wardlet WORDS..." and leaves it running; it is killed when the result goes.
  host::ChildProcess Start(const std::vector<std::string>& words, host::ChildProcess::Output output) const;

 private:
  std::vector<std::string> Line(const std::vector<std::string>& words) const;
  void ArchiveFiles() const;

  std::string folder_;
  std::string root_;
};

}  // namespace varnel::scenario

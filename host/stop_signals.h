// StopSignals turns SIGINT and SIGTERM into a wish to stop that a wait can see. A second signal ends the process at
// once, with the shell's exit code for that signal. One object at a time in a process.
#pragma once

#include <chrono>

namespace varnel::host {

class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// Waits for a signal, or for one that came before. False when the time is over.
  bool WaitFor(std::chrono::milliseconds time) const;
};

}  // namespace varnel::host

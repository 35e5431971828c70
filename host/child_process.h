// ChildProcess is another program that this one started: the wardlet program itself, as a rule. One thread at a time.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "formats/result.h"

namespace varnel::host {

class ChildProcess {
 public:
  enum class Output {
    kInherited,  // the child writes where this process does
    kPiped,      // ReadLine gives the child's standard output
    kDropped,
  };

  /// Starts a program with its arguments (the first is the program's file). Standard error is inherited, or dropped as
  /// well with kDropped.
  static formats::Result<ChildProcess> Start(const std::vector<std::string>& arguments, Output output);

  /// Kills a child that still runs.
  ~ChildProcess();
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&& other) noexcept;

  pid_t pid() const { return pid_; }

  /// The next line of a piped output, without its end; a last line that was cut too. Nothing at the end.
  std::optional<std::string> ReadLine();
  /// Waits for more output at most this long; true when ReadLine has something to give, or its end.
  bool WaitForOutput(std::chrono::milliseconds time);

  void Signal(int signal) const;

  /// Waits for the end: the exit code, or 128 and the signal that ended it.
  int Wait();

 private:
  ChildProcess(pid_t pid, int output) : pid_(pid), output_(output) {}

  pid_t pid_ = -1;  // -1: nothing to wait for
  int output_ = -1;
  std::string unread_;
  bool at_end_ = false;
};

/// The file of the running program.
std::string OwnProgram();

}  // namespace varnel::host

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "host/exit_code.h"
#include "host/process.h"

namespace varnel::host {
namespace {

// A descriptor that the caller has closed would be the number of the next file that is opened, a machine's registry
// among them, and what goes to standard output or standard error would be written into that file. The place is taken by
// a file on which reading, or writing, fails as it does on a closed one.
void OccupyClosedStreams() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest number that is free is this one.
    if (::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY) != fd) std::_Exit(kExitFailed);
  }
}

}  // namespace

void PrepareProcess() {
  OccupyClosedStreams();
  std::signal(SIGPIPE, SIG_IGN);
}

std::vector<std::string> CommandLine(int argc, const char* const* argv) {
  return {argv, argv + argc};
}

bool IsTerminal(int fd) {
  return ::isatty(fd) == 1;
}

void EndProcess(int exit_code) {
  std::_Exit(exit_code);
}

std::string EnvironmentText(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace varnel::host

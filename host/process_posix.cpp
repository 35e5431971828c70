#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "host/process.h"

namespace varnel::host {

void PrepareProcess() {
  std::signal(SIGPIPE, SIG_IGN);
}

std::vector<std::string> CommandLine(int argc, const char* const* argv) {
  return {argv, argv + argc};
}

bool IsTerminal(int fd) {
  return ::isatty(fd) == 1;
}

std::string EnvironmentText(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace varnel::host

#include "host/report.h"

#include <unistd.h>

#include "host/exit_code.h"

namespace varnel::host {
namespace {

std::string& StoredName() {
  static std::string name = "wardlet";
  return name;
}

}  // namespace

void SetCommandName(std::string_view name) {
  StoredName() = name;
}

const std::string& CommandName() {
  return StoredName();
}

void Tell(std::string_view message) {
  std::string line = CommandName();
  line += ": ";
  line += message;
  line += '\n';
  // One write, so that lines of several threads or processes do not mix. Nobody is left to hear of a failure.
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
}

int Fail(std::string_view message) {
  Tell(message);
  return kExitFailed;
}

}  // namespace varnel::host

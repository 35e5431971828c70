#include "platform/embedded/tools/crash_mark.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/embedded/core/unique_fd.h"

namespace varnel::embedded {
namespace {

std::string PathOf(const Machine& machine) {
  return machine.root() + "/crash";
}

formats::Error Failure(const std::string& path) {
  return formats::Error{path + ": " + std::strerror(errno)};
}

}  // namespace

formats::Status WriteCrashMark(const Machine& machine, const CrashMark& mark) {
  const std::string path = PathOf(machine);
  const std::string aside = path + ".new";
  std::ostringstream text;
  text << mark.facts.bugcheck_code;
  for (const std::uint64_t parameter : mark.facts.parameters) text << ' ' << parameter;
  text << ' ' << mark.facts.power_button_time << ' ' << mark.record_id << '\n';
  const std::string bytes = text.str();
  {
    const UniqueFd fd(::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    const bool written =
        fd.valid() && ::write(fd.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    if (!written || ::fsync(fd.get()) != 0) return Failure(aside);
  }
  if (::rename(aside.c_str(), path.c_str()) != 0) return Failure(path);
  return formats::Ok();
}

formats::Result<std::optional<CrashMark>> ReadCrashMark(const Machine& machine) {
  const std::string path = PathOf(machine);
  if (::access(path.c_str(), F_OK) != 0 && errno == ENOENT) return std::optional<CrashMark>();
  std::ifstream in(path);
  CrashMark mark;
  in >> mark.facts.bugcheck_code;
  for (std::uint64_t& parameter : mark.facts.parameters) in >> parameter;
  in >> mark.facts.power_button_time >> mark.record_id;
  if (!in) return formats::Error{path + ": damaged mark of a crash"};
  return std::optional<CrashMark>(mark);
}

formats::Status RemoveCrashMark(const Machine& machine) {
  const std::string path = PathOf(machine);
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) return Failure(path);
  return formats::Ok();
}

}  // namespace varnel::embedded

#include "host/machine_crash.h"

#include <charconv>

#include "platform/embedded/core/attachment.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/trace/machine_sessions.h"

namespace varnel::host {

using formats::Error;

formats::Status CrashTheMachine(const std::string& folder, const embedded::CrashFacts& facts) {
  const auto machine = embedded::Machine::Open(folder);
  if (!machine.ok()) return machine.error();
  const auto alone = embedded::Attachment::TryExclusive(*machine.value());
  if (!alone.ok()) return alone.error();
  if (!alone.value()) return Error{folder + ": a module is running on this machine; stop it first"};
  // First: a crash that was cut short here is told by the next boot all the same.
  formats::Status marked = embedded::WriteCrashMark(*machine.value(), {facts, 0});
  if (!marked.ok()) return marked;
  if (!embedded::AbandonAllSessions(*machine.value())) {
    return Error{machine.value()->SessionsPath() + ": a session can't be ended"};
  }
  return formats::Ok();
}

formats::Result<std::uint64_t> ParseNumber(const std::string& text) {
  std::string_view digits = text;
  const bool hex = digits.substr(0, 2) == "0x" || digits.substr(0, 2) == "0X";
  if (hex) digits.remove_prefix(2);
  std::uint64_t value = 0;
  const char* end = digits.data() + digits.size();
  const auto [at, error] = std::from_chars(digits.data(), end, value, hex ? 16 : 10);
  if (error != std::errc() || at != end) return Error{"'" + text + "' is no number"};
  return value;
}

}  // namespace varnel::host

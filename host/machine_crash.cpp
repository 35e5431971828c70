#include "host/machine_crash.h"

#include <charconv>
#include <functional>
#include <sstream>

#include "platform/embedded/core/attachment.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/trace/machine_sessions.h"

namespace varnel::host {

using formats::Error;

namespace {

// Ends the boot; `leave` then does what else the crash does, while nobody else is on the machine.
formats::Status Crash(const std::string& folder, const embedded::CrashFacts& facts,
                      const std::function<formats::Status()>& leave) {
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
  return leave();
}

}  // namespace

formats::Status CrashTheMachine(const std::string& folder, const embedded::CrashFacts& facts) {
  return Crash(folder, facts, [] { return formats::Ok(); });
}

formats::Result<LeftDump> CrashTheMachineWithDump(const std::string& folder, const embedded::CrashFacts& facts,
                                                  embedded::CrashDumpForm form) {
  LeftDump dump;
  const formats::Status crashed = Crash(folder, facts, [&]() -> formats::Status {
    auto left = LeaveDump(folder, facts, form);
    if (!left.ok()) return left.error();
    dump = std::move(left).value();
    return formats::Ok();
  });
  if (!crashed.ok()) return crashed.error();
  return dump;
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

formats::Result<embedded::CrashFacts> ParseBugcheck(const std::string& text) {
  embedded::CrashFacts facts;
  std::istringstream words(text + ",");  // each word ends in a comma, so that an empty last one is seen
  std::string word;
  std::size_t count = 0;
  for (; std::getline(words, word, ','); ++count) {
    const auto number = ParseNumber(word);
    if (!number.ok()) return number.error();
    if (count > facts.parameters.size()) return Error{"'" + text + "' has more than four parameters"};
    if (count > 0) facts.parameters.at(count - 1) = number.value();
    if (count > 0) continue;
    if (number.value() == 0 || number.value() > 0xFFFFFFFF) return Error{"'" + word + "' is no stop code"};
    facts.bugcheck_code = static_cast<std::uint32_t>(number.value());
  }
  return facts;
}

}  // namespace varnel::host

// Composes a trace file such as an ended session leaves behind, event by event, with the time stamps and counters that
// one gives. So each decision that the module takes about an event can be provoked by hand. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "formats/result.h"
#include "host/emit_plan.h"
#include "host/providers.h"

namespace varnel::host {

struct LeftOverEvent {
  std::int64_t time = 0;  // FILETIME
  std::uint32_t counter = 0;
  const KnownProvider* provider = &kProviders[0];
  std::uint64_t keyword = 0x80;
  std::uint32_t flags = 8;
  EmitTemplate kind = EmitTemplate::kAnsi;
  std::string text;
};

/// Reads "TIME,COUNTER[,KEY=VALUE...]" with the keys provider, keyword, flags, template, text (which takes the rest).
/// TIME is a FILETIME, or "+N" for N times 100 ns after the event before it; before the first one stands `now`.
formats::Result<LeftOverEvent> ParseLeftOverEvent(std::string_view text, std::int64_t before);

/// A number in decimal, or in hexadecimal behind "0x". Nothing may stand around it.
formats::Result<std::uint64_t> ParseNumber(std::string_view text);

/// Where the file goes: "temp" and "auto:N" are the names under which the module takes a file of the machine as left
/// over from a temporary session, or from boot N's; all else is a path of this system.
formats::Result<std::string> LeftOverPath(std::string_view target, const std::string& machine);

/// Writes the file, one stream, the events in the order given. An Error names the file and leaves none behind; a file
/// that is there stays as it was.
formats::Status WriteLeftOverFile(const std::string& path, const std::vector<LeftOverEvent>& events);

}  // namespace varnel::host

// How the dump commands write numbers and names, alike in JSON and for a person. Pure; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "formats/dump/dump_header.h"
#include "formats/dump/dump_records.h"

namespace varnel::host {

std::string AddressText(std::uint64_t address);  // "0xFFFFF8047BA00000", always 16 digits
std::string CodeText(std::uint32_t code);        // "0x1000007E", always 8 digits
std::string OffsetText(std::uint64_t offset);    // "0x1A4", as many digits as it takes

/// The public name of a stop code; a small dump's own form of a code has its name, else that of the plain code.
std::optional<std::string> StopCodeName(std::uint32_t code);

/// "x64" of 0x8664; the number as text for a machine without a usual name.
std::string MachineName(std::uint32_t machine);

/// "small", "kernel", "automatic", "active", "complete", "header_only", "ranges"; "unknown" for a type without a
/// meaning.
std::string FormName(formats::DumpType type, std::optional<formats::DumpQualifier> qualifier);

/// "3.747 s", "2:13:05", "3 d 4:05:06": how long something took, in 100 ns, cut to what is shown.
std::string DurationText(std::uint64_t duration);

}  // namespace varnel::host

// What the commands on event logs share: a log opened by its files, and what is said about damage. One thread.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/eventlog/log_reader.h"

namespace varnel::host {

inline constexpr char kHelperGone[] = "the program that reads it can't be started any more";

/// A text of a log as it may go to a terminal: control characters become blanks.
std::string ForTerminal(std::string_view text);

/// Opens files as one log. On failure writes one line with command, file and reason to `err`, and gives null.
std::unique_ptr<embedded::LogReader> OpenLog(const std::vector<std::string>& paths,
                                             const embedded::LogReaderOptions& options, std::string_view command,
                                             std::FILE* err);

/// Tells of a file without a record that begins as no event log does. @return whether it was so. REQUIRES: nothing was
/// read of `reader`, which has this file alone.
bool TellIfNoLog(const embedded::LogReader& reader, const std::string& path, const embedded::LogReaderOptions& options,
                 std::string_view command, std::FILE* err);

/// Tells what a log that was read to its end had in it that could not be read; says nothing about a log that was whole.
void TellLogDamage(const std::string& name, const embedded::LogCounts& counts, std::string_view command,
                   std::FILE* err);

}  // namespace varnel::host
